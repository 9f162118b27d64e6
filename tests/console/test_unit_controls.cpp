// The control table under a console: every row's reply reaches its reading and its flag holds
// that reply off while the user edits, so a row that names the wrong reply, a reply the console
// hands elsewhere, or a shared flag shows up here rather than as a control that never updates.

#include "ConsoleRig.h"

#include "console/UnitControls.h"

#include <QTest>

using namespace mivel;
using namespace mivel::test;
using mivel::console::ControlKind;
using mivel::console::kUnitControls;
using mivel::console::MainConsole;
using mivel::console::Readings;
using mivel::console::UnitControl;

namespace {

int reading(const Readings& r, const UnitControl& row) {
    return row.kind == ControlKind::Switch ? int(r.*row.state) : r.*row.level;
}

QByteArray replyOf(const UnitControl& row, int value) {
    const std::string_view tag = wire::tagInfo(row.reply).wire;
    return QByteArray(tag.data(), qsizetype(tag.size())) + ' ' + QByteArray::number(value) + ' ';
}

// A reply that reads as on (or as the value 9) for every kind of row.
constexpr int kReported = 9;
int expectedOf(const UnitControl& row) {
    return row.kind == ControlKind::Switch ? 1 : kReported;
}

} // namespace

class UnitControlsTest : public QObject {
    Q_OBJECT
private slots:
    void everyRowsReplyReachesItsReadingUnlessHeld() {
        for (const UnitControl& row : kUnitControls) {
            const QByteArray tag(wire::tagInfo(row.reply).wire.data());
            ConsoleRig rig;
            MainConsole& c = rig.startConnected();
            rig.reply(replyOf(row, kReported));
            QVERIFY2(reading(c.readings(), row) == expectedOf(row), tag);

            c.beginEdit(row.flag);
            rig.reply(replyOf(row, 0));
            QVERIFY2(reading(c.readings(), row) == expectedOf(row), tag);
            rig.clock.advance(MainConsole::RetryMs);
            rig.reply(replyOf(row, 0));
            QVERIFY2(reading(c.readings(), row) == 0, tag);
        }
    }

    // Setting one control holds replies off that control alone.
    void settingARowHoldsOnlyItsOwnReply() {
        for (const UnitControl& row : kUnitControls) {
            ConsoleRig rig;
            MainConsole& c = rig.startConnected();
            c.setControl(row.flag, 1);
            QVERIFY(!rig.sent().isEmpty());
            for (const UnitControl& other : kUnitControls) {
                rig.reply(replyOf(other, kReported));
                const int shown = reading(c.readings(), other);
                if (&other == &row)
                    QVERIFY2(shown == 1, wire::tagInfo(row.reply).wire.data());
                else
                    QVERIFY2(shown == expectedOf(other), wire::tagInfo(other.reply).wire.data());
            }
        }
    }
};

QTEST_GUILESS_MAIN(UnitControlsTest)
#include "test_unit_controls.moc"
