#include "StoreEditor.h"

#include "StoredPositions.h"

#include "app/Prompt.h"
#include "core/Format.h"
#include "core/Numbers.h"

#include <charconv>

namespace mivel::records {

namespace {

const QString kBlankDescription = QStringLiteral("Error:  The descrtiption is blank.");
const QString kNoCurrent = QStringLiteral("Error:  No current record.");
const QString kBeyondEnd = QStringLiteral("Error:  Current record is beyond end of file.");
const QString kInvalidInput = QStringLiteral("Invalid input value.");

std::optional<double> numberIn(const QString& text) {
    return wire::toNumber(text.trimmed().toStdString());
}

} // namespace

QString temperatureText(float value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    return QString::fromLatin1(text, int(end - text));
}

StoreEditor::StoreEditor(RecordList& list, Prompt& prompt, std::function<CurrentPosition()> current,
                         QObject* parent)
    : QObject(parent)
    , list_(list)
    , prompt_(prompt)
    , current_position_(std::move(current)) {}

QString StoreEditor::gridFormat() const {
    // Nine blanks head the unlabelled first column; "^" centres a heading.
    return hasTemperature() ? QStringLiteral("         |^Description |^Position |^Temperature;")
                            : QStringLiteral("         |^Description |^Position ;");
}

QStringList StoreEditor::gridHeadings(const QString& format) {
    QString columns = format;
    if (columns.endsWith(QLatin1Char(';')))
        columns.chop(1);
    QStringList headings = columns.split(QLatin1Char('|'));
    for (QString& h : headings)
        if (h.startsWith(QLatin1Char('^')) || h.startsWith(QLatin1Char('<')) ||
            h.startsWith(QLatin1Char('>')))
            h.remove(0, 1);
    return headings;
}

int StoreEditor::gridRows() const {
    return 1 + list_.count() + (newRecord_ ? 1 : 0);
}

QStringList StoreEditor::rowCells(int row) const {
    if (row == 0)
        return gridHeadings(gridFormat());
    QStringList cells{QString()};
    const auto record = list_.record(row);
    if (!record) { // the new record's blank row
        cells << QString() << QString();
        if (hasTemperature())
            cells << QString();
        return cells;
    }
    cells << record->description << QString::number(record->position);
    if (hasTemperature())
        cells << formatNumber(record->temperature, "0.0");
    return cells;
}

void StoreEditor::editDescription(const QString& text) {
    description_ = text;
    changed_ = true;
}

void StoreEditor::editPosition(const QString& text) {
    position_ = text;
    changed_ = true;
}

void StoreEditor::editTemperature(const QString& text) {
    temperature_ = text;
    changed_ = true;
}

bool StoreEditor::confirm(const QString& text, const QString& title) {
    return prompt_.confirm(text, title, Prompt::Icon::Question);
}

void StoreEditor::tell(const QString& text, const QString& title) {
    prompt_.inform(text, title);
}

void StoreEditor::loadFields() {
    const auto record = list_.record(current_);
    if (!record) {
        clearFields();
        return;
    }
    description_ = record->description;
    position_ = QString::number(record->position);
    temperature_ = hasTemperature() ? temperatureText(record->temperature) : QString();
}

void StoreEditor::clearFields() {
    description_.clear();
    position_.clear();
    temperature_.clear();
}

void StoreEditor::dropNewRow() {
    newRecord_ = false;
    changed_ = false;
    current_ = previous_;
    loadFields();
}

void StoreEditor::selectRow(int row) {
    if (row < 1)
        return; // the header
    if (unsaved())
        update();
    if (row > list_.count())
        return; // the new record's row, dropped or saved meanwhile
    current_ = row;
    changed_ = false;
    loadFields();
    emit refreshed();
}

void StoreEditor::add() {
    if (unsaved())
        update();
    if (!confirm(QStringLiteral("Create new record?"), MessageTitle)) {
        emit refreshed();
        return;
    }
    previous_ = current_;
    current_ = list_.count() + 1;
    newRecord_ = true;
    changed_ = false;
    clearFields();
    emit refreshed();
}

void StoreEditor::useCurrent() {
    const QString question = hasTemperature()
                                 ? QStringLiteral("Use current position and temperature?")
                                 : QStringLiteral("Use current position ?");
    if (!confirm(question, MessageTitle))
        return;
    const CurrentPosition now = current_position_ ? current_position_() : CurrentPosition{};
    position_ = QString::number(now.position);
    if (hasTemperature())
        temperature_ = temperatureText(now.temperature);
    changed_ = true;
    emit refreshed();
}

bool StoreEditor::validate(StoredPosition* record) {
    const auto position = numberIn(position_);
    const auto counts = position ? wire::roundToInt<std::int32_t>(*position) : std::nullopt;
    const auto temperature = hasTemperature() ? numberIn(temperature_) : std::optional(0.0);
    if (!counts || !temperature) {
        tell(kInvalidInput, RecordMessageTitle);
        return false;
    }
    record->description = description_.trimmed();
    record->position = *counts;
    record->temperature = float(*temperature);
    const int last = list_.count() + (newRecord_ ? 1 : 0);
    const QString* error = record->description.isEmpty() ? &kBlankDescription
                           : current_ <= 0               ? &kNoCurrent
                           : current_ > last             ? &kBeyondEnd
                                                         : nullptr;
    if (error)
        tell(*error, RecordMessageTitle);
    return error == nullptr;
}

bool StoreEditor::update() {
    if (newRecord_) {
        if (!confirm(QStringLiteral("Save new record?"), MessageTitle)) {
            dropNewRow();
            emit refreshed();
            return false;
        }
    } else if (changed_ && !confirm(QStringLiteral("Save changes?"), MessageTitle)) {
        return false;
    }
    StoredPosition record;
    if (!validate(&record))
        return false;
    const Status saved = list_.save(current_, record, newRecord_);
    // The array holds the record now, the file or not: the count has grown for good.
    newRecord_ = false;
    if (saved) {
        // Still changed: the next save writes the record again.
        tell(QStringLiteral("Error number: %1 %2").arg(saved->number).arg(saved->description),
             MessageTitle);
        emit refreshed();
        return false;
    }
    changed_ = false;
    loadFields(); // shows the description as it was stored: trimmed, and cut to 50
    emit refreshed();
    return true;
}

void StoreEditor::cancel() {
    if (!confirm(QStringLiteral("Cancel changes?"), MessageTitle))
        return;
    if (newRecord_) {
        dropNewRow();
    } else {
        changed_ = false;
        loadFields();
    }
    emit refreshed();
}

void StoreEditor::remove() {
    if (current_ <= 0) {
        tell(QStringLiteral("There is no current record.  Can not delete."), RecordMessageTitle);
        return;
    }
    if (!confirm(QStringLiteral("Delete current record?"), RecordMessageTitle))
        return;
    if (newRecord_) { // never saved: there is nothing in the file or the array to delete
        dropNewRow();
    } else if (const Status removed = list_.remove(current_)) {
        tell(QStringLiteral("Error number: %1 %2").arg(removed->number).arg(removed->description),
             MessageTitle);
        return;
    }
    current_ = 0;
    changed_ = false;
    clearFields();
    emit refreshed();
}

void StoreEditor::exit() {
    if (unsaved())
        update();
    emit closed();
}

} // namespace mivel::records
