#include "DiagnosticFile.h"

#include "core/Numbers.h"

#include <QDir>
#include <QFileInfo>

namespace mivel::console {
namespace {

QString quoted(const QString& text) {
    return QLatin1Char('"') + text + QLatin1Char('"');
}

const QString kLineEnd = QStringLiteral("\r\n");

} // namespace

const QStringList& DiagnosticFile::fieldNames() {
    static const QStringList names{"cse", "sKi", "sKp", "sKd", "sdi", "t6", "sd1", "ss",
                                   "t4",  "ce",  "si",  "sil", "dt",  "sp", "time"};
    return names;
}

DiagnosticFile::DiagnosticFile(const QString& path)
    : file_(path) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    if (!file_.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return;
    QStringList header;
    for (const QString& name : fieldNames())
        header << quoted(name);
    write(header.join(QLatin1Char(',')) + kLineEnd);
}

bool DiagnosticFile::add(std::string_view value, const QDateTime& now) {
    if (!file_.isOpen())
        return false;
    if (value == "*") {
        write(quoted(now.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"))) + kLineEnd);
        return true;
    }
    if (const auto number = wire::toNumber(value))
        write(QString::number(*number, 'g', 15) + QLatin1Char(','));
    return false;
}

void DiagnosticFile::write(const QString& text) {
    file_.write(text.toLatin1());
    file_.flush(); // the trace is read while the console runs
}

} // namespace mivel::console
