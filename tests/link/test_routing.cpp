// Sharing the link: connectors, broadcast of every chunk, the firmware-transfer rule, the
// awaiting-reply flags, and the waits that driver members resume from.

#include "support/FakeSerialDevice.h"
#include "support/TestRig.h"

#include "console/ReplyWatchdog.h"
#include "core/Task.h"
#include "link/LinkHub.h"

#include <QSignalSpy>
#include <QTest>

using namespace mivel;
using mivel::test::FakeSerialDevice;

namespace {

struct Rig : test::TestRig {
    FakeSerialDevice* lastDevice = nullptr;
    int devicesMade = 0;
    LinkHub hub{[this] {
                    ++devicesMade;
                    auto d = std::make_unique<FakeSerialDevice>();
                    lastDevice = d.get();
                    return std::unique_ptr<SerialDevice>(std::move(d));
                },
                clock};
};

Task<bool> waitFor(Waits& waits, qint64 ms, const bool& flag, std::vector<qint64>& endedAt,
                   Clock& clock) {
    const bool ok = co_await waits.until(ms, [&flag] { return flag; });
    endedAt.push_back(clock.nowMs());
    co_return ok;
}

Task<int> twice(Waits& waits, Clock& clock) {
    co_await waits.delay(100);
    co_await waits.delay(100);
    co_return int(clock.nowMs());
}

} // namespace

class RoutingTest : public QObject {
    Q_OBJECT
private slots:
    void firstConnectorCreatesOneSharedSerial();
    void lastConnectorTearsDown();
    void everyChunkReachesEveryReceiver();
    void firmwareTransferStopsConsolesOnly();
    void receiverMayLeaveDuringBroadcast();
    void chunksKeepTheirOrderWhileAReceiverIsModal();
    void stuckAwaitingFlagIsReleasedByThe1001stChunk();
    void overlappingWaitsEndOnTheirOwnDeadlines();
    void waitEndsWhenConditionHoldsAfterAChunk();
    void tasksChainAndYield();
    void manualClockTimers();
    void lostPortIsReopenedOnTheSameDeviceEverySecond();
    void unitFallenSilentIsLostOnlyAfterTheLimit();
    void failedWriteIsReportedAndTheLinkReopened();
    void vanishedDeviceIsReopenedOnceItIsBack();
};

void RoutingTest::firstConnectorCreatesOneSharedSerial() {
    Rig rig;
    QSignalSpy created(&rig.hub, &LinkHub::serialCreated);
    QVERIFY(!rig.hub.serial());
    Connector console(rig.hub);
    Connector focuser(rig.hub);
    Connector rotator(rig.hub);
    QCOMPARE(rig.hub.connectorCount(), 3);
    QCOMPARE(rig.devicesMade, 1);
    QCOMPARE(created.count(), 1);
    QCOMPARE(&console.serial(), &rotator.serial());
}

void RoutingTest::lastConnectorTearsDown() {
    Rig rig;
    QSignalSpy gone(&rig.hub, &LinkHub::lastConnectorGone);
    int tornDown = 0;
    rig.hub.addTeardown([&] { ++tornDown; });
    {
        Connector a(rig.hub);
        QVERIFY(!a.serial().setConnected(true));
        { Connector b(rig.hub); }
        QCOMPARE(gone.count(), 0);
        QVERIFY(rig.hub.serial()->connected());
    }
    QCOMPARE(gone.count(), 1);
    QCOMPARE(tornDown, 1);
    QVERIFY(!rig.hub.serial());
    // A new holder starts a new link.
    Connector again(rig.hub);
    QCOMPARE(rig.devicesMade, 2);
}

void RoutingTest::everyChunkReachesEveryReceiver() {
    Rig rig;
    Connector c(rig.hub);
    QVERIFY(!c.serial().setConnected(true));
    QByteArray console, focuser, rotator;
    auto s1 = rig.hub.subscribe(LinkHub::Audience::Console,
                                [&](std::string_view d) { console.append(d.data(), d.size()); });
    auto s2 = rig.hub.subscribe(LinkHub::Audience::Driver,
                                [&](std::string_view d) { focuser.append(d.data(), d.size()); });
    auto s3 = rig.hub.subscribe(LinkHub::Audience::Driver,
                                [&](std::string_view d) { rotator.append(d.data(), d.size()); });
    rig.lastDevice->feed(":a 12");
    QTRY_COMPARE(console, QByteArray(":a 12"));
    rig.lastDevice->feed("500 ");
    QTRY_COMPARE(rotator, QByteArray(":a 12500 "));
    QCOMPARE(focuser, rotator);
    QCOMPARE(console, rotator);
    s2.reset();
    rig.lastDevice->feed("x");
    QTRY_COMPARE(console.size(), 10);
    QCOMPARE(focuser, QByteArray(":a 12500 "));
}

void RoutingTest::firmwareTransferStopsConsolesOnly() {
    Rig rig;
    Connector c(rig.hub);
    int consoleChunks = 0, driverChunks = 0;
    auto s1 = rig.hub.subscribe(LinkHub::Audience::Console, [&](auto) { ++consoleChunks; });
    auto s2 = rig.hub.subscribe(LinkHub::Audience::Driver, [&](auto) { ++driverChunks; });
    rig.hub.setFirmwareTransfer(true);
    rig.hub.deliver("*");
    rig.hub.setFirmwareTransfer(false);
    rig.hub.deliver(":a 1 ");
    QCOMPARE(consoleChunks, 1);
    QCOMPARE(driverChunks, 2);
}

// A receiver that opens a message box runs the event loop inside its handler: the chunks that
// come meanwhile reach everybody, the prompting receiver included, each in the order received.
void RoutingTest::chunksKeepTheirOrderWhileAReceiverIsModal() {
    Rig rig;
    Connector c(rig.hub);
    QVERIFY(!c.serial().setConnected(true));
    QByteArrayList console, driver;
    bool prompting = false;
    bool answered = false;
    auto s1 = rig.hub.subscribe(LinkHub::Audience::Console, [&](std::string_view d) {
        console << QByteArray(d.data(), qsizetype(d.size()));
        if (std::exchange(prompting, true))
            return;
        rig.lastDevice->feed(":e 2 ");
        answered = QTest::qWaitFor([&] { return driver.size() == 2; });
    });
    auto s2 = rig.hub.subscribe(LinkHub::Audience::Driver, [&](std::string_view d) {
        driver << QByteArray(d.data(), qsizetype(d.size()));
    });
    rig.lastDevice->feed(":a 1 ");
    QTRY_VERIFY(answered);
    const QByteArrayList inOrder{":a 1 ", ":e 2 "};
    QCOMPARE(driver, inOrder);
    QCOMPARE(console, inOrder);
}

void RoutingTest::receiverMayLeaveDuringBroadcast() {
    Rig rig;
    Connector c(rig.hub);
    LinkHub::Subscription second;
    int firstCount = 0, secondCount = 0;
    auto first = rig.hub.subscribe(LinkHub::Audience::Driver, [&](auto) {
        ++firstCount;
        second.reset(); // a window closing while a chunk is handled
    });
    second = rig.hub.subscribe(LinkHub::Audience::Driver, [&](auto) { ++secondCount; });
    rig.hub.deliver("a ");
    QCOMPARE(firstCount, 1);
    QCOMPARE(secondCount, 0);
    QCOMPARE(rig.hub.receiverCount(), 1);
}

void RoutingTest::stuckAwaitingFlagIsReleasedByThe1001stChunk() {
    ReplyWatchdog w;
    for (int i = 0; i < 5; ++i)
        w.onChunk();
    QCOMPARE(w.counter(), 0); // no flag, no counting
    w.set(ReplyWatchdog::Flag::HeaterPower);
    for (int i = 0; i < 1000; ++i)
        w.onChunk();
    QVERIFY(w.isSet(ReplyWatchdog::Flag::HeaterPower));
    w.onChunk();
    QVERIFY(!w.anySet());
    QCOMPARE(w.counter(), 0);
}

void RoutingTest::overlappingWaitsEndOnTheirOwnDeadlines() {
    Rig rig;
    bool never = false;
    std::vector<qint64> endedAt;
    const qint64 start = rig.clock.nowMs();
    auto first = waitFor(rig.hub.waits(), 500, never, endedAt, rig.clock);
    rig.clock.advance(300);
    auto second = waitFor(rig.hub.waits(), 500, never, endedAt, rig.clock);
    rig.clock.advance(1000);
    QVERIFY(first.isDone() && second.isDone());
    QCOMPARE(first.result(), false);
    QCOMPARE(endedAt, (std::vector<qint64>{start + 500, start + 800}));

    // Twenty clients waiting at once each end after their own wait.
    endedAt.clear();
    std::vector<Task<bool>> tasks;
    for (int i = 0; i < 20; ++i)
        tasks.push_back(waitFor(rig.hub.waits(), 500, never, endedAt, rig.clock));
    rig.clock.advance(500);
    QCOMPARE(endedAt.size(), std::size_t(20));
    QCOMPARE(endedAt.front(), endedAt.back());
    QCOMPARE(rig.hub.waits().pendingCount(), 0);
}

void RoutingTest::waitEndsWhenConditionHoldsAfterAChunk() {
    Rig rig;
    Connector c(rig.hub);
    bool answered = false;
    auto sub = rig.hub.subscribe(LinkHub::Audience::Driver, [&](std::string_view d) {
        answered = d.find(":!") != std::string_view::npos;
    });
    std::vector<qint64> endedAt;
    const qint64 start = rig.clock.nowMs();
    auto t = waitFor(rig.hub.waits(), 500, answered, endedAt, rig.clock);
    rig.clock.advance(120);
    QVERIFY(!t.isDone());
    rig.hub.deliver(":! 1 ");
    QVERIFY(t.isDone());
    QCOMPARE(t.result(), true);
    QCOMPARE(endedAt.front(), start + 120);
}

void RoutingTest::tasksChainAndYield() {
    Rig rig;
    const qint64 start = rig.clock.nowMs();
    auto t = twice(rig.hub.waits(), rig.clock);
    int seen = 0;
    t.then([&](const int& v) { seen = v; });
    rig.clock.advance(150);
    QCOMPARE(seen, 0);
    rig.clock.advance(50);
    QCOMPARE(seen, int(start + 200));

    bool yielded = false;
    auto y = [&]() -> Task<> {
        co_await rig.hub.waits().yield();
        yielded = true;
    }();
    QVERIFY(!yielded);
    QTRY_VERIFY(yielded); // resumes from the event loop, whatever the clock does
}

void RoutingTest::manualClockTimers() {
    ManualClock clock;
    Timer periodic(clock);
    periodic.setInterval(250);
    int ticks = 0;
    connect(&periodic, &Timer::timeout, [&] { ++ticks; });
    periodic.start();
    Timer once(clock);
    once.setSingleShot(true);
    int fired = 0;
    connect(&once, &Timer::timeout, [&] { ++fired; });
    once.start(600);
    clock.advance(1000);
    QCOMPARE(ticks, 4);
    QCOMPARE(fired, 1);
    QVERIFY(!once.isActive());
    periodic.stop();
    clock.advance(1000);
    QCOMPARE(ticks, 4);
}

// The device fails while open: the hub tries the same device once a second until it opens,
// and stops trying when the last holder lets the link go.
void RoutingTest::lostPortIsReopenedOnTheSameDeviceEverySecond() {
    Rig rig;
    auto holder = std::make_unique<Connector>(rig.hub);
    Serial& serial = holder->serial();
    serial.setDevicePath(QStringLiteral("/dev/ttyUSB7"));
    QVERIFY(!serial.setConnected(true));
    QSignalSpy lost(&rig.hub, &LinkHub::linkLost);
    QSignalSpy restored(&rig.hub, &LinkHub::linkRestored);
    FakeSerialDevice& device = *rig.lastDevice;
    device.openError = QStringLiteral("No such file or directory");
    device.hangUp(QStringLiteral("Input/output error"));
    QCOMPARE(lost.count(), 1);
    QVERIFY(rig.hub.lost());
    device.setPortName({});
    rig.clock.advance(3 * LinkHub::ReconnectPollMs);
    QCOMPARE(device.portName(), QStringLiteral("/dev/ttyUSB7")); // tried, and failed
    QVERIFY(rig.hub.lost());
    device.openError.clear();
    rig.clock.advance(LinkHub::ReconnectPollMs - 1);
    QCOMPARE(device.openCount, 1);
    rig.clock.advance(1);
    QCOMPARE(device.openCount, 2);
    QVERIFY(serial.connected());
    QVERIFY(!rig.hub.lost());
    QCOMPARE(restored.count(), 1);
    QCOMPARE(lost.count(), 1);

    device.hangUp(QStringLiteral("Input/output error"));
    QVERIFY(rig.hub.lost());
    holder.reset(); // the last holder: the link is torn down, and nothing is retried
    QVERIFY(!rig.hub.lost());
    rig.clock.advance(3 * LinkHub::ReconnectPollMs);
    QCOMPARE(rig.devicesMade, 1);
    QCOMPARE(restored.count(), 1);
}

// Unanswered queries count only once nothing at all has arrived for the whole limit; the port is
// then closed, reported lost and opened again.
void RoutingTest::unitFallenSilentIsLostOnlyAfterTheLimit() {
    Rig rig;
    Connector holder(rig.hub);
    QVERIFY(!holder.serial().setConnected(true));
    QSignalSpy lost(&rig.hub, &LinkHub::linkLost);
    rig.clock.advance(LinkHub::SilenceLimitMs - 1);
    rig.hub.deliver(":fp 1 ");
    rig.clock.advance(LinkHub::SilenceLimitMs - 1);
    rig.hub.noteUnanswered();
    QCOMPARE(lost.count(), 0);
    rig.clock.advance(1);
    rig.hub.noteUnanswered();
    QCOMPARE(lost.count(), 1);
    QCOMPARE(lost.at(0).at(0).toString(), QStringLiteral("the unit stopped answering"));
    QVERIFY(!holder.serial().connected());
    rig.hub.noteUnanswered(); // already lost: nothing more
    QCOMPARE(lost.count(), 1);
    rig.clock.advance(LinkHub::ReconnectPollMs);
    QVERIFY(holder.serial().connected());
    QVERIFY(!rig.hub.lost());
    // The silence is counted afresh from the reopening.
    rig.clock.advance(LinkHub::SilenceLimitMs - 1);
    rig.hub.noteUnanswered();
    QCOMPARE(lost.count(), 1);
}

// A write that does not go out is found after write() returned, as a real port finds it: the
// port is lost with the device's reason, and the same device is opened again.
void RoutingTest::failedWriteIsReportedAndTheLinkReopened() {
    Rig rig;
    Connector holder(rig.hub);
    Serial& serial = holder.serial();
    QVERIFY(!serial.setConnected(true));
    QSignalSpy portLost(&serial, &Serial::portLost);
    QSignalSpy lost(&rig.hub, &LinkHub::linkLost);
    QSignalSpy restored(&rig.hub, &LinkHub::linkRestored);
    FakeSerialDevice& device = *rig.lastDevice;
    device.failNextWrite();
    serial.transmit(QByteArray(" Q "));
    QCOMPARE(device.failedWrites, 1);
    QCOMPARE(device.written, QByteArray());
    Rig::settle();
    QCOMPARE(portLost.count(), 1);
    QCOMPARE(portLost.at(0).at(0).toString(), FakeSerialDevice::WriteFailed);
    QCOMPARE(lost.count(), 1);
    QCOMPARE(lost.at(0).at(0).toString(), FakeSerialDevice::WriteFailed);
    QVERIFY(!serial.connected());
    QVERIFY(rig.hub.lost());

    rig.clock.advance(LinkHub::ReconnectPollMs);
    QVERIFY(serial.connected());
    QCOMPARE(restored.count(), 1);
    serial.transmit(QByteArray(" Q "));
    QCOMPARE(device.written, QByteArray(" Q ")); // only the next write failed
    Rig::settle();
    QCOMPARE(portLost.count(), 1);
}

// An unplugged adapter: the open port reports its device gone, and while it is away every
// attempt to open it fails; once it is plugged in again the next attempt links again.
void RoutingTest::vanishedDeviceIsReopenedOnceItIsBack() {
    Rig rig;
    Connector holder(rig.hub);
    Serial& serial = holder.serial();
    serial.setDevicePath(QStringLiteral("/dev/ttyUSB0"));
    QVERIFY(!serial.setConnected(true));
    QSignalSpy lost(&rig.hub, &LinkHub::linkLost);
    QSignalSpy restored(&rig.hub, &LinkHub::linkRestored);
    FakeSerialDevice& device = *rig.lastDevice;
    device.vanish();
    QCOMPARE(lost.count(), 1);
    QCOMPARE(lost.at(0).at(0).toString(), FakeSerialDevice::Gone);
    QVERIFY(!serial.connected());

    rig.clock.advance(5 * LinkHub::ReconnectPollMs);
    QVERIFY(rig.hub.lost());
    QCOMPARE(device.openCount, 1);
    const Status refused = device.open();
    QVERIFY(refused);
    QCOMPARE(refused->description, QStringLiteral("/dev/ttyUSB0: No such file or directory"));

    device.plugIn();
    rig.clock.advance(LinkHub::ReconnectPollMs);
    QVERIFY(serial.connected());
    QVERIFY(!rig.hub.lost());
    QCOMPARE(device.openCount, 2);
    QCOMPARE(restored.count(), 1);
    QCOMPARE(lost.count(), 1);
    QCOMPARE(rig.devicesMade, 1); // the same device, opened again
}

QTEST_GUILESS_MAIN(RoutingTest)
#include "test_routing.moc"
