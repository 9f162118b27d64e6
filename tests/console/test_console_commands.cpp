// The console's command controls: their checks, confirmations and the exact commands they send.

#include "ConsoleRig.h"

#include <QTest>

#include <functional>

using namespace mivel;
using mivel::console::ConsoleTab;
using mivel::console::MainConsole;
using mivel::test::ConsoleRig;
using Answer = mivel::Prompt::Answer;
using Icon = mivel::Prompt::Icon;

namespace {

const QString kPortNotOpen = QStringLiteral("Error:  The communications port is not open.");
const QString kPastLimit = QStringLiteral("Warning:  Can not slew past wrap limit.");
const QString kMustHome = QStringLiteral(
    "Warning:  You must first find the home position before moving to absolute positions.  "
    "Please press the 'HOME' button and try again.");

QByteArray withoutPolls(QByteArray sent) {
    for (const char* poll : {" Q ", " T ", " R ", " d0 "})
        sent.replace(poll, "");
    return sent;
}

// A connected console whose rotator is homed and reports position and wrap.
void rotatorAt(ConsoleRig& rig, std::int32_t position, std::int32_t wrap) {
    rig.reply(QByteArray(":rh 1 :rt ") + QByteArray::number(position) + " :wr " +
              QByteArray::number(wrap) + " ");
}

} // namespace

class ConsoleCommandsTest : public QObject {
    Q_OBJECT
private slots:
    void everyCommandRefusesAClosedPort();
    void simpleCommandsSendTheirWords();
    void confirmationsAskAndCancelSendsNothing();
    void focusGotoChecksComeFirst();
    void focusGotoSendsTheWholePosition();
    void focusGotoBeforeHomingAsksAndRepeatsWithoutConfirming();
    void focusGotoBeforeHomingWarnsWhenStillNotHomed();
    void mirrorSpacingNeedsHomeAndShowsBothUnits();
    void rotatorGotoFoldsOnlyPositiveMoves_data();
    void rotatorGotoFoldsOnlyPositiveMoves();
    void rotatorGotoBeforeHomingRetries();
    void unwrapChoices();
    void fanHeaterAndDewControls();
    void jogRepeatsWhileHeld();
    void rotatorJogStopsAtTheWrapLimit();
};

void ConsoleCommandsTest::everyCommandRefusesAClosedPort() {
    ConsoleRig rig;
    MainConsole& c = rig.start();
    rig.sent();
    const std::function<void()> commands[] = {
        [&] { c.focusGoto(); },
        [&] { c.focusHome(); },
        [&] { c.focusStop(); },
        [&] { c.recordFocus(); },
        [&] { c.setRecallFocus(true); },
        [&] { c.setForceMotorOff(false); },
        [&] { c.setMirrorSpacing(); },
        [&] { c.synchTempComp(); },
        [&] { c.rotatorGoto(); },
        [&] { c.rotatorHome(); },
        [&] { c.rotatorStop(); },
        [&] { c.recordRotator(); },
        [&] { c.setRecallRotator(true); },
        [&] { c.wrapZero(); },
        [&] { c.unwrap(); },
        [&] { c.jogPress(MainConsole::JogAxis::Focus, 1); },
        [&] { c.jogPress(MainConsole::JogAxis::Rotator, -1); },
        [&] { c.setFanMode(1); },
        [&] { c.setFanPower(10); },
        [&] { c.setFanGain(10); },
        [&] { c.setFanDeadBand(1); },
        [&] { c.setHeaterMode(2); },
        [&] { c.setHeaterPower(10); },
        [&] { c.setHeaterSetPoint(-5); },
        [&] { c.setDew1(10); },
        [&] { c.setDew2(10); },
        [&] { c.setLimits(3); },
    };
    for (const auto& command : commands) {
        rig.prompt->shown.clear();
        command();
        QCOMPARE(rig.prompt->shown.size(), std::size_t(1));
        QCOMPARE(rig.prompt->shown[0].text, kPortNotOpen);
        QCOMPARE(rig.prompt->shown[0].title, QStringLiteral("Vark"));
        QCOMPARE(rig.prompt->shown[0].icon, Icon::Warning);
    }
    QCOMPARE(rig.sent(), QByteArray());
    QCOMPARE(rig.dialogs.unwrapAsked, 0);
}

void ConsoleCommandsTest::simpleCommandsSendTheirWords() {
    ConsoleRig rig;
    MainConsole& c = rig.start();
    rig.connectAnswered();
    const struct {
        std::function<void()> act;
        QByteArray expected;
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
    };
    for (const auto& k : cases) {
        k.act();
        QCOMPARE(rig.sent(), k.expected);
    }
    QVERIFY(rig.prompt->shown.empty());

    rig.console->showComPort();
    QCOMPARE(rig.prompt->texts(), QStringList{QStringLiteral("The current com port is: 1")});
}

void ConsoleCommandsTest::confirmationsAskAndCancelSendsNothing() {
    ConsoleRig rig;
    MainConsole& c = rig.start();
    rig.connectAnswered();
    const struct {
        std::function<void()> act;
        QString question;
        QByteArray expected;
    } cases[] = {
        {[&] { c.focusHome(); }, QStringLiteral("Confirm slew home?"), "h"},
        {[&] { c.rotatorHome(); }, QStringLiteral("Confirm Rotate HOME"), "r "},
        {[&] { c.wrapZero(); }, QStringLiteral("Initialize wrap to current Dorna position?"),
         " i "},
        {[&] {
             c.setSkyLinked(true);
             c.rotatorHome();
             c.setSkyLinked(false);
         },
         QStringLiteral("Warning:  Homing while connected to TheSky will cause loss of "
                        "TheSky/Dorna synchronization.  Do you want to continue?"),
         "r "},
    };
    for (const auto& k : cases) {
        for (const Answer answer : {Answer::Cancel, Answer::Ok}) {
            rig.prompt->shown.clear();
            rig.prompt->answers = {answer};
            k.act();
            QCOMPARE(rig.prompt->shown.size(), std::size_t(1));
            QCOMPARE(rig.prompt->shown[0].text, k.question);
            QCOMPARE(rig.prompt->shown[0].title, QStringLiteral("Mivel"));
            QCOMPARE(rig.prompt->shown[0].icon, Icon::Question);
            QCOMPARE(rig.prompt->shown[0].buttons, Prompt::Buttons::OkCancel);
            QCOMPARE(rig.sent(), answer == Answer::Ok ? k.expected : QByteArray());
        }
    }
}

void ConsoleCommandsTest::focusGotoChecksComeFirst() {
    ConsoleRig rig;
    MainConsole& c = rig.start();
    // Force-off ticked: its message even with the port closed, and nothing else.
    c.setForceMotorOff(true); // the box is ticked although its command cannot go out
    rig.prompt->shown.clear();
    c.setFocusGotoText(QStringLiteral("1000"));
    c.focusGoto();
    QCOMPARE(
        rig.prompt->texts(),
        QStringList{QStringLiteral("FORCE MOTOR OFF is checked.  Please uncheck to move motor.")});
    QCOMPARE(rig.prompt->shown[0].icon, Icon::Information);
    QCOMPARE(rig.prompt->shown[0].title, QStringLiteral("Mivel"));

    // Compensation active: its message, again before the port check.
    rig.reply(":mb 0 :tc 1 ");
    QVERIFY(!c.readings().forceMotorOff);
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
}

void ConsoleCommandsTest::focusGotoSendsTheWholePosition() {
    ConsoleRig rig;
    MainConsole& c = rig.start();
    rig.connectAnswered();
    rig.reply(":h 1 ");
    const struct {
        QString text;
        QByteArray expected;
    } cases[] = {
        {"12500", "b12500 "}, {" 300.9 ", "b300 "}, {"-12.5", "b-13 "}, {"", ""}, {"12a", ""}};
    for (const auto& k : cases) {
        c.setFocusGotoText(k.text);
        rig.prompt->answers = {Answer::Ok};
        c.focusGoto();
        QCOMPARE(rig.sent(), k.expected);
    }
    QCOMPARE(rig.prompt->beeps, 2); // the two that are not numbers
    rig.prompt->answers = {Answer::Cancel};
    c.setFocusGotoText(QStringLiteral("100"));
    c.focusGoto();
    QCOMPARE(rig.sent(), QByteArray());
}

void ConsoleCommandsTest::focusGotoBeforeHomingAsksAndRepeatsWithoutConfirming() {
    ConsoleRig rig;
    MainConsole& c = rig.start();
    rig.connectAnswered();
    c.setFocusGotoText(QStringLiteral("20000"));
    c.focusGoto();
    QCOMPARE(rig.sent(), QByteArray("o "));
    rig.reply(":h 1 "); // the unit's answer
    rig.clock.advance(1999);
    QCOMPARE(withoutPolls(rig.sent()), QByteArray());
    rig.clock.advance(1);
    QCOMPARE(withoutPolls(rig.sent()), QByteArray("b20000 "));
    QCOMPARE(rig.shownCount(QStringLiteral("Confirm slew?")), 1);
    QCOMPARE(rig.prompt->shown.size(), std::size_t(1));

    // The next Goto asks again.
    c.focusGoto();
    QCOMPARE(rig.shownCount(QStringLiteral("Confirm slew?")), 2);
}

void ConsoleCommandsTest::focusGotoBeforeHomingWarnsWhenStillNotHomed() {
    ConsoleRig rig;
    MainConsole& c = rig.start();
    rig.connectAnswered();
    c.setFocusGotoText(QStringLiteral("20000"));
    c.focusGoto();
    rig.reply(":h 0 ");
    rig.clock.advance(MainConsole::RetryMs);
    QCOMPARE(withoutPolls(rig.sent()), QByteArray("o "));
    QCOMPARE(rig.prompt->shown.back().text, kMustHome);
    QCOMPARE(rig.prompt->shown.back().title, QStringLiteral("Vark"));
    QCOMPARE(rig.prompt->shown.back().icon, Icon::Warning);
}

void ConsoleCommandsTest::mirrorSpacingNeedsHomeAndShowsBothUnits() {
    ConsoleRig rig;
    rig.ctx->settings().stepSize = 0.5f;
    MainConsole& c = rig.start();
    rig.connectAnswered();
    rig.reply(":a 12500 ");
    c.setMirrorSpacing();
    QCOMPARE(rig.prompt->texts(),
             QStringList{QStringLiteral(
                 "You must first set home position before setting ideal mirror spacing.")});
    QCOMPARE(rig.sent(), QByteArray());
    QCOMPARE(c.readings().spacing, QStringLiteral("GO HOME"));

    rig.reply(":h 1 ");
    rig.prompt->shown.clear();
    c.setMirrorSpacing();
    QCOMPARE(rig.prompt->texts(),
             QStringList{QStringLiteral("Set current position for ideal mirror spacing?")});
    QCOMPARE(rig.sent(), QByteArray(" E12500 "));
    QCOMPARE(c.readings().spacing, QStringLiteral("0.000"));
    rig.reply(":a 12900 ");
    QCOMPARE(c.readings().spacing, QStringLiteral("10.000")); // 400 x 0.025
    c.setSpacingUnit(1);
    QCOMPARE(c.readings().spacing, QStringLiteral("8.160")); // 400 x 0.5 x 0.0408
}

void ConsoleCommandsTest::rotatorGotoFoldsOnlyPositiveMoves_data() {
    QTest::addColumn<int>("position");
    QTest::addColumn<int>("wrap");
    QTest::addColumn<int>("limit");
    QTest::addColumn<bool>("autoReverse");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("10 to 350: folded")
        << 2000 << 0 << 400 << true << "350" << QByteArray("j-4000 ");
    QTest::newRow("350 to 10: long way kept")
        << 70000 << 0 << 400 << true << "10" << QByteArray("j-68000 ");
    QTest::newRow("short way past the limit, long way inside")
        << 0 << 100000 << 540 << true << "90" << QByteArray("j-54000 ");
    QTest::newRow("long way not allowed") << 0 << 100000 << 540 << false << "90" << QByteArray();
    QTest::newRow("neither way inside") << 0 << 30000 << 100 << true << "90" << QByteArray();
    QTest::newRow("beyond one turn folds first")
        << 0 << 0 << 540 << true << "370.5" << QByteArray("j2100 ");
    QTest::newRow("target not a number") << 0 << 0 << 540 << true << "abc" << QByteArray();
}

void ConsoleCommandsTest::rotatorGotoFoldsOnlyPositiveMoves() {
    QFETCH(int, position);
    QFETCH(int, wrap);
    QFETCH(int, limit);
    QFETCH(bool, autoReverse);
    QFETCH(QString, target);
    QFETCH(QByteArray, expected);
    ConsoleRig rig;
    rig.ctx->settings().dornaLimit = limit;
    rig.ctx->settings().autoReverse = autoReverse;
    MainConsole& c = rig.start();
    rig.connectAnswered();
    rotatorAt(rig, position, wrap);
    c.setRotatorGotoText(target);
    c.rotatorGoto();
    QCOMPARE(rig.sent(), expected);
    const bool refused = expected.isEmpty() && target != QStringLiteral("abc");
    QCOMPARE(rig.shownCount(kPastLimit), refused ? 1 : 0);
    QCOMPARE(rig.prompt->beeps, target == QStringLiteral("abc") ? 1 : 0);
}

void ConsoleCommandsTest::rotatorGotoBeforeHomingRetries() {
    ConsoleRig rig;
    MainConsole& c = rig.start();
    rig.connectAnswered();
    rig.reply(":rt 2000 :wr 0 ");
    c.setRotatorGotoText(QStringLiteral("350"));
    c.rotatorGoto();
    QCOMPARE(rig.sent(), QByteArray("H "));
    rig.reply(":rh 1 ");
    rig.clock.advance(MainConsole::RetryMs);
    QCOMPARE(withoutPolls(rig.sent()), QByteArray("j-4000 "));
    QCOMPARE(rig.shownCount(QStringLiteral("Confirm slew?")), 1);

    // Still not homed two seconds later: the warning instead.
    ConsoleRig cold;
    MainConsole& c2 = cold.start();
    cold.connectAnswered();
    c2.setRotatorGotoText(QStringLiteral("10"));
    c2.rotatorGoto();
    cold.clock.advance(MainConsole::RetryMs);
    QCOMPARE(withoutPolls(cold.sent()), QByteArray("H "));
    QCOMPARE(cold.shownCount(kMustHome), 1);
}

void ConsoleCommandsTest::unwrapChoices() {
    ConsoleRig rig;
    MainConsole& c = rig.start();
    rig.connectAnswered();
    const QString lessThanHalf =
        QStringLiteral("The current wrap is less than 180 degrees.  Unwrapping by 360 degrees "
                       "will result in a greater wrap.  Do you wish to continue?");
    const struct {
        int wrap;
        int choice;
        Answer answer;
        bool asked;
        QByteArray expected;
    } cases[] = {
        {100000, 1, Answer::Ok, false, " j-72000 "}, {-100000, 1, Answer::Ok, false, " j72000 "},
        {20000, 1, Answer::Ok, true, " j-72000 "},   {20000, 1, Answer::Cancel, true, ""},
        {-36000, 1, Answer::Ok, true, " j72000 "},   {100000, 2, Answer::Ok, false, " j-100000 "},
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

void ConsoleCommandsTest::fanHeaterAndDewControls() {
    ConsoleRig rig;
    MainConsole& c = rig.start();
    rig.connectAnswered();
    const struct {
        std::function<void()> act;
        QByteArray expected;
    } cases[] = {
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
    };
    for (const auto& k : cases) {
        k.act();
        QCOMPARE(rig.sent(), k.expected);
    }
    const auto& w = c.watchdog();
    for (const auto flag :
         {MainConsole::Flag::FanPower, MainConsole::Flag::FanMode, MainConsole::Flag::FanGain,
          MainConsole::Flag::FanDeadBand, MainConsole::Flag::HeaterPower,
          MainConsole::Flag::HeaterMode, MainConsole::Flag::HeaterSetPoint,
          MainConsole::Flag::Dew1Power, MainConsole::Flag::Dew2Power})
        QVERIFY(w.isSet(flag));
}

void ConsoleCommandsTest::jogRepeatsWhileHeld() {
    ConsoleRig rig;
    MainConsole& c = rig.start();
    rig.connectAnswered();
    c.setFocusJogStepIndex(2); // 10 counts
    c.jogPress(MainConsole::JogAxis::Focus, -1);
    QCOMPARE(rig.sent(), QByteArray("m-10 "));
    rig.clock.advance(MainConsole::JogFirstDelayMs - 1);
    QCOMPARE(withoutPolls(rig.sent()), QByteArray());
    rig.clock.advance(1 + 3 * MainConsole::JogRepeatMs);
    QCOMPARE(withoutPolls(rig.sent()), QByteArray("m-10 m-10 m-10 m-10 "));
    c.jogRelease();
    rig.clock.advance(1000);
    QCOMPARE(withoutPolls(rig.sent()), QByteArray());
    QVERIFY(!c.jogging());

    // Rotator: the typed degrees, at most a turn, times 200.
    rig.reply(":wr 0 ");
    c.setRotatorJogText(QStringLiteral("2.5"));
    c.jogPress(MainConsole::JogAxis::Rotator, 1);
    QCOMPARE(rig.sent(), QByteArray("j500 "));
    c.jogRelease();
    c.setRotatorJogText(QStringLiteral("400"));
    c.jogPress(MainConsole::JogAxis::Rotator, -1);
    QCOMPARE(rig.sent(), QByteArray("j-72000 "));
    // Closing the port ends a jog.
    c.disconnectLink();
    QVERIFY(!c.jogging());
}

void ConsoleCommandsTest::rotatorJogStopsAtTheWrapLimit() {
    ConsoleRig rig;
    rig.ctx->settings().dornaLimit = 100; // 20000 steps
    MainConsole& c = rig.start();
    rig.connectAnswered();
    rig.reply(":wr 19000 ");
    c.setRotatorJogText(QStringLiteral("10"));
    c.jogPress(MainConsole::JogAxis::Rotator, 1);
    QCOMPARE(rig.sent(), QByteArray());
    QCOMPARE(rig.prompt->texts(), QStringList{kPastLimit});
    QVERIFY(!c.jogging());
    c.jogPress(MainConsole::JogAxis::Rotator, -1); // away from the limit
    QCOMPARE(rig.sent(), QByteArray("j-2000 "));
    c.jogRelease();
}

QTEST_GUILESS_MAIN(ConsoleCommandsTest)
#include "test_console_commands.moc"
