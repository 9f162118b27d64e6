#pragma once

// The logic of the stored-position editors, frmStoreFocus and frmStoreRotator: a grid of the
// records, text boxes for the current one, and Add, Update, Cancel, Delete, Current and Exit.
// The windows are thin views over it; tests drive it without a display.

#include "RecordList.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>

namespace mivel {
class Prompt;
}

namespace mivel::records {

// The position the unit stands at, and for focus the compensation sensor's temperature read
// with it, as the console holds them.
struct CurrentPosition {
    std::int32_t position = 0;
    float temperature = 0;
};

class StoreEditor : public QObject {
    Q_OBJECT
public:
    // `current` is asked when the user takes the current position (cmdCurrent).
    StoreEditor(RecordList& list, Prompt& prompt, std::function<CurrentPosition()> current = {},
                QObject* parent = nullptr);

    RecordKind kind() const { return list_.kind(); }
    bool hasTemperature() const { return kind() == RecordKind::Focus; }

    // MSFlexGrid1: its format string, the headings it gives, and its rows (row 0 the header,
    // row r record r, and a blank last row while a new record is not yet saved).
    QString gridFormat() const;
    static QStringList gridHeadings(const QString& format);
    int gridRows() const;
    QStringList rowCells(int row) const;

    // The text boxes. The edit functions are the user's typing and set the "changed" flag.
    QString description() const { return description_; }
    QString position() const { return position_; }
    QString temperature() const { return temperature_; }
    void editDescription(const QString& text);
    void editPosition(const QString& text);
    void editTemperature(const QString& text);

    // Editor state: the current record (1-based; 0 none), the "changed" and "new record" flags.
    int currentRecord() const { return current_; }
    bool changed() const { return changed_; }
    bool newRecord() const { return newRecord_; }

    void selectRow(int row); // a click on the grid
    void add();              // cmdAdd
    void useCurrent();       // cmdCurrent
    bool update();           // cmdUpdate, the save step; true when the record was saved
    void cancel();           // cmdCancel
    void remove();           // cmdDelete
    void exit();             // cmdExit and closing the window

signals:
    // The grid, the text boxes or the flags changed.
    void refreshed();
    // The editor is done (cmdExit or the window closing).
    void closed();

private:
    bool confirm(const QString& text, const QString& title);
    void tell(const QString& text, const QString& title);
    bool validate(StoredPosition* record);
    void loadFields();
    void clearFields();
    void dropNewRow();
    bool unsaved() const { return changed_ || newRecord_; }

    RecordList& list_;
    Prompt& prompt_;
    std::function<CurrentPosition()> current_position_;
    QString description_;
    QString position_;
    QString temperature_;
    int current_ = 0;
    int previous_ = 0; // the current record before Add, restored when the new one is dropped
    bool changed_ = false;
    bool newRecord_ = false;
};

// A temperature in its shortest decimal form, as the text box shows it.
QString temperatureText(float value);

} // namespace mivel::records
