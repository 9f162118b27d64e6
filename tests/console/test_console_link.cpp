// The console's status loop: start sequence, diagnostic file, connect and link check, the poll
// that follows the shown tab, the display of the replies, the awaiting-reply flags, the focus
// error alerts and the wrap-limit guard.

#include "ConsoleRig.h"

#include "console/DiagnosticFile.h"

#include <QFile>
#include <QSignalSpy>
#include <QTest>

using namespace mivel;
using mivel::console::ConsoleTab;
using mivel::console::MainConsole;
using mivel::console::ThermalReaders;
using mivel::test::ConsoleRig;

namespace {

const QString kPortNotOpen = QStringLiteral("Error:  The communications port is not open.");

QByteArray withoutPolls(QByteArray sent) {
    for (const char* poll : {" Q ", " T ", " R ", " d0 "})
        sent.replace(poll, "");
    return sent;
}

} // namespace

class ConsoleLinkTest : public QObject {
    Q_OBJECT
private slots:
    void startSendsItsSequenceWhenThePortIsOpen();
    void diagnosticRecordsGoToTheFile();
    void connectProbesAndAsksForTheVersion();
    void silentUnitGetsThreeMoreProbesThenTheWarning();
    void portThatWillNotOpenReportsWhy();
    void disconnectAndPortsClosedElsewhereRestoreTheControls();
    void pollFollowsTheShownTab();
    void temperaturePollGivesWayToTheLogAndGraph();
    void repliesAreShownInTheirFormats();
    void repliesSplitAnywhereReadTheSame();
    void awaitingFlagKeepsRepliesOffTheEditedControl();
    void stuckAwaitingFlagIsClearedByThe1001stChunk();
    void focusErrorIsReportedAgainAfter15Seconds();
    void focusErrorsStayQuietWhenReportingIsOff();
    void wrapPastTheLimitSendsExactlyOneStop();
    void miniConsoleSkipsThePollOfTheMainConsole();
};

void ConsoleLinkTest::startSendsItsSequenceWhenThePortIsOpen() {
    ConsoleRig rig;
    // A driver object opened the port before the console started.
    Connector driver(rig.ctx->hub());
    QVERIFY(!driver.serial().setConnected(true));
    rig.start();
    QCOMPARE(rig.sent(), QByteArray(" J  l  Q "));
    QVERIFY(!rig.console->connectEnabled());
    QVERIFY(rig.console->disconnectEnabled());

    // The mini console sends no start sequence and keeps no diagnostic file.
    MainConsole mini(*rig.ctx, MainConsole::Role::Mini);
    QCOMPARE(rig.sent(), QByteArray());
    QVERIFY(mini.diagnosticPath().isEmpty());
}

void ConsoleLinkTest::diagnosticRecordsGoToTheFile() {
    ConsoleRig rig;
    {
        // An old trace is replaced.
        QFile old(rig.dir.filePath(QStringLiteral("debug.txt")));
        QVERIFY(old.open(QIODevice::WriteOnly));
        old.write("old trace\r\n");
    }
    rig.start();
    QCOMPARE(rig.console->diagnosticPath(), rig.dir.filePath(QStringLiteral("debug.txt")));
    rig.reply(":d 12 :d -3.5 :d 7");
    rig.reply(" :d * :d 1 ");

    QFile file(rig.console->diagnosticPath());
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = file.readAll().split('\n');
    QCOMPARE(lines.size(), 3); // header, one record, the record still open
    QCOMPARE(lines[0], QByteArray("\"cse\",\"sKi\",\"sKp\",\"sKd\",\"sdi\",\"t6\",\"sd1\",\"ss\","
                                  "\"t4\",\"ce\",\"si\",\"sil\",\"dt\",\"sp\",\"time\"\r"));
    QVERIFY2(lines[1].startsWith("12,-3.5,7,\""), lines[1].constData());
    QVERIFY(lines[1].endsWith("\"\r"));
    QCOMPARE(lines[2], QByteArray("1,"));
    QCOMPARE(rig.console->readings().lastDiagnosticRecord, QStringList({"12", "-3.5", "7"}));
    QCOMPARE(rig.console->readings().diagnosticItems, QStringList({"1"}));
}

void ConsoleLinkTest::connectProbesAndAsksForTheVersion() {
    ConsoleRig rig;
    rig.ctx->settings().port = 4;
    rig.start();
    QSignalSpy linkState(rig.console.get(), &MainConsole::linkStateChanged);
    rig.console->connectLink();
    QVERIFY(rig.console->portOpen());
    QCOMPARE(rig.ctx->hub().serial()->port(), qint16(4));
    QCOMPARE(rig.sent(), QByteArray(" ! "));
    QVERIFY(!rig.console->connectEnabled());
    QVERIFY(rig.console->disconnectEnabled());
    QVERIFY(linkState.count() >= 1);

    rig.reply(":! ");
    rig.reply("0 "); // the probe's tag acts on whatever token follows it
    QVERIFY(rig.console->probeAnswered());
    rig.clock.advance(1000);
    QCOMPARE(withoutPolls(rig.sent()), QByteArray(" V  l "));
    rig.clock.advance(5000);
    QCOMPARE(withoutPolls(rig.sent()), QByteArray()); // no further probes
    QVERIFY(rig.prompt->shown.empty());

    rig.reply(":vr 2.17b ");
    QCOMPARE(rig.ctx->shared().versionText, QStringLiteral("2.17b"));
}

void ConsoleLinkTest::silentUnitGetsThreeMoreProbesThenTheWarning() {
    ConsoleRig rig;
    rig.start();
    rig.console->connectLink();
    QCOMPARE(rig.sent(), QByteArray(" ! "));
    for (int retry = 1; retry <= 3; ++retry) {
        rig.clock.advance(1000);
        QCOMPARE(withoutPolls(rig.sent()), QByteArray(" ! "));
        QCOMPARE(rig.console->linkRetries(), retry);
        QVERIFY(rig.prompt->shown.empty());
    }
    rig.clock.advance(1000);
    QCOMPARE(rig.prompt->shown.size(), std::size_t(1));
    QCOMPARE(rig.prompt->shown[0].text,
             QStringLiteral("Warning:  Unable to communicate with controller."));
    QCOMPARE(rig.prompt->shown[0].title, QStringLiteral("Mivel"));
    QVERIFY(!rig.console->portOpen());
    QVERIFY(rig.console->connectEnabled());
    QVERIFY(!rig.console->disconnectEnabled());
    QCOMPARE(rig.console->linkRetries(), 0);
    rig.sent();
    rig.clock.advance(5000);
    QCOMPARE(rig.sent(), QByteArray()); // nothing polls a closed port
}

void ConsoleLinkTest::portThatWillNotOpenReportsWhy() {
    ConsoleRig rig;
    rig.start();
    rig.device->openError = QStringLiteral("No such file or directory");
    rig.console->connectLink();
    QCOMPARE(rig.prompt->texts(), QStringList{QStringLiteral("No such file or directory")});
    QCOMPARE(rig.prompt->shown[0].title, QStringLiteral("Vark"));
    QVERIFY(rig.console->connectEnabled());
    QVERIFY(!rig.console->disconnectEnabled());
    QCOMPARE(rig.sent(), QByteArray());
}

void ConsoleLinkTest::disconnectAndPortsClosedElsewhereRestoreTheControls() {
    ConsoleRig rig;
    rig.start();
    rig.connectAnswered();
    rig.console->disconnectLink();
    QVERIFY(!rig.console->portOpen());
    QVERIFY(rig.console->connectEnabled());
    QVERIFY(!rig.console->disconnectEnabled());

    // A driver object's Link = False closes the port for everybody; the console follows.
    rig.connectAnswered();
    QVERIFY(rig.console->disconnectEnabled());
    rig.ctx->hub().serial()->setConnected(false);
    QVERIFY(rig.console->connectEnabled());
    QVERIFY(!rig.console->disconnectEnabled());
}

void ConsoleLinkTest::pollFollowsTheShownTab() {
    ConsoleRig rig;
    rig.start();
    rig.connectAnswered();
    const struct {
        ConsoleTab tab;
        QByteArray command;
    } cases[] = {{ConsoleTab::Focus, " Q "},
                 {ConsoleTab::Temperatures, " T "},
                 {ConsoleTab::Rotator, " R "},
                 {ConsoleTab::Diagnostic, " d0 "},
                 {ConsoleTab::Focus, " Q "}};
    for (const auto& c : cases) {
        rig.console->setTab(c.tab);
        rig.clock.advance(MainConsole::PollMs); // the very next tick
        QCOMPARE(rig.sent(), c.command);
    }
    // A tick that comes within 100 ms of a command gives way to it.
    rig.clock.advance(200);
    rig.console->focusStop();
    QCOMPARE(rig.sent(), QByteArray("S "));
    rig.clock.advance(50);
    QCOMPARE(rig.sent(), QByteArray());
    rig.clock.advance(MainConsole::PollMs);
    QCOMPARE(rig.sent(), QByteArray(" Q "));
}

void ConsoleLinkTest::temperaturePollGivesWayToTheLogAndGraph() {
    ConsoleRig rig;
    rig.start();
    rig.console->setTab(ConsoleTab::Temperatures);
    ThermalReaders readers;
    rig.console->setThermalReaders([&readers] { return readers; });
    const struct {
        bool log;
        double logS;
        bool graph;
        double graphS;
        QByteArray expected;
    } cases[] = {
        {false, 0, false, 0, " T "}, {true, 1.0, false, 0, " T "}, {true, 0.25, false, 0, ""},
        {true, 0.1, true, 10, ""},   {false, 0, true, 2, " T "},   {false, 0, true, 0.25, ""},
    };
    for (const auto& c : cases) {
        readers = {c.log, c.logS, c.graph, c.graphS};
        QCOMPARE(rig.console->pollCommand(), c.expected);
    }
}

void ConsoleLinkTest::repliesAreShownInTheirFormats() {
    ConsoleRig rig;
    rig.start();
    QSignalSpy changed(rig.console.get(), &MainConsole::readingsChanged);
    rig.reply(":s 12500 :a 12490 :h 1 :mc 0 :mo 1 :t1 -1250 :t2 5533 :t3 4001 :t7 7530 "
              ":sl1 100000 :of1 -500000 :tca 55 :fm 1 :fs 150 :fg 35 :ft 4 :sm 2 :ss 60 "
              ":st -20 :d1 30 :d2 45 :rs 36000 :rt 72000 :wr -36000 :tc 2 :frp 9 :rrp 4 ");
    QCOMPARE(changed.count(), 1); // one refresh for the chunk
    const auto& r = rig.console->readings();
    QCOMPARE(r.focusTarget, QStringLiteral("12500"));
    QCOMPARE(r.focusActual, QStringLiteral("12490"));
    QCOMPARE(r.motorCurrent, QStringLiteral("< 0.65"));
    QCOMPARE(r.motorState, QStringLiteral("ON"));
    QCOMPARE(r.ambient, QStringLiteral("-12.5"));
    QCOMPARE(r.primary, QStringLiteral("55.3"));
    QCOMPARE(r.secondary, QStringLiteral("40.0"));
    QCOMPARE(r.electronicsStatus, QStringLiteral("Mivel Temp 75.3 F"));
    QCOMPARE(r.ambientStatus, QStringLiteral("Amb Temp 50.0 F"));
    QCOMPARE(r.fanMode, 1);
    QCOMPARE(r.fanPower, 100); // above 100 shows as 100
    QCOMPARE(r.fanGain, 35);
    QCOMPARE(r.fanDeadBand, 4);
    QCOMPARE(r.heaterMode, 2);
    QCOMPARE(r.heaterPower, 60);
    QCOMPARE(r.heaterSetPoint, -20);
    QCOMPARE(r.dew1, 30);
    QCOMPARE(r.dew2, 45);
    QCOMPARE(r.rotatorTarget, QStringLiteral("180.00"));
    QCOMPARE(r.rotatorActual, QStringLiteral("360.00"));
    QCOMPARE(r.wrap, QStringLiteral("-180.0"));
    QCOMPARE(r.tempCompCaption, QStringLiteral("Temperature Compensation = MAN"));
    QVERIFY(r.synchEnabled);
    QVERIFY(r.recallFocus);
    QCOMPARE(r.focusRecordCaption, QStringLiteral("RECORDED"));
    QVERIFY(!r.recallRotator);
    QCOMPARE(r.rotatorRecordCaption, QStringLiteral("RECORD"));
    QCOMPARE(r.spacing, QStringLiteral("312.250")); // 12490 counts from an ideal position of 0
    QCOMPARE(rig.ctx->shared().ambientTemp, -12.5);
    QCOMPARE(rig.ctx->shared().wrapCounter, -36000);
    QCOMPARE(rig.ctx->shared().focusRecordState, std::int16_t(8));
    QCOMPARE(rig.ctx->shared().tempComp.mode, std::int16_t(2));

    rig.reply(":mc 1000 :mo 0 :tc 7 :h 0 :mb 1 :tcc 2500 :tcm 150 :ims 9 ");
    QCOMPARE(r.motorCurrent, QStringLiteral("0.88"));
    QCOMPARE(r.motorState, QStringLiteral("OFF"));
    QCOMPARE(r.tempCompCaption, QStringLiteral("Temperature Compensation = OFF"));
    QVERIFY(!r.synchEnabled);
    QCOMPARE(r.spacing, QStringLiteral("GO HOME"));
    QVERIFY(r.forceMotorOff);
    QVERIFY(rig.ctx->shared().pendingU0);
    QCOMPARE(rig.ctx->shared().tempComp.coefficient, 2.5f);
    QCOMPARE(rig.ctx->shared().tempComp.movementThreshold, 100);
    QVERIFY(r.recallRotator);
    QCOMPARE(r.rotatorRecordCaption, QStringLiteral("RECORDED"));

    // Values that are not numbers are ignored; unchanged values cause no refresh.
    const int before = changed.count();
    rig.reply(":a x12 :t1 -1250 :zz 5 ");
    QCOMPARE(r.focusActual, QStringLiteral("12490"));
    QCOMPARE(changed.count(), before);
}

void ConsoleLinkTest::repliesSplitAnywhereReadTheSame() {
    ConsoleRig rig;
    rig.start();
    const QByteArray stream = ":a 12500 :s 12500 :rt 70000 :t1 -1250 ";
    for (char c : stream)
        rig.reply(QByteArray(1, c));
    const auto& r = rig.console->readings();
    QCOMPARE(r.focusActual, QStringLiteral("12500"));
    QCOMPARE(r.focusTarget, QStringLiteral("12500"));
    QCOMPARE(r.rotatorActual, QStringLiteral("350.00"));
    QCOMPARE(r.ambient, QStringLiteral("-12.5"));
}

void ConsoleLinkTest::awaitingFlagKeepsRepliesOffTheEditedControl() {
    ConsoleRig rig;
    rig.start();
    rig.connectAnswered();
    rig.console->setFanPower(40);
    QCOMPARE(rig.sent(), QByteArray(" y40 "));
    rig.reply(":fs 10 :ss 20 ");
    QCOMPARE(rig.console->readings().fanPower, 40);    // guarded
    QCOMPARE(rig.console->readings().heaterPower, 20); // not guarded
    rig.clock.advance(MainConsole::RetryMs);           // the retry timer clears the flags
    QVERIFY(!rig.console->watchdog().anySet());
    rig.reply(":fs 10 ");
    QCOMPARE(rig.console->readings().fanPower, 10);

    // The user typing in a spinner holds replies off it as well.
    rig.console->beginEdit(MainConsole::Flag::Dew1Power);
    rig.reply(":d1 77 ");
    QCOMPARE(rig.console->readings().dew1, 0);
}

void ConsoleLinkTest::stuckAwaitingFlagIsClearedByThe1001stChunk() {
    ConsoleRig rig;
    rig.start();
    rig.console->beginEdit(MainConsole::Flag::HeaterSetPoint);
    // The retry timer never runs here: only the chunk count can release the flag.
    for (int i = 0; i < 1000; ++i)
        rig.reply(":st 12 ");
    QVERIFY(rig.console->watchdog().isSet(MainConsole::Flag::HeaterSetPoint));
    QCOMPARE(rig.console->readings().heaterSetPoint, 0);
    rig.reply(":st 12 ");
    QVERIFY(!rig.console->watchdog().anySet());
    QCOMPARE(rig.console->readings().heaterSetPoint, 12); // the 1001st chunk is applied
}

void ConsoleLinkTest::focusErrorIsReportedAgainAfter15Seconds() {
    ConsoleRig rig;
    rig.ctx->settings().errorMessage = 1;
    rig.start();
    const QString current =
        QStringLiteral("Error:  Excessive motor current detected.  The focus motor has been "
                       "turned off.");
    for (int second = 0; second < 15; ++second) {
        rig.reply(":e 2 ");
        rig.clock.advance(1000);
    }
    QCOMPARE(rig.shownCount(current), 1);
    rig.reply(":e 2 "); // 15 s after the first
    QCOMPARE(rig.shownCount(current), 2);
    QCOMPARE(rig.prompt->shown.back().title, QStringLiteral("Mivel"));

    // A different code is reported at once.
    rig.reply(":e 1 ");
    QCOMPARE(rig.prompt->shown.back().text,
             QStringLiteral("Error:  Excessive position error.  The focus position has been "
                            "adjusted."));
    rig.reply(":e 3 ");
    QCOMPARE(rig.prompt->shown.back().text,
             QStringLiteral("Error:  Excessive motor driver temperature.  The focus motor has "
                            "been turned off."));
    QCOMPARE(rig.prompt->shown.size(), std::size_t(4));
}

void ConsoleLinkTest::focusErrorsStayQuietWhenReportingIsOff() {
    ConsoleRig rig;
    rig.ctx->settings().errorMessage = 0;
    rig.start();
    rig.reply(":e 2 :e 1 ");
    QVERIFY(rig.prompt->shown.empty());
}

void ConsoleLinkTest::wrapPastTheLimitSendsExactlyOneStop() {
    ConsoleRig rig;
    rig.ctx->settings().dornaLimit = 540; // 108000 steps
    rig.start();
    rig.connectAnswered();
    rig.reply(":wr 110000 "); // no previous value: nothing to compare
    QCOMPARE(rig.sent(), QByteArray());
    rig.reply(":wr 100000 ");
    rig.reply(":wr 108200 ");
    QCOMPARE(rig.sent(), QByteArray("q0 "));
    QCOMPARE(rig.dialogs.wrapWarnings.size(), 1);
    for (const char* wrap : {":wr 109000 ", ":wr 110000 ", ":wr 112000 "})
        rig.reply(wrap);
    QCOMPARE(rig.sent(), QByteArray());
    QVERIFY(rig.console->wrapStopSent());

    // Back inside the limit the guard is armed again; the negative side works alike.
    rig.reply(":wr 100000 ");
    QVERIFY(!rig.console->wrapStopSent());
    rig.reply(":wr -100000 ");
    rig.reply(":wr -108500 ");
    QCOMPARE(rig.sent(), QByteArray("q0 "));
    rig.reply(":wr -108400 "); // moving back in is not a reason to stop
    QCOMPARE(rig.sent(), QByteArray());
    QCOMPARE(rig.dialogs.wrapWarnings.size(), 2);
}

void ConsoleLinkTest::miniConsoleSkipsThePollOfTheMainConsole() {
    ConsoleRig rig;
    rig.start();
    MainConsole mini(*rig.ctx, MainConsole::Role::Mini);
    mini.setPeer(rig.console.get());
    rig.connectAnswered();
    rig.clock.advance(MainConsole::PollMs);
    QCOMPARE(rig.sent(), QByteArray(" Q ")); // once, from the main console
    mini.setTab(ConsoleTab::Rotator);
    rig.clock.advance(MainConsole::PollMs);
    const QByteArray both = rig.sent();
    QVERIFY(both.contains(" Q "));
    QVERIFY(both.contains(" R "));
    // Both consoles show every reply.
    rig.reply(":a 321 ");
    QCOMPARE(mini.readings().focusActual, QStringLiteral("321"));
    QCOMPARE(rig.console->readings().focusActual, QStringLiteral("321"));

    // Alerts and the wrap guard come from one console only.
    rig.ctx->settings().errorMessage = 1;
    rig.ctx->settings().dornaLimit = 100;
    rig.sent();
    rig.reply(":e 2 :wr 10000 ");
    rig.reply(":wr 21000 ");
    QCOMPARE(rig.prompt->shown.size(), std::size_t(1));
    QCOMPARE(rig.sent(), QByteArray("q0 "));
    // Alone, the mini console takes both over.
    rig.console.reset(); // the mini console notices the main one has gone
    rig.reply(":e 3 :wr 10000 ");
    rig.reply(":wr 21000 ");
    QCOMPARE(rig.prompt->shown.size(), std::size_t(2));
    QCOMPARE(rig.sent(), QByteArray("q0 "));
}

QTEST_GUILESS_MAIN(ConsoleLinkTest)
#include "test_console_link.moc"
