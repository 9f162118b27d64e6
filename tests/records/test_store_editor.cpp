// The stored-position editors' logic as the user drives it: every question and message with its
// title, the "changed" and "new record" flags, the array's growth, and the delete rewrite seen
// from the grid and the file.

#include "support/ScriptedPrompt.h"

#include "records/StoreEditor.h"
#include "records/StoredPositions.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace mivel;
using namespace mivel::records;
using Answer = Prompt::Answer;

namespace {

struct EditorRig {
    QTemporaryDir dir;
    StoredPositions positions{dir.path()};
    test::ScriptedPrompt prompt;
    CurrentPosition now{23456, 41.75f};
    StoreEditor focus{positions.focus(), prompt, [this] { return now; }};
    StoreEditor rotator{positions.rotator(), prompt, [this] { return now; }};

    // Adds a record through the buttons, answering OK to every question.
    void addRecord(StoreEditor& editor, const QString& name, int position, double temperature) {
        editor.add();
        editor.editDescription(name);
        editor.editPosition(QString::number(position));
        if (editor.hasTemperature())
            editor.editTemperature(QString::number(temperature));
        QVERIFY(editor.update());
    }
    qint64 fileSize(const RecordList& list) const { return QFile(list.dataPath()).size(); }
    QStringList said() {
        QStringList out;
        for (const auto& s : prompt.shown)
            out << s.title + QStringLiteral(": ") + s.text;
        prompt.shown.clear();
        return out;
    }
};

} // namespace

class StoreEditorTest : public QObject {
    Q_OBJECT
private slots:
    void gridOfAnEmptyListAndOfRecords() {
        EditorRig rig;
        QCOMPARE(rig.focus.gridRows(), 1); // the header alone
        QCOMPARE(rig.focus.rowCells(0),
                 (QStringList{"         ", "Description ", "Position ", "Temperature"}));
        QCOMPARE(rig.rotator.rowCells(0), (QStringList{"         ", "Description ", "Position "}));
        rig.focus.remove();
        QCOMPARE(rig.said(), QStringList{"Vark: There is no current record.  Can not delete."});
    }

    void addSaveAndTheQuestionsOnTheWay() {
        EditorRig rig;
        StoreEditor& e = rig.focus;
        rig.prompt.answers = {Answer::Ok};
        e.add();
        QCOMPARE(rig.said(), QStringList{"Mivel: Create new record?"});
        QVERIFY(e.newRecord() && !e.changed());
        QCOMPARE(e.currentRecord(), 1);
        QCOMPARE(e.gridRows(), 2); // the blank row of the new record

        rig.prompt.answers = {Answer::Ok};
        e.useCurrent();
        QCOMPARE(rig.said(), QStringList{"Mivel: Use current position and temperature?"});
        QCOMPARE(e.position(), QStringLiteral("23456"));
        QCOMPARE(e.temperature(), QStringLiteral("41.75"));
        QVERIFY(e.changed());

        e.editDescription(QStringLiteral("   "));
        QVERIFY(!e.update());
        QCOMPARE(rig.said(), (QStringList{"Mivel: Save new record?",
                                          "Vark: Error:  The descrtiption is blank."}));
        e.editDescription(QStringLiteral(" M42 "));
        QVERIFY(e.update());
        QCOMPARE(rig.said(), QStringList{"Mivel: Save new record?"});
        QVERIFY(!e.newRecord() && !e.changed());
        QCOMPARE(e.rowCells(1), (QStringList{"", "M42", "23456", "41.8"}));
        QCOMPARE(rig.fileSize(rig.positions.focus()), 108);

        // The rotator asks its own question, blank before the mark included, and has no
        // temperature.
        rig.prompt.answers = {Answer::Ok, Answer::Ok};
        rig.rotator.add();
        rig.rotator.useCurrent();
        QCOMPARE(rig.said(),
                 (QStringList{"Mivel: Create new record?", "Mivel: Use current position ?"}));
        QCOMPARE(rig.rotator.temperature(), QString());
    }

    void invalidInputAndRecordsThatAreNotThere() {
        EditorRig rig;
        StoreEditor& e = rig.focus;
        QVERIFY(!e.update()); // nothing typed, nothing current
        QCOMPARE(rig.said(), QStringList{"Vark: Invalid input value."});
        e.editDescription(QStringLiteral("Name"));
        e.editPosition(QStringLiteral("12"));
        e.editTemperature(QStringLiteral("warm"));
        QVERIFY(!e.update());
        QCOMPARE(rig.said(), (QStringList{"Mivel: Save changes?", "Vark: Invalid input value."}));
        e.editTemperature(QStringLiteral("50"));
        e.editPosition(QStringLiteral("3000000000")); // beyond 32 bits
        QVERIFY(!e.update());
        QCOMPARE(rig.said(), (QStringList{"Mivel: Save changes?", "Vark: Invalid input value."}));
        e.editPosition(QStringLiteral("12"));
        QVERIFY(!e.update());
        QCOMPARE(rig.said(),
                 (QStringList{"Mivel: Save changes?", "Vark: Error:  No current record."}));
        QCOMPARE(rig.positions.focus().count(), 0);
        QVERIFY(!QFile::exists(rig.positions.focus().dataPath()));
    }

    void cancelDropsTheNewRowAndRestoresTheRecord() {
        EditorRig rig;
        rig.addRecord(rig.focus, QStringLiteral("One"), 100, 40);
        rig.addRecord(rig.focus, QStringLiteral("Two"), 200, 41);
        rig.focus.selectRow(1);
        rig.prompt.shown.clear();

        // Cancel at "Save new record?" removes the row and goes back to record 1.
        rig.prompt.answers = {Answer::Ok, Answer::Cancel};
        rig.focus.add();
        rig.focus.editDescription(QStringLiteral("Three"));
        QVERIFY(!rig.focus.update());
        QCOMPARE(rig.focus.gridRows(), 3);
        QCOMPARE(rig.focus.currentRecord(), 1);
        QCOMPARE(rig.focus.description(), QStringLiteral("One"));
        QVERIFY(!rig.focus.newRecord() && !rig.focus.changed());

        // cmdCancel asks, and on OK puts the record back into the boxes.
        rig.prompt.shown.clear();
        rig.focus.editPosition(QStringLiteral("999"));
        rig.prompt.answers = {Answer::Cancel};
        rig.focus.cancel();
        QCOMPARE(rig.focus.position(), QStringLiteral("999"));
        rig.focus.cancel();
        QCOMPARE(rig.said(), (QStringList{"Mivel: Cancel changes?", "Mivel: Cancel changes?"}));
        QCOMPARE(rig.focus.position(), QStringLiteral("100"));
        QVERIFY(!rig.focus.changed());

        // A click on another row saves the changes first.
        rig.focus.editDescription(QStringLiteral("One, changed"));
        rig.focus.selectRow(2);
        QCOMPARE(rig.said(), QStringList{"Mivel: Save changes?"});
        QCOMPARE(rig.positions.focus().record(1)->description, QStringLiteral("One, changed"));
        QCOMPARE(rig.focus.description(), QStringLiteral("Two"));

        // Exit saves too.
        rig.focus.editDescription(QStringLiteral("Two, changed"));
        QSignalSpy closed(&rig.focus, &StoreEditor::closed);
        rig.focus.exit();
        QCOMPARE(closed.size(), 1);
        QCOMPARE(rig.positions.focus().record(2)->description, QStringLiteral("Two, changed"));
    }

    void theArrayGrowsInStepsOf20() {
        EditorRig rig;
        RecordList& list = rig.positions.focus();
        QCOMPARE(list.capacity(), 20);
        for (int r = 1; r <= 20; ++r)
            rig.addRecord(rig.focus, QStringLiteral("P%1").arg(r), r, 0);
        QCOMPARE(list.capacity(), 20);
        rig.addRecord(rig.focus, QStringLiteral("P21"), 21, 0);
        QCOMPARE(list.capacity(), 41);
        QCOMPARE(list.count(), 21);
        QCOMPARE(rig.fileSize(list), 21 * 108);
        // Loading grows the same way.
        StoredPositions reloaded(rig.dir.path());
        QCOMPARE(reloaded.focus().load(), QString());
        QCOMPARE(reloaded.focus().capacity(), 41);
        QCOMPARE(reloaded.focus().record(21)->description, QStringLiteral("P21"));
    }

    void deleteRecord2Of3AndTheLast() {
        EditorRig rig;
        for (int r = 1; r <= 3; ++r)
            rig.addRecord(rig.rotator, QStringLiteral("R%1").arg(r), r * 1000, 0);
        rig.prompt.shown.clear();
        rig.rotator.selectRow(2);
        rig.prompt.answers = {Answer::Cancel};
        rig.rotator.remove();
        QCOMPARE(rig.positions.rotator().count(), 3);
        rig.rotator.remove();
        QCOMPARE(rig.said(),
                 (QStringList{"Vark: Delete current record?", "Vark: Delete current record?"}));
        // Two in memory, one in the file; the grid and the boxes are cleared.
        QCOMPARE(rig.positions.rotator().count(), 2);
        QCOMPARE(rig.fileSize(rig.positions.rotator()), 104);
        QCOMPARE(rig.rotator.gridRows(), 3);
        QCOMPARE(rig.rotator.rowCells(2), (QStringList{"", "R3", "3000"}));
        QCOMPARE(rig.rotator.currentRecord(), 0);
        QCOMPARE(rig.rotator.description(), QString());

        rig.rotator.remove();
        QCOMPARE(rig.said(), QStringList{"Vark: There is no current record.  Can not delete."});

        // The last of three, in a fresh list: records 1 and 2 stay in the file.
        EditorRig other;
        for (int r = 1; r <= 3; ++r)
            other.addRecord(other.focus, QStringLiteral("F%1").arg(r), r, 0);
        other.focus.selectRow(3);
        other.focus.remove();
        QCOMPARE(other.positions.focus().count(), 2);
        QCOMPARE(other.fileSize(other.positions.focus()), 2 * 108);
    }

    void aWriteThatFailsIsReportedAndKept() {
        QTemporaryDir dir;
        QFile blocker(dir.filePath(QStringLiteral("data")));
        QVERIFY(blocker.open(QIODevice::WriteOnly)); // the data folder is a file
        blocker.close();
        StoredPositions positions(blocker.fileName());
        test::ScriptedPrompt prompt;
        StoreEditor e(positions.focus(), prompt);
        e.add();
        e.editDescription(QStringLiteral("Kept"));
        e.editPosition(QStringLiteral("5"));
        e.editTemperature(QStringLiteral("5"));
        QVERIFY(!e.update());
        QCOMPARE(prompt.shown.back().title, QStringLiteral("Mivel"));
        QVERIFY2(prompt.shown.back().text.startsWith(QStringLiteral("Error number: 75 ")),
                 qPrintable(prompt.shown.back().text));
        // In the array, not yet in a file: still changed, so the next save writes it again.
        QCOMPARE(positions.focus().count(), 1);
        QVERIFY(!e.newRecord() && e.changed());
    }
};

QTEST_GUILESS_MAIN(StoreEditorTest)
#include "test_store_editor.moc"
