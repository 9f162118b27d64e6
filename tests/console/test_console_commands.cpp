// The console's command controls: their checks, confirmations and the exact commands they send.

#include "ConsoleRig.h"

#include "app/CheckRegistry.h"
#include "app/SettingsKey.h"

#include <QSignalSpy>
#include <QTest>

#include <functional>

using namespace mivel;
using namespace mivel::test;
using mivel::console::MainConsole;
using Answer = mivel::Prompt::Answer;
using Icon = mivel::Prompt::Icon;
using Axis = mivel::console::MainConsole::JogAxis;

namespace {

const QString kPastLimit = QStringLiteral("Warning:  Can not slew past wrap limit.");
const QString kMustHome = QStringLiteral(
    "Warning:  You must first find the home position before moving to absolute positions.  "
    "Please press the 'HOME' button and try again.");

} // namespace

class ConsoleCommandsTest : public QObject {
    Q_OBJECT
private slots:
    void everyCommandRefusesAClosedPort() {
        ConsoleRig rig;
        MainConsole& c = rig.start();
        rig.sent();
        for (const auto command :
             {&MainConsole::focusGoto, &MainConsole::focusHome, &MainConsole::focusStop,
              &MainConsole::recordFocus, &MainConsole::setMirrorSpacing,
              &MainConsole::synchTempComp, &MainConsole::rotatorGoto, &MainConsole::rotatorHome,
              &MainConsole::rotatorStop, &MainConsole::recordRotator, &MainConsole::wrapZero,
              &MainConsole::unwrap})
            (c.*command)();
        for (const auto setter :
             {&MainConsole::setFanMode, &MainConsole::setFanPower, &MainConsole::setFanGain,
              &MainConsole::setFanDeadBand, &MainConsole::setHeaterMode,
              &MainConsole::setHeaterPower, &MainConsole::setHeaterSetPoint, &MainConsole::setDew1,
              &MainConsole::setDew2, &MainConsole::setLimits})
            (c.*setter)(1);
        c.setRecallFocus(true);
        c.setForceMotorOff(false);
        c.setRecallRotator(true);
        c.jogPress(Axis::Focus, 1);
        c.jogPress(Axis::Rotator, -1);
        QCOMPARE(rig.prompt->texts(), QStringList(27, kPortNotOpen));
        for (const auto& shown : rig.prompt->shown)
            QVERIFY(shown.title == QStringLiteral("Vark") && shown.icon == Icon::Warning);
        QCOMPARE(rig.sent(), QByteArray());
        QCOMPARE(rig.dialogs.unwrapAsked, 0);
    }

    // Every control's exact words; the ones that ask first send nothing on Cancel.
    void commandsSendTheirWords() {
        ConsoleRig rig;
        MainConsole& c = rig.startConnected();
        const struct {
            std::function<void()> act;
            QByteArray expected;
            QString question = {};
        } cases[] = {
            {[&] { c.focusStop(); }, "S "},
            {[&] { c.recordFocus(); }, " f "},
            {[&] { c.setRecallFocus(true); }, " `1 "},
            {[&] { c.setRecallFocus(false); }, " `0 "},
            {[&] { c.setForceMotorOff(true); }, "U32 "},
            {[&] { c.setForceMotorOff(false); }, "U0 "},
            {[&] { c.synchTempComp(); }, " +2 "},
            {[&] { c.rotatorStop(); }, "q0 "},
            {[&] { c.recordRotator(); }, " v "},
            {[&] { c.setRecallRotator(true); }, " /1 "},
            {[&] { c.setRecallRotator(false); }, " /0 "},
            {[&] { c.setLimits(7); }, " t7 "},
            {[&] { c.setFanPower(35); }, " y35 "},
            {[&] { c.setFanMode(1); }, "n1 "},
            {[&] { c.setFanMode(0); }, " y35 "},
            {[&] { c.setFanGain(50); }, " g50 "},
            {[&] { c.setFanDeadBand(3); }, " O3 "},
            {[&] { c.setHeaterPower(60); }, " s60 "},
            {[&] { c.setHeaterMode(1); }, "w1 "},
            {[&] { c.setHeaterMode(2); }, " s60 "},
            {[&] { c.setHeaterSetPoint(-40); }, " P-40 "},
            {[&] { c.setDew1(25); }, " c25 "},
            {[&] { c.setDew2(75); }, " k75 "},
            {[&] { c.focusHome(); }, "h", QStringLiteral("Confirm slew home?")},
            {[&] { c.rotatorHome(); }, "r ", QStringLiteral("Confirm Rotate HOME")},
            {[&] { c.wrapZero(); }, " i ", "Initialize wrap to current Dorna position?"},
            {[&] {
                 c.setSkyLinked(true);
                 c.rotatorHome();
                 c.setSkyLinked(false);
             },
             "r ",
             QStringLiteral("Warning:  Homing while connected to TheSky will cause loss of "
                            "TheSky/Dorna synchronization.  Do you want to continue?")},
        };
        for (const auto& k : cases) {
            for (const Answer answer : {Answer::Cancel, Answer::Ok}) {
                if (k.question.isEmpty() && answer == Answer::Cancel)
                    continue;
                rig.prompt->shown.clear();
                rig.prompt->answers = {answer};
                k.act();
                QCOMPARE(rig.sent(), answer == Answer::Ok ? k.expected : QByteArray());
                QCOMPARE(rig.prompt->texts(),
                         k.question.isEmpty() ? QStringList() : QStringList{k.question});
                for (const auto& asked : rig.prompt->shown)
                    QVERIFY(asked.title == QStringLiteral("Mivel") &&
                            asked.icon == Icon::Question &&
                            asked.buttons == Prompt::Buttons::OkCancel);
            }
        }
        rig.prompt->shown.clear();
        rig.console->showComPort();
        QCOMPARE(rig.prompt->texts(), QStringList{QStringLiteral("The current com port is: 1")});
    }

    void focusGotoChecksComeFirstThenSendsTheWholePosition() {
        ConsoleRig rig;
        MainConsole& c = rig.start();
        // Force-off ticked: its message even with the port closed, and nothing else.
        c.setForceMotorOff(true); // the box is ticked although its command cannot go out
        rig.prompt->shown.clear();
        c.focusGoto();
        QCOMPARE(rig.prompt->texts(),
                 QStringList{
                     QStringLiteral("FORCE MOTOR OFF is checked.  Please uncheck to move motor.")});
        QCOMPARE(rig.prompt->shown[0].icon, Icon::Information);
        QCOMPARE(rig.prompt->shown[0].title, QStringLiteral("Mivel"));
        // Compensation active: its message, again before the port check.
        rig.reply(":mb 0 :tc 1 ");
        rig.prompt->shown.clear();
        c.focusGoto();
        QCOMPARE(rig.prompt->texts(),
                 QStringList{QStringLiteral(
                     "Temperature compensation is active.  Focus movement is disabled.")});
        rig.reply(":tc 0 ");
        rig.prompt->shown.clear();
        c.focusGoto();
        QCOMPARE(rig.prompt->texts(), QStringList{kPortNotOpen});
        QCOMPARE(rig.sent(), QByteArray());

        rig.connectAnswered();
        rig.reply(":h 1 ");
        const std::pair<QString, QByteArray> cases[] = {
            {"12500", "b12500 "}, {" 300.9 ", "b300 "}, {"-12.5", "b-13 "}, {"12a", ""}};
        for (const auto& [text, expected] : cases) {
            c.setFocusGotoText(text);
            rig.prompt->answers = {Answer::Ok};
            c.focusGoto();
            QCOMPARE(rig.sent(), expected);
        }
        QCOMPARE(rig.prompt->beeps, 1); // not a number
        rig.prompt->answers = {Answer::Cancel};
        c.focusGoto();
        QCOMPARE(rig.sent(), QByteArray());
    }

    // Before homing the Goto asks the unit and, two seconds later, moves without asking again
    // or warns that the home position must be found first.
    void gotoBeforeHomingRetriesOnce_data() {
        QTest::addColumn<bool>("focus");
        QTest::addColumn<QByteArray>("homed");
        QTest::addColumn<QByteArray>("move"); // empty: the warning instead
        QTest::newRow("focus homed") << true << QByteArray(":h 1 ") << QByteArray("b20000 ");
        QTest::newRow("focus not homed") << true << QByteArray(":h 0 ") << QByteArray();
        QTest::newRow("rotator homed") << false << QByteArray(":rh 1 ") << QByteArray("j-4000 ");
        QTest::newRow("rotator not homed") << false << QByteArray(":rh 0 ") << QByteArray();
    }
    void gotoBeforeHomingRetriesOnce() {
        QFETCH(bool, focus);
        QFETCH(QByteArray, homed);
        QFETCH(QByteArray, move);
        ConsoleRig rig;
        MainConsole& c = rig.startConnected();
        rig.reply(":rt 2000 :wr 0 ");
        c.setFocusGotoText(QStringLiteral("20000"));
        c.setRotatorGotoText(QStringLiteral("350"));
        focus ? c.focusGoto() : c.rotatorGoto();
        rig.reply(homed);
        rig.clock.advance(MainConsole::RetryMs - 1);
        QCOMPARE(withoutPolls(rig.sent()), QByteArray(focus ? "o " : "H "));
        rig.clock.advance(1);
        QCOMPARE(withoutPolls(rig.sent()), move);
        QCOMPARE(rig.shownCount(QStringLiteral("Confirm slew?")), 1);
        QCOMPARE(rig.shownCount(kMustHome), move.isEmpty() ? 1 : 0);
        QCOMPARE(rig.prompt->shown.back().title, QLatin1String(move.isEmpty() ? "Vark" : "Mivel"));
        // The next Goto asks again.
        focus ? c.focusGoto() : c.rotatorGoto();
        QCOMPARE(rig.shownCount(QStringLiteral("Confirm slew?")), 2);
    }

    void mirrorSpacingNeedsHomeAndShowsBothUnits() {
        ConsoleRig rig;
        rig.ctx->settings().stepSize = 0.5f;
        MainConsole& c = rig.startConnected();
        rig.reply(":a 12500 ");
        c.setMirrorSpacing();
        QCOMPARE(rig.prompt->texts(),
                 QStringList{QStringLiteral(
                     "You must first set home position before setting ideal mirror spacing.")});
        QCOMPARE(rig.sent(), QByteArray());
        rig.reply(":h 1 ");
        rig.prompt->shown.clear();
        c.setMirrorSpacing();
        QCOMPARE(rig.prompt->texts(),
                 QStringList{QStringLiteral("Set current position for ideal mirror spacing?")});
        QCOMPARE(rig.sent(), QByteArray(" E12500 "));
        rig.reply(":a 12900 ");
        QCOMPARE(c.readings().spacing, QStringLiteral("10.000")); // 400 x 0.025
        QCOMPARE(c.readings().spacingUnit, QStringLiteral("mils"));
        c.setSpacingUnit(1);
        QCOMPARE(c.readings().spacing, QStringLiteral("8.160")); // 400 x 0.5 x 0.0408
        QCOMPARE(c.readings().spacingUnit, QStringLiteral("scaled"));
        // At the ideal position both units read the same: the unit still follows the option.
        rig.reply(":a 12500 ");
        QSignalSpy changed(&c, &MainConsole::readingsChanged);
        c.setSpacingUnit(0);
        QCOMPARE(c.readings().spacingUnit, QStringLiteral("mils"));
        QCOMPARE(changed.count(), 1);
    }

    // The wrap limit can be set from the console: shown beside the wrap, kept for the rotator
    // driver and saved; out of range is refused. The homed state is shown too.
    void wrapLimitAndHomedStateAreShownAndSet() {
        ConsoleRig rig;
        checkRegistry(*rig.ctx);
        MainConsole& c = rig.startConnected();
        QCOMPARE(c.readings().wrapLimit, QStringLiteral("of \u00b1540"));
        QVERIFY(c.setWrapLimitDeg(20));
        QCOMPARE(rig.ctx->settings().dornaLimit, 20);
        QCOMPARE(c.readings().wrapLimit, QStringLiteral("of \u00b120"));
        QVariant stored;
        QCOMPARE(readSetting(rig.ctx->store(), QStringLiteral("DornaLimit"), &stored), 0L);
        QCOMPARE(stored.toInt(), 20);
        for (int refused : {-1, 2001})
            QVERIFY(!c.setWrapLimitDeg(refused));
        QVERIFY(c.setWrapLimitDeg(2000));
        QCOMPARE(rig.ctx->settings().dornaLimit, 2000);
        QCOMPARE(rig.sent(), QByteArray()); // a setting of the console, not of the unit

        QCOMPARE(c.readings().rotatorHomedText, QStringLiteral("NOT HOMED"));
        rig.reply(":rh 1 ");
        QCOMPARE(c.readings().rotatorHomedText, QStringLiteral("HOMED"));
        rig.reply(":rh 0 ");
        QCOMPARE(c.readings().rotatorHomedText, QStringLiteral("NOT HOMED"));
        rig.reply(":rrp 5 "); // a recorded position implies home was found
        QCOMPARE(c.readings().rotatorHomedText, QStringLiteral("HOMED"));
    }

    void rotatorGotoFoldsOnlyPositiveMoves_data() {
        QTest::addColumn<int>("position");
        QTest::addColumn<int>("wrap");
        QTest::addColumn<int>("limit");
        QTest::addColumn<bool>("autoReverse");
        QTest::addColumn<QString>("target");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("10 to 350: folded")
            << 2000 << 0 << 400 << true << "350" << QByteArray("j-4000 ");
        QTest::newRow("350 to 10: long way kept") // however wide the limit
            << 70000 << 0 << 1000 << true << "10" << QByteArray("j-68000 ");
        QTest::newRow("short way past the limit, long way inside")
            << 0 << 100000 << 540 << true << "90" << QByteArray("j-54000 ");
        QTest::newRow("long way not allowed")
            << 0 << 100000 << 540 << false << "90" << QByteArray();
        QTest::newRow("neither way inside") << 0 << 30000 << 100 << true << "90" << QByteArray();
        QTest::newRow("beyond one turn folds first")
            << 0 << 0 << 540 << true << "370.5" << QByteArray("j2100 ");
        QTest::newRow("target not a number") << 0 << 0 << 540 << true << "abc" << QByteArray();
    }
    void rotatorGotoFoldsOnlyPositiveMoves() {
        QFETCH(int, position);
        QFETCH(int, wrap);
        QFETCH(int, limit);
        QFETCH(bool, autoReverse);
        QFETCH(QString, target);
        QFETCH(QByteArray, expected);
        ConsoleRig rig;
        rig.ctx->settings().dornaLimit = limit;
        rig.ctx->settings().autoReverse = autoReverse;
        MainConsole& c = rig.startConnected();
        rig.reply(":rh 1 :rt " + QByteArray::number(position) + " :wr " + QByteArray::number(wrap) +
                  " ");
        c.setRotatorGotoText(target);
        c.rotatorGoto();
        QCOMPARE(rig.sent(), expected);
        const bool notANumber = target == QStringLiteral("abc");
        QCOMPARE(rig.shownCount(kPastLimit), expected.isEmpty() && !notANumber ? 1 : 0);
        QCOMPARE(rig.prompt->beeps, notANumber ? 1 : 0);
    }

    void unwrapChoices() {
        ConsoleRig rig;
        MainConsole& c = rig.startConnected();
        const QString lessThanHalf =
            QStringLiteral("The current wrap is less than 180 degrees.  Unwrapping by 360 "
                           "degrees will result in a greater wrap.  Do you wish to continue?");
        const struct {
            int wrap;
            int choice;
            Answer answer;
            bool asked;
            QByteArray expected;
        } cases[] = {
            {100000, 1, Answer::Ok, false, " j-72000 "},
            {-100000, 1, Answer::Ok, false, " j72000 "},
            {20000, 1, Answer::Ok, true, " j-72000 "},
            {20000, 1, Answer::Cancel, true, ""},
            {-36000, 1, Answer::Ok, true, " j72000 "},
            {100000, 2, Answer::Ok, false, " j-100000 "},
            {100000, 0, Answer::Ok, false, ""},
        };
        for (const auto& k : cases) {
            rig.reply(":wr " + QByteArray::number(k.wrap) + " ");
            rig.dialogs.unwrapChoice = k.choice;
            rig.prompt->shown.clear();
            rig.prompt->answers = {k.answer};
            c.unwrap();
            QCOMPARE(rig.shownCount(lessThanHalf), k.asked ? 1 : 0);
            QCOMPARE(rig.sent(), k.expected);
            QCOMPARE(rig.ctx->shared().unwrapChoice, std::int16_t(k.choice));
        }
    }

    void jogRepeatsWhileHeldAndStopsAtTheWrapLimit() {
        ConsoleRig rig;
        MainConsole& c = rig.startConnected();
        c.setFocusJogStepIndex(2); // 10 counts
        c.jogPress(Axis::Focus, -1);
        QCOMPARE(rig.sent(), QByteArray("m-10 "));
        rig.clock.advance(MainConsole::JogFirstDelayMs - 1);
        QCOMPARE(withoutPolls(rig.sent()), QByteArray());
        rig.clock.advance(1 + 3 * MainConsole::JogRepeatMs);
        QCOMPARE(withoutPolls(rig.sent()), QByteArray("m-10 m-10 m-10 m-10 "));
        c.jogRelease();
        rig.clock.advance(1000);
        QCOMPARE(withoutPolls(rig.sent()), QByteArray());

        // Rotator: the typed degrees, at most a turn, times 200, within the wrap limit.
        rig.reply(":wr 0 ");
        c.setRotatorJogText(QStringLiteral("2.5"));
        c.jogPress(Axis::Rotator, 1);
        QCOMPARE(rig.sent(), QByteArray("j500 "));
        c.setRotatorJogText(QStringLiteral("400"));
        c.jogPress(Axis::Rotator, -1);
        QCOMPARE(rig.sent(), QByteArray("j-72000 "));
        c.jogRelease();
        rig.ctx->settings().dornaLimit = 100; // 20000 steps
        rig.reply(":wr 19000 ");
        c.setRotatorJogText(QStringLiteral("10"));
        c.jogPress(Axis::Rotator, 1);
        QCOMPARE(rig.sent(), QByteArray());
        QCOMPARE(rig.prompt->texts(), QStringList{kPastLimit});
        QVERIFY(!c.jogging());
        c.jogPress(Axis::Rotator, -1); // away from the limit
        QCOMPARE(rig.sent(), QByteArray("j-2000 "));
        // Beyond the limit, a step back towards zero is allowed; one further out is not.
        rig.reply(":wr 30000 ");
        QCOMPARE(rig.sent(), QByteArray("q0 ")); // the guard's stop
        c.jogPress(Axis::Rotator, -1);
        QCOMPARE(rig.sent(), QByteArray("j-2000 "));
        rig.prompt->shown.clear();
        c.jogPress(Axis::Rotator, 1);
        QCOMPARE(rig.sent(), QByteArray());
        QCOMPARE(rig.prompt->texts(), QStringList{kPastLimit});
        // A step that is not a number says so.
        rig.prompt->shown.clear();
        c.setRotatorJogText(QStringLiteral("ten"));
        c.jogPress(Axis::Rotator, -1);
        QCOMPARE(rig.sent(), QByteArray());
        QCOMPARE(rig.prompt->texts(),
                 QStringList{QStringLiteral(
                     "The rotator jog step must be a number of degrees (at most 360).")});
        QVERIFY(!c.jogging());
        // Closing the port ends a jog.
        c.setRotatorJogText(QStringLiteral("1"));
        c.jogPress(Axis::Rotator, -1);
        QVERIFY(c.jogging());
        c.disconnectLink();
        QVERIFY(!c.jogging());
    }

    // The unit owns the focus while it compensates: a jog is refused, and a held one stops when
    // compensation begins. The rotator still jogs.
    void focusJogsObeyCompensation() {
        ConsoleRig rig;
        MainConsole& c = rig.startConnected();
        const QStringList refused{
            QStringLiteral("Temperature compensation is active.  Focus movement is disabled.")};
        c.setFocusJogStepIndex(2); // 10 counts
        for (const char* mode : {":tc 1 ", ":tc 2 "}) {
            rig.reply(mode);
            rig.prompt->shown.clear();
            c.jogPress(Axis::Focus, 1);
            QVERIFY(!c.jogging());
            rig.clock.advance(1000);
            QCOMPARE(withoutPolls(rig.sent()), QByteArray());
            QCOMPARE(rig.prompt->texts(), refused);
        }
        rig.reply(":tc 0 ");
        c.jogPress(Axis::Focus, -1);
        QCOMPARE(withoutPolls(rig.sent()), QByteArray("m-10 "));
        rig.reply(":tc 1 ");
        rig.prompt->shown.clear();
        rig.clock.advance(MainConsole::JogFirstDelayMs + 10 * MainConsole::JogRepeatMs);
        QCOMPARE(withoutPolls(rig.sent()), QByteArray());
        QVERIFY(!c.jogging());
        QCOMPARE(rig.prompt->texts(), refused); // once, not at every repeat
        rig.reply(":wr 0 ");
        c.jogPress(Axis::Rotator, 1);
        QCOMPARE(withoutPolls(rig.sent()), QByteArray("j200 "));
        c.jogRelease();
    }

    // While a button is held the poll goes on, and a rotator step is checked only against a
    // wrap the unit reported within the last two polls.
    void heldJogKeepsThePollAndAFreshWrap() {
        ConsoleRig rig;
        rig.ctx->settings().dornaLimit = 100; // 20000 steps
        MainConsole& c = rig.startConnected();
        c.jogPress(Axis::Focus, 1);
        rig.clock.advance(1000);
        QCOMPARE(rig.sent().count(" Q "), 1000 / MainConsole::PollMs);
        c.jogRelease();

        // A click on an old wrap asks for the wrap first; its step follows the answer.
        c.setRotatorJogText(QStringLiteral("10"));
        rig.reply(":wr 1000 ");
        rig.clock.advance(MainConsole::WrapFreshMs + 1);
        rig.sent();
        c.jogPress(Axis::Rotator, 1);
        QCOMPARE(rig.sent(), QByteArray(" R "));
        c.jogRelease();
        rig.clock.advance(MainConsole::JogRepeatMs);
        QCOMPARE(withoutPolls(rig.sent()), QByteArray());
        rig.reply(":wr 1000 ");
        rig.clock.advance(MainConsole::JogRepeatMs);
        QCOMPARE(withoutPolls(rig.sent()), QByteArray("j2000 "));
        QVERIFY(!c.jogging());

        // Held on the focus tab: the poll asks for the rotator, and the steps stop when the
        // answers do.
        c.jogPress(Axis::Rotator, 1);
        QCOMPARE(rig.sent(), QByteArray("j2000 "));
        rig.clock.advance(MainConsole::WrapFreshMs);
        QVERIFY(rig.sent().contains("j2000 "));
        rig.clock.advance(MainConsole::JogRepeatMs);
        rig.sent();
        rig.clock.advance(MainConsole::PollMs);
        QCOMPARE(rig.sent(), QByteArray(" R "));
        rig.reply(":wr 5000 ");
        rig.clock.advance(MainConsole::JogRepeatMs);
        QCOMPARE(withoutPolls(rig.sent()), QByteArray("j2000 "));
        // Up to the limit, and not a step further.
        rig.reply(":wr 18001 ");
        rig.clock.advance(MainConsole::JogRepeatMs);
        QCOMPARE(withoutPolls(rig.sent()), QByteArray());
        QCOMPARE(rig.prompt->texts(), QStringList{kPastLimit});
        QVERIFY(!c.jogging());
        // A unit that stops reporting its wrap ends the jog.
        rig.reply(":wr 0 ");
        c.jogPress(Axis::Rotator, 1);
        rig.clock.advance(MainConsole::WrapFreshMs + MainConsole::RetryMs + 100);
        QVERIFY(!c.jogging());
    }
};

QTEST_GUILESS_MAIN(ConsoleCommandsTest)
#include "test_console_commands.moc"
