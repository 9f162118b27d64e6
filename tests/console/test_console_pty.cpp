// The console and a driver object on the program's real serial port, against the simulated unit
// on a pseudo-terminal: a message box left open in a handler does not stop the link.

#include "support/CountingDevice.h"
#include "support/TestRig.h"

#include "console/MainConsole.h"

#include "app/AppContext.h"
#include "drivers/DriverErrors.h"
#include "drivers/Focuser.h"
#include "sim/PtyHost.h"
#include "sim/SimulatedUnit.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTest>
#include <QTimer>

using namespace mivel;
using mivel::console::MainConsole;
using mivel::test::CountingDevice;
using mivel::test::MemorySettingsStore;

namespace {

// A message box the user leaves open: while the first one is open, the test's script runs
// inside it, with the event loop turning; any box shown meanwhile is answered at once.
class ModalPrompt final : public Prompt {
public:
    struct Shown {
        QString text;
        qint64 atMs;
    };
    explicit ModalPrompt(Clock& clock)
        : clock_(clock) {}
    std::vector<Shown> shown;
    std::function<void()> whileOpen;

    Answer ask(const QString& text, const QString&, Icon, Buttons) override {
        shown.push_back({text, clock_.nowMs()});
        if (!open_ && whileOpen) {
            open_ = true;
            std::exchange(whileOpen, {})();
            open_ = false;
        }
        return Answer::Ok;
    }

private:
    Clock& clock_;
    bool open_ = false;
};

struct PtyRig : test::TestRig {
    sim::SimulatedUnit unit{clock};
    sim::PtyHost host{unit};
    qint64 written = 0;
    ModalPrompt* prompt = nullptr;
    std::unique_ptr<AppContext> ctx;
    QByteArray heard; // what a holder of the link received
    LinkHub::Subscription listening;
    bool stalled = false;

    PtyRig() {
        auto p = std::make_unique<ModalPrompt>(clock);
        prompt = p.get();
        ctx = std::make_unique<AppContext>(
            std::make_unique<MemorySettingsStore>(), std::move(p),
            [this] { return std::unique_ptr<SerialDevice>(new CountingDevice(written)); },
            AppPaths::inDirectory(dir.path()), clock);
        listening = ctx->hub().subscribe(LinkHub::Audience::Driver, [this](std::string_view d) {
            heard.append(d.data(), qsizetype(d.size()));
        });
    }
    // Puts the unit on its terminal and points the settings copy at it.
    bool start() {
        const QString link = dir.filePath(QStringLiteral("unit"));
        if (const Status started = host.start(link)) {
            qWarning() << started->description;
            return false;
        }
        ctx->settings().portDevice = link;
        ctx->settings().errorMessage = 1;
        return true;
    }

    // Everything sent has reached the unit, and every status query and probe has been answered
    // to the holders.
    bool settled() const {
        const QByteArray got = unit.receivedBytes();
        return got.size() == written && got.count(" Q ") == heard.count(":frp") &&
               got.count("! ") == heard.count(":!");
    }
    // Moves time on in poll-sized steps, letting the line settle after each; gives up when the
    // link stalls.
    void run(qint64 ms) {
        for (qint64 t = 0; t < ms && !stalled; t += MainConsole::PollMs) {
            clock.advance(MainConsole::PollMs);
            stalled = !untilSettled();
        }
    }
    // Turns the event loop until the line has settled, for at most 5 s: the terminal carries the
    // bytes in real time.
    bool untilSettled() {
        QDeadlineTimer deadline(5000);
        QTimer wake; // so that waiting for an event never sleeps past the deadline
        wake.start(20);
        while (!settled()) {
            if (deadline.hasExpired())
                return false;
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        return true;
    }
};

} // namespace

class ConsolePtyTest : public QObject {
    Q_OBJECT
private slots:
    // The unit reports an over-current fault with every status reply. The first alert stays
    // open for 30 s while the console keeps polling: the replies keep coming, the fault is
    // reported again 15 s after the first alert, a driver object links meanwhile, and every
    // holder ends up with the unit's latest values.
    void alertLeftOpenKeepsTheLinkRunning() {
        PtyRig rig;
        Focuser focuser(*rig.ctx); // loads the settings copy first
        QVERIFY(rig.start());
        MainConsole console(*rig.ctx, MainConsole::Role::Main);
        console.connectLink();
        rig.run(MainConsole::LinkCheckMs);
        QVERIFY(!rig.stalled);
        QVERIFY(rig.prompt->shown.empty());

        std::optional<Status> linked;
        qint64 openedAt = 0;
        qint64 closedAt = 0;
        rig.prompt->whileOpen = [&] {
            openedAt = rig.clock.nowMs();
            focuser.setLink(true).then([&](const Status& s) { linked = s; });
            rig.run(20'000);
            rig.unit.placeFocuser(12345, true);
            rig.run(10'000);
            closedAt = rig.clock.nowMs();
        };
        rig.unit.setFocusError(2);
        rig.run(35'000);
        QVERIFY(!rig.stalled);
        QVERIFY(closedAt - openedAt >= 30'000);

        const QString overCurrent = QStringLiteral(
            "Error:  Excessive motor current detected.  The focus motor has been turned off.");
        QVERIFY(rig.prompt->shown.size() >= 2);
        QCOMPARE(rig.prompt->shown[0].text, overCurrent);
        QCOMPARE(rig.prompt->shown[1].text, overCurrent);
        const qint64 again = rig.prompt->shown[1].atMs - rig.prompt->shown[0].atMs;
        QVERIFY2(again >= MainConsole::ErrorMemoryMs &&
                     again <= MainConsole::ErrorMemoryMs + 2 * MainConsole::PollMs,
                 qPrintable(QString::number(again)));

        QCOMPARE(linked, std::optional<Status>(Status()));
        QVERIFY(focuser.link());
        QCOMPARE(console.readings().focusActual, QStringLiteral("12345"));
        QCOMPARE(focuser.storedPosition(), 12345);

        // Timed receives still take their input from the port.
        Serial& serial = *rig.ctx->hub().serial();
        serial.transmit(QByteArray(" Q "));
        const Result<QString> status = serial.receiveTerminated(QStringLiteral(":frp"));
        QVERIFY(status.ok());
        QVERIFY2(status.value().contains(QLatin1String(":a 12345 ")), qPrintable(status.value()));
    }
};

QTEST_GUILESS_MAIN(ConsolePtyTest)
#include "test_console_pty.moc"
