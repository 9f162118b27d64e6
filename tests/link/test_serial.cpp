// The serial port object against a device whose other end is the test.

#include "support/FakeSerialDevice.h"

#include "link/Serial.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace mivel;
using mivel::test::FakeSerialDevice;

namespace {

struct Rig {
    FakeSerialDevice* device;
    Serial serial;
    explicit Rig(const QString& trace = {})
        : device(new FakeSerialDevice)
        , serial(std::unique_ptr<SerialDevice>(device), trace) {}
};

} // namespace

class SerialTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { qputenv("MIVEL_SERIAL_TRACE", ""); }
    void receiveTimeoutStoresTenthsAndReadsSeconds();
    void speedIsLimitedToThePortSpeedSet();
    void openingClearsBuffersAndFailedOpeningDoesNot();
    void receiveReturnsWaitingInputAtOnce();
    void receiveTimesOutWithTheHelperError();
    void countedAndTerminatedReceives();
    void argumentErrors();
    void chunksRaiseMyEventButNotDuringATimedReceive();
    void lostPortIsReportedOnce();
    void interfaceSafetyForTheDispatchInterfaceOnly();
    void traceFileLines();
};

void SerialTest::receiveTimeoutStoresTenthsAndReadsSeconds() {
    Rig rig;
    QCOMPARE(rig.serial.receiveTimeout(), 5.0); // default 5000 ms
    QVERIFY(!rig.serial.setReceiveTimeout(5));
    QCOMPARE(rig.serial.receiveTimeout(), 0.5);
    QVERIFY(!rig.serial.setReceiveTimeout(120));
    QCOMPARE(rig.serial.receiveTimeoutMs(), 12000);
    for (int bad : {0, 121, -1}) {
        const auto err = rig.serial.setReceiveTimeout(bad);
        QVERIFY(err);
        QCOMPARE(err->number, Serial::ErrorBadTimeout);
        QCOMPARE(err->description, QStringLiteral("Timeout must be 1 - 120 seconds."));
        QCOMPARE(err->source, QStringLiteral("ASCOM Helper Serial Port Object"));
        QCOMPARE(rig.serial.receiveTimeoutMs(), 12000);
    }
}

void SerialTest::speedIsLimitedToThePortSpeedSet() {
    Rig rig;
    QCOMPARE(rig.serial.settings(), QStringLiteral("9600,N,8,1"));
    QCOMPARE(rig.serial.speed(), 9600);
    QVERIFY(!rig.serial.setSpeed(115200));
    QCOMPARE(rig.serial.settings(), QStringLiteral("115200,N,8,1"));
    QCOMPARE(rig.device->baudRate(), 115200);
    QVERIFY(!rig.serial.setSpeed(300));
    const auto err = rig.serial.setSpeed(9601);
    QVERIFY(err);
    QCOMPARE(err->description,
             QStringLiteral("Unsupported port speed. Use the PortSpeed enumeration."));
    QCOMPARE(rig.serial.speed(), 300);
}

void SerialTest::openingClearsBuffersAndFailedOpeningDoesNot() {
    Rig rig;
    rig.serial.setPort(3);
    rig.device->openError = QStringLiteral("No such file or directory");
    const auto err = rig.serial.setConnected(true);
    QVERIFY(err);
    QCOMPARE(err->description, QStringLiteral("No such file or directory"));
    QCOMPARE(err->number, Serial::ErrorDevice);
    QCOMPARE(err->kind, ErrorKind::PortFailure); // the port failed, not the unit
    QCOMPARE(rig.device->clearCount, 0);
    QVERIFY(!rig.serial.connected());

    rig.device->openError.clear();
    rig.device->preload("stale");
    QVERIFY(!rig.serial.setConnected(true));
    QVERIFY(rig.serial.connected());
    QCOMPARE(rig.device->clearCount, 1);
    QCOMPARE(rig.serial.inBufferCount(), 0);
    QCOMPARE(rig.device->portName(), Serial::deviceNameForPort(3));

    rig.serial.setDevicePath(QStringLiteral("/dev/ttyUSB0"));
    QVERIFY(!rig.serial.setConnected(false));
    QVERIFY(!rig.serial.setConnected(true));
    QCOMPARE(rig.device->portName(), QStringLiteral("/dev/ttyUSB0"));
}

void SerialTest::receiveReturnsWaitingInputAtOnce() {
    Rig rig;
    QVERIFY(!rig.serial.setConnected(true));
    QCOMPARE(rig.serial.recieveNoTimeout(), QString()); // nothing waiting, no error
    rig.device->preload(":a 12500 ");
    QCOMPARE(rig.serial.inBufferCount(), 9);
    const auto r = rig.serial.receive();
    QVERIFY(r.ok());
    QCOMPARE(r.value(), QStringLiteral(":a 12500 "));
}

void SerialTest::receiveTimesOutWithTheHelperError() {
    Rig rig;
    QVERIFY(!rig.serial.setConnected(true));
    QVERIFY(!rig.serial.setReceiveTimeout(1)); // 100 ms
    const auto r = rig.serial.receive();
    QVERIFY(!r.ok());
    QCOMPARE(r.error().number, Serial::ErrorTimeout);
    QCOMPARE(r.error().description, QStringLiteral("Timed out waiting for received data."));
    QCOMPARE(r.error().kind, ErrorKind::NoAnswer); // the unit did not answer
    const auto b = rig.serial.receiveByte();
    QVERIFY(!b.ok());
}

void SerialTest::countedAndTerminatedReceives() {
    Rig rig;
    QVERIFY(!rig.serial.setConnected(true));
    QVERIFY(!rig.serial.setReceiveTimeout(20));
    // Input arrives in pieces while the receive waits.
    QTimer::singleShot(10, rig.device, [&] { rig.device->feed("ab"); });
    QTimer::singleShot(20, rig.device, [&] { rig.device->feed("cd*ef"); });
    const auto counted = rig.serial.receiveCounted(3);
    QVERIFY(counted.ok());
    QCOMPARE(counted.value(), QStringLiteral("abc"));
    const auto terminated = rig.serial.receiveTerminated(QStringLiteral("*"));
    QVERIFY(terminated.ok());
    QCOMPARE(terminated.value(), QStringLiteral("d*"));
    const auto byte = rig.serial.receiveByte();
    QVERIFY(byte.ok());
    QCOMPARE(byte.value(), quint8('e'));
    QCOMPARE(rig.serial.recieveNoTimeout(), QStringLiteral("f"));
}

void SerialTest::argumentErrors() {
    Rig rig;
    QCOMPARE(rig.serial.receiveCounted(0).error().description,
             QStringLiteral("Character count must be positive and greater than 0."));
    QCOMPARE(rig.serial.receiveTerminated({}).error().description,
             QStringLiteral("Terminator string must have at least one character."));
}

void SerialTest::chunksRaiseMyEventButNotDuringATimedReceive() {
    Rig rig;
    QVERIFY(!rig.serial.setConnected(true));
    QSignalSpy events(&rig.serial, &Serial::myEvent);
    rig.device->feed(":a 1 ");
    QTRY_COMPARE(events.count(), 1);
    QCOMPARE(events.at(0).at(0).toByteArray(), QByteArray(":a 1 "));

    QVERIFY(!rig.serial.setReceiveTimeout(20));
    QTimer::singleShot(5, rig.device, [&] { rig.device->feed("*"); });
    QVERIFY(rig.serial.receiveTerminated(QStringLiteral("*")).ok());
    QCOMPARE(events.count(), 1);
}

void SerialTest::lostPortIsReportedOnce() {
    Rig rig;
    QVERIFY(!rig.serial.setConnected(true));
    QSignalSpy lost(&rig.serial, &Serial::portLost);
    rig.device->hangUp(QStringLiteral("Input/output error"));
    QCOMPARE(lost.count(), 1);
    QVERIFY(!rig.serial.connected());
}

void SerialTest::interfaceSafetyForTheDispatchInterfaceOnly() {
    Rig rig;
    quint32 supported = 0, enabled = 0;
    QVERIFY(rig.serial.getInterfaceSafetyOptions(Serial::DispatchInterface, &supported, &enabled));
    QCOMPARE(supported, Serial::SafeForUntrustedCaller | Serial::SafeForUntrustedData);
    QVERIFY(rig.serial.setInterfaceSafetyOptions(Serial::DispatchInterface, 3, 3));
    QVERIFY(rig.serial.getInterfaceSafetyOptions(Serial::DispatchInterface, &supported, &enabled));
    QCOMPARE(enabled, 3u);
    QVERIFY(!rig.serial.setInterfaceSafetyOptions(Serial::DispatchInterface, 4, 4));
    QVERIFY(!rig.serial.getInterfaceSafetyOptions(QUuid::createUuid(), &supported, &enabled));
}

void SerialTest::traceFileLines() {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("trace.txt"));
    {
        Rig rig(path);
        QVERIFY(rig.serial.tracing());
        QVERIFY(!rig.serial.setConnected(true));
        rig.serial.transmit(QStringLiteral(" Q "));
        rig.serial.transmitBinary(QByteArray("\x01\xff", 2));
        rig.device->preload("xy");
        QVERIFY(rig.serial.receive().ok());
        rig.device->preload("z");
        QVERIFY(rig.serial.receiveByte().ok());
        rig.device->preload("ab");
        QVERIFY(rig.serial.receiveCounted(2).ok());
    }
    QFile f(path);
    QVERIFY(f.open(QIODevice::ReadOnly));
    const QStringList lines = QString::fromUtf8(f.readAll()).split(QLatin1Char('\n'));
    QCOMPARE(lines.first(), QStringLiteral("Serial trace file:"));
    QVERIFY(lines.contains(QStringLiteral("Transmit(\" Q \")...")));
    QVERIFY(lines.contains(QStringLiteral("TransmitBinary(data())...1 255")));
    QVERIFY(lines.contains(QStringLiteral("...done")));
    QVERIFY(lines.contains(QStringLiteral("Buffers cleared")));
    QVERIFY(lines.contains(QStringLiteral("Receive()...")));
    QVERIFY(lines.contains(QStringLiteral("...Received \"xy\"")));
    QVERIFY(lines.contains(QStringLiteral("ReceiveByte()...")));
    QVERIFY(lines.contains(QStringLiteral("...received 0x7A")));
    QVERIFY(lines.contains(QStringLiteral("ReceiveCounted(2)...")));
    QVERIFY(lines.contains(QStringLiteral("...received \"ab\"")));
}

QTEST_GUILESS_MAIN(SerialTest)
#include "test_serial.moc"
