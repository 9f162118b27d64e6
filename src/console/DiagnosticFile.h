#pragma once

#include <QDateTime>
#include <QFile>
#include <QString>
#include <QStringList>

#include <string_view>

namespace mivel::console {

// The console's diagnostic trace: the unit's :d records as comma-separated lines. Each number
// is written followed by a comma on the current line; a "*" closes the record with the date and
// time. The file is replaced when the console starts.
class DiagnosticFile {
public:
    // The record's field names, in the order the unit sends them; "time" is the closing item.
    static const QStringList& fieldNames();

    // Creates (replacing) the file and writes the header line. Check isOpen() afterwards.
    explicit DiagnosticFile(const QString& path);
    bool isOpen() const { return file_.isOpen(); }
    QString path() const { return file_.fileName(); }
    QString error() const { return file_.errorString(); }

    // One :d value: a number or "*". Anything else is ignored. True when it closed a record.
    bool add(std::string_view value, const QDateTime& now = QDateTime::currentDateTime());

private:
    void write(const QString& text);
    QFile file_;
};

} // namespace mivel::console
