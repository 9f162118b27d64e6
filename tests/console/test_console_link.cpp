// The console's status loop: start sequence, diagnostic file, connect and link check, the poll
// that follows the shown tab, the display of the replies, the awaiting-reply flags, the focus
// error alerts and the wrap-limit guard.

#include "ConsoleRig.h"

#include <QFile>
#include <QSignalSpy>
#include <QTest>

using namespace mivel;
using namespace mivel::test;
using mivel::console::ConsoleTab;
using mivel::console::MainConsole;
using mivel::console::Readings;
using mivel::console::ThermalReaders;

class ConsoleLinkTest : public QObject {
    Q_OBJECT
private slots:
    void startSequenceAndDiagnosticFile() {
        ConsoleRig rig;
        QFile old(rig.dir.filePath(QStringLiteral("debug.txt")));
        QVERIFY(old.open(QIODevice::WriteOnly) && old.write("old trace\r\n") > 0);
        old.close();
        // A driver object opened the port before the console started.
        Connector driver(rig.ctx->hub());
        QVERIFY(!driver.serial().setConnected(true));
        rig.start();
        QCOMPARE(rig.sent(), QByteArray(" J  l  Q "));
        QVERIFY(rig.showsConnected());
        rig.reply(":d 12 :d -3.5 :d 7");
        rig.reply(" :d * :d 1 ");
        QVERIFY(old.open(QIODevice::ReadOnly)); // the old trace was replaced
        const QList<QByteArray> lines = old.readAll().split('\n');
        QCOMPARE(lines.size(), 3); // header, one record, the record still open
        QCOMPARE(lines[0],
                 QByteArray("\"cse\",\"sKi\",\"sKp\",\"sKd\",\"sdi\",\"t6\",\"sd1\",\"ss\","
                            "\"t4\",\"ce\",\"si\",\"sil\",\"dt\",\"sp\",\"time\"\r"));
        QVERIFY2(lines[1].startsWith("12,-3.5,7,\"") && lines[1].endsWith("\"\r"), lines[1]);
        QCOMPARE(lines[2], QByteArray("1,"));

        // The mini console sends no start sequence and keeps no diagnostic file.
        MainConsole mini(*rig.ctx, MainConsole::Role::Mini);
        QCOMPARE(rig.sent(), QByteArray());
        QVERIFY(mini.diagnosticPath().isEmpty());
    }

    // A silent unit gets three more probes a second apart, then the warning; once it answers,
    // the version and the compensation parameters are asked for and the probing ends.
    void connectProbesUntilTheUnitAnswers() {
        ConsoleRig rig;
        rig.ctx->settings().port = 4;
        rig.start();
        // Whatever a window reads when told the link changed must be what the port is.
        std::vector<bool> seen;
        connect(rig.console.get(), &MainConsole::linkStateChanged, this,
                [&] { seen.push_back(rig.console->portOpen()); });
        rig.console->connectLink();
        QCOMPARE(rig.ctx->hub().serial()->port(), qint16(4));
        QVERIFY(rig.showsConnected());
        for (int retry = 1; retry <= 3; ++retry) {
            QCOMPARE(withoutPolls(rig.sent()), QByteArray(" ! "));
            rig.clock.advance(MainConsole::LinkCheckMs);
            QVERIFY(rig.prompt->shown.empty());
        }
        QCOMPARE(withoutPolls(rig.sent()), QByteArray(" ! "));
        rig.clock.advance(MainConsole::LinkCheckMs);
        QCOMPARE(rig.prompt->texts(),
                 QStringList{QStringLiteral("Warning:  Unable to communicate with controller.")});
        QCOMPARE(rig.prompt->shown[0].title, QStringLiteral("Mivel"));
        QVERIFY(!rig.console->portOpen());
        QVERIFY(rig.showsDisconnected());
        QCOMPARE(seen, (std::vector<bool>{true, false}));
        rig.sent();
        rig.clock.advance(5000);
        QCOMPARE(rig.sent(), QByteArray()); // nothing polls a closed port

        rig.console->connectLink();
        rig.reply(":! ");
        rig.reply("0 "); // the probe's tag acts on whatever token follows it
        rig.clock.advance(MainConsole::LinkCheckMs);
        QCOMPARE(withoutPolls(rig.sent()), QByteArray(" !  V  l "));
        rig.clock.advance(5000);
        QCOMPARE(withoutPolls(rig.sent()), QByteArray()); // no further probes
        QCOMPARE(rig.prompt->shown.size(), std::size_t(1));
    }

    void portThatWillNotOpenOrClosesElsewhereRestoresTheControls() {
        ConsoleRig rig;
        rig.start();
        rig.device->openError = QStringLiteral("No such file or directory");
        rig.console->connectLink();
        QCOMPARE(rig.prompt->texts(), QStringList{QStringLiteral("No such file or directory")});
        QCOMPARE(rig.prompt->shown[0].title, QStringLiteral("Vark"));
        QVERIFY(rig.showsDisconnected());
        QCOMPARE(rig.sent(), QByteArray());

        rig.device->openError.clear();
        rig.connectAnswered();
        rig.console->disconnectLink();
        QVERIFY(!rig.console->portOpen());
        QVERIFY(rig.showsDisconnected());
        // A driver object's Link = False closes the port for everybody; the console follows.
        rig.connectAnswered();
        QVERIFY(rig.showsConnected());
        rig.ctx->hub().serial()->setConnected(false);
        QVERIFY(rig.showsDisconnected());
    }

    void pollFollowsTheShownTab() {
        ConsoleRig rig;
        rig.startConnected();
        const std::pair<ConsoleTab, QByteArray> polls[] = {{ConsoleTab::Temperatures, " T "},
                                                           {ConsoleTab::Rotator, " R "},
                                                           {ConsoleTab::Diagnostic, " d0 "},
                                                           {ConsoleTab::Focus, " Q "}};
        for (const auto& [tab, command] : polls) {
            rig.console->setTab(tab);
            rig.clock.advance(MainConsole::PollMs); // the very next tick
            QCOMPARE(rig.sent(), command);
        }
        // A tick that comes within 100 ms of a command gives way to it.
        rig.clock.advance(200);
        rig.console->focusStop();
        rig.clock.advance(50);
        QCOMPARE(rig.sent(), QByteArray("S "));
        rig.clock.advance(MainConsole::PollMs);
        QCOMPARE(rig.sent(), QByteArray(" Q "));
    }

    void temperaturePollGivesWayToTheLogAndGraph() {
        ConsoleRig rig;
        rig.start().setTab(ConsoleTab::Temperatures);
        ThermalReaders readers;
        rig.console->setThermalReaders([&readers] { return readers; });
        const std::pair<ThermalReaders, QByteArray> cases[] = {
            {{false, 0, false, 0}, " T "}, {{true, 1.0, false, 0}, " T "},
            {{true, 0.25, false, 0}, ""},  {{true, 0.1, true, 10}, ""},
            {{false, 0, true, 2}, " T "},  {{false, 0, true, 0.25}, ""},
        };
        for (const auto& [given, poll] : cases) {
            readers = given;
            QCOMPARE(rig.console->pollCommand(), poll);
        }
    }

    void repliesAreShownInTheirFormats() {
        ConsoleRig rig;
        rig.start();
        const Readings& r = rig.console->readings();
        const struct {
            QByteArray reply;
            QString Readings::*field;
            const char* shown;
        } cases[] = {
            {":mc 0 ", &Readings::motorCurrent, "< 0.65"},
            {":mc 1000 ", &Readings::motorCurrent, "0.88"},
            {":mo 1 ", &Readings::motorState, "ON"},
            {":t1 -1250 ", &Readings::ambient, "-12.5"},
            {":t7 7530 ", &Readings::electronicsStatus, "Mivel Temp 75.3 F"},
            {":sl1 100000 :of1 -500000 :tca 55 ", &Readings::ambientStatus, "Amb Temp 50.0 F"},
            {":wr -36000 ", &Readings::wrap, "-180.0"},
            {":tc 2 ", &Readings::tempCompCaption, "Temperature Compensation = MAN"},
            {":tc 7 ", &Readings::tempCompCaption, "Temperature Compensation = OFF"},
            {":frp 9 ", &Readings::focusRecordCaption, "RECORDED"},
            {":rrp 9 ", &Readings::rotatorRecordCaption, "RECORDED"},
            {":h 1 :a 12490 ", &Readings::spacing, "312.250"}, // from an ideal position of 0
            {":h 0 ", &Readings::spacing, "GO HOME"},
        };
        for (const auto& c : cases) {
            rig.reply(c.reply);
            QCOMPARE(r.*c.field, QString::fromLatin1(c.shown));
        }
        QSignalSpy changed(rig.console.get(), &MainConsole::readingsChanged);
        rig.reply(":fs 150 :tc 2 :mb 1 :tcc 2500 :tcm 150 :ims 9 ");
        QCOMPARE(changed.count(), 1); // one refresh for the chunk
        QCOMPARE(r.fanPower, 100);    // above 100 shows as 100
        QVERIFY(r.synchEnabled);
        QVERIFY(r.forceMotorOff);
        QVERIFY(rig.ctx->shared().pendingU0);
        QCOMPARE(rig.ctx->shared().tempComp.coefficient, 2.5f);
        QCOMPARE(rig.ctx->shared().tempComp.movementThreshold, 100);

        // Values that are not numbers are ignored; unchanged values cause no refresh.
        rig.reply(":a x12 :t1 -1250 :zz 5 ");
        QCOMPARE(r.focusActual, QStringLiteral("12490"));
        QCOMPARE(changed.count(), 1);
        // Replies split anywhere read the same.
        for (char c : QByteArray(":a 12500 :rt 70000 "))
            rig.reply(QByteArray(1, c));
        QCOMPARE(r.focusActual, QStringLiteral("12500"));
        QCOMPARE(r.rotatorActual, QStringLiteral("350.00"));
    }

    void awaitingFlagKeepsRepliesOffTheEditedControl() {
        ConsoleRig rig;
        rig.startConnected().setFanPower(40);
        QCOMPARE(rig.sent(), QByteArray(" y40 "));
        rig.reply(":fs 10 :ss 20 ");
        QCOMPARE(rig.console->readings().fanPower, 40);    // guarded
        QCOMPARE(rig.console->readings().heaterPower, 20); // not guarded
        rig.clock.advance(MainConsole::RetryMs);           // the retry timer clears the flags
        rig.reply(":fs 10 ");
        QCOMPARE(rig.console->readings().fanPower, 10);

        // Typing in a spinner holds replies off it too, until the 1001st chunk if need be.
        rig.console->beginEdit(MainConsole::Flag::HeaterSetPoint);
        for (int i = 0; i < 1000; ++i)
            rig.reply(":st 12 ");
        QCOMPARE(rig.console->readings().heaterSetPoint, 0);
        rig.reply(":st 12 ");
        QCOMPARE(rig.console->readings().heaterSetPoint, 12);
    }

    void focusErrorIsReportedAgainAfter15Seconds() {
        ConsoleRig rig;
        rig.ctx->settings().errorMessage = 0;
        rig.start();
        rig.reply(":e 2 :e 1 ");
        QVERIFY(rig.prompt->shown.empty()); // reporting is off
        rig.clock.advance(MainConsole::ErrorMemoryMs);
        rig.ctx->settings().errorMessage = 1;
        const QString current = QStringLiteral(
            "Error:  Excessive motor current detected.  The focus motor has been turned off.");
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
        rig.reply(":e 3 ");
        QCOMPARE(rig.prompt->texts().mid(2),
                 QStringList({QStringLiteral("Error:  Excessive position error.  The focus "
                                             "position has been adjusted."),
                              QStringLiteral("Error:  Excessive motor driver temperature.  The "
                                             "focus motor has been turned off.")}));
    }

    void wrapPastTheLimitSendsExactlyOneStop() {
        ConsoleRig rig;
        rig.ctx->settings().dornaLimit = 540; // 108000 steps
        rig.startConnected();
        rig.reply(":wr 110000 "); // no previous value: nothing to compare
        QCOMPARE(rig.sent(), QByteArray());
        for (const char* wrap : {":wr 100000 ", ":wr 108200 ", ":wr 109000 ", ":wr 112000 "})
            rig.reply(wrap);
        QCOMPARE(rig.sent(), QByteArray("q0 "));
        QCOMPARE(rig.dialogs.wrapWarnings.size(), 1);
        QVERIFY(rig.console->wrapStopSent());
        // Back inside the limit the guard is armed again; the negative side works alike.
        rig.reply(":wr 100000 ");
        QVERIFY(!rig.console->wrapStopSent());
        rig.reply(":wr -100000 ");
        rig.reply(":wr -108500 ");
        QCOMPARE(rig.sent(), QByteArray("q0 "));
        rig.reply(":wr -108400 "); // moving back in is not a reason to stop
        QCOMPARE(rig.sent(), QByteArray());
    }

    void miniConsoleSharesRepliesButNotThePollOrAlerts() {
        ConsoleRig rig;
        rig.start();
        MainConsole mini(*rig.ctx, MainConsole::Role::Mini);
        mini.setPeer(rig.console.get());
        rig.connectAnswered();
        rig.clock.advance(MainConsole::PollMs);
        QCOMPARE(rig.sent(), QByteArray(" Q ")); // once, from the main console
        mini.setTab(ConsoleTab::Rotator);
        rig.clock.advance(MainConsole::PollMs);
        QVERIFY(rig.sent().contains(" R "));
        rig.reply(":a 321 ");
        QCOMPARE(mini.readings().focusActual, QStringLiteral("321"));
        // Alerts and the wrap guard come from one console only; alone, the mini console leads.
        rig.ctx->settings().errorMessage = 1;
        rig.ctx->settings().dornaLimit = 100;
        for (int round = 1; round <= 2; ++round) {
            rig.sent();
            rig.reply(round == 1 ? ":e 2 :wr 10000 " : ":e 3 :wr 10000 ");
            rig.reply(":wr 21000 ");
            QCOMPARE(rig.prompt->shown.size(), std::size_t(round));
            QCOMPARE(rig.sent(), QByteArray("q0 "));
            rig.console.reset(); // the mini console notices the main one has gone
        }
    }
};

QTEST_GUILESS_MAIN(ConsoleLinkTest)
#include "test_console_link.moc"
