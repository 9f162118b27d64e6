// The console's recall boxes of stored positions: "<new>" and the records, a chosen record sent
// as a Goto (refused while the unit compensates focus), "<new>" opening the editor with what its
// Current button takes, and the boxes rebuilt when the editor closes.

#include "ConsoleRig.h"

#include "records/StoredPositions.h"

#include <QSignalSpy>
#include <QTest>

using namespace mivel;
using namespace mivel::console;
using namespace mivel::test;
using records::RecordKind;
using Answer = Prompt::Answer;

namespace {

class EditorDialogs final : public ConsoleDialogs {
public:
    std::vector<RecordKind> opened;
    records::CurrentPosition taken;
    void runStoreEditor(records::RecordList& list,
                        std::function<records::CurrentPosition()> current) override {
        opened.push_back(list.kind());
        taken = current();
    }
};

struct RecallRig : ConsoleRig {
    records::StoredPositions positions{dir.path()};
    EditorDialogs editors;
    MainConsole& startWithRecords() {
        MainConsole& c = startConnected();
        c.setDialogs(&editors);
        c.setStoredPositions(&positions);
        positions.focus().save(1, {"Moon", 12500, 45}, true);
        positions.focus().save(2, {"Saturn", 12620, 44}, true);
        positions.rotator().save(1, {"North up", 9000, 0}, true);
        return c;
    }
};

} // namespace

class StoredRecallTest : public QObject {
    Q_OBJECT
private slots:
    void aChosenRecordIsAGoto() {
        RecallRig rig;
        MainConsole& c = rig.startWithRecords();
        QCOMPARE(c.recallItems(RecordKind::Focus), (QStringList{"<new>", "Moon", "Saturn"}));
        QCOMPARE(c.recallItems(RecordKind::Rotator), (QStringList{"<new>", "North up"}));
        rig.reply(":h 1 ");
        QSignalSpy texts(&c, &MainConsole::gotoTextsChanged);
        rig.prompt->answers = {Answer::Ok};
        c.recall(RecordKind::Focus, 2);
        QCOMPARE(texts.size(), 1);
        QCOMPARE(c.focusGotoText(), QStringLiteral("12620"));
        QCOMPARE(rig.prompt->texts(), QStringList{"Confirm slew?"});
        QCOMPARE(withoutPolls(rig.sent()), QByteArray("b12620 "));

        // While the unit compensates: the stored-position wording, and nothing moves.
        rig.reply(":tc 2 ");
        rig.prompt->shown.clear();
        c.recall(RecordKind::Focus, 1);
        QCOMPARE(rig.prompt->texts(),
                 QStringList{"Temperature compensation is active.  Focuser movement is disabled."});
        QCOMPARE(rig.prompt->shown[0].title, QStringLiteral("Mivel"));
        QCOMPARE(withoutPolls(rig.sent()), QByteArray());

        // The rotator's Goto box takes the angle with the console's position offset.
        c.setRotatorOffsetDeg(10);
        rig.prompt->answers = {Answer::Cancel};
        c.recall(RecordKind::Rotator, 1);
        QCOMPARE(c.rotatorGotoText(), QStringLiteral("55"));
    }

    void newOpensTheEditorAndTheBoxesFollow() {
        RecallRig rig;
        MainConsole& c = rig.startWithRecords();
        rig.reply(":a 14020 :sl1 1000 :of1 0 :tca 3850 ");
        QSignalSpy lists(&c, &MainConsole::recallListsChanged);
        c.recall(RecordKind::Focus, 0);
        QCOMPARE(rig.editors.opened, std::vector<RecordKind>{RecordKind::Focus});
        QCOMPARE(rig.editors.taken.position, 14020);
        QCOMPARE(rig.editors.taken.temperature, 38.5f);
        QCOMPARE(lists.size(), 1);
        c.editStoredPositions(RecordKind::Rotator);
        QCOMPARE(rig.editors.opened.back(), RecordKind::Rotator);
        QCOMPARE(lists.size(), 2);
    }

    void withoutStoredPositionsTheBoxesAreEmpty() {
        ConsoleRig rig;
        MainConsole& c = rig.start();
        QCOMPARE(c.recallItems(RecordKind::Focus), QStringList());
        c.recall(RecordKind::Focus, 0); // nothing to open, nothing said
        QVERIFY(rig.prompt->shown.empty());
    }
};

QTEST_GUILESS_MAIN(StoredRecallTest)
#include "test_stored_recall.moc"
