#include "StoredPositions.h"

#include "app/Prompt.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <charconv>

namespace mivel::records {

namespace {

// A single as its shortest decimal: 45.6f is reported as 45.6, not 45.59999847.
double shortestDecimal(float value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    return QByteArray(text, int(end - text)).toDouble();
}

QJsonObject toJson(RecordKind kind, const StoredPosition& record) {
    QJsonObject o{{QStringLiteral("Description"), record.description},
                  {QStringLiteral("Position"), record.position}};
    if (kind == RecordKind::Focus)
        o.insert(QStringLiteral("Temperature"), shortestDecimal(record.temperature));
    return o;
}

} // namespace

void StoredPositions::load(Prompt& prompt) {
    for (RecordList* list : {&focus_, &rotator_}) {
        const QString problem = list->load();
        if (problem.isEmpty())
            continue;
        const QString what = list->kind() == RecordKind::Focus
                                 ? QStringLiteral("stored focus positions")
                                 : QStringLiteral("stored rotator positions");
        prompt.inform(QStringLiteral("The file of %1, %2, could not be read to its end: %3. The "
                                     "%4 records before that point were loaded.")
                          .arg(what, QDir::toNativeSeparators(list->dataPath()), problem)
                          .arg(list->count()),
                      RecordMessageTitle, Prompt::Icon::Warning);
    }
}

QString recordsJson(const RecordList& list) {
    QJsonArray array;
    for (const StoredPosition& record : list.records())
        array.append(toJson(list.kind(), record));
    return QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact));
}

QString recordJson(const RecordList& list, int r) {
    const auto record = list.record(r);
    if (!record)
        return {};
    return QString::fromUtf8(
        QJsonDocument(toJson(list.kind(), *record)).toJson(QJsonDocument::Compact));
}

QStringList recallItems(const RecordList& list) {
    QStringList items{NewRecallItem};
    for (const StoredPosition& record : list.records())
        items << record.description;
    return items;
}

} // namespace mivel::records
