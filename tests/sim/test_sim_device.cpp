#include "Heard.h"
#include "support/TestRig.h"

#include "sim/SimDevice.h"
#include "sim/SimulatedUnit.h"

#include "link/Serial.h"

#include <QSignalSpy>
#include <QTest>

using namespace mivel;
using sim::SimulatedUnit;
using test::TestRig;

class SimDeviceTest : public QObject {
    Q_OBJECT
private slots:
    void bytesTravelThroughTheEventLoop() {
        SimulatedUnit unit;
        auto device = sim::makeSimDevice(unit);
        QSignalSpy readable(device.get(), &SerialDevice::readyRead);
        QCOMPARE(device->open(), Status());
        const QByteArray probe = QByteArray("! ");
        QCOMPARE(device->write(probe), probe.size());
        // Not inside write(): the unit has heard nothing yet.
        QCOMPARE(unit.receivedBytes(), QByteArray());
        QCOMPARE(device->bytesToWrite(), probe.size());
        QTRY_COMPARE(unit.receivedBytes(), probe);
        QCOMPARE(device->bytesToWrite(), 0);
        QTRY_COMPARE(readable.count(), 1);
        QCOMPARE(device->readAll(), QByteArray(":! 1 "));
    }

    void closedOrClearedDeviceCarriesNothing() {
        SimulatedUnit unit;
        auto device = sim::makeSimDevice(unit);
        QCOMPARE(device->write("! "), -1);
        QCOMPARE(device->open(), Status());
        device->write("! ");
        device->clear();
        TestRig::settle();
        QCOMPARE(unit.receivedBytes(), QByteArray());
        device->write("! ");
        TestRig::settle();
        QCOMPARE(device->bytesAvailable(), 5);
        device->close();
        QCOMPARE(device->bytesAvailable(), 0);
    }

    // The program's serial port over the device; replies split by the unit reach it in pieces.
    void serialTalksToTheUnit() {
        SimulatedUnit unit;
        unit.setSplitReplies(true);
        Serial serial(sim::makeSimDevice(unit));
        Heard heard;
        connect(&serial, &Serial::myEvent, this, [&](const QByteArray& c) { heard(c); });
        QVERIFY(!serial.setConnected(true));
        serial.transmit(QByteArray(" R "));
        QTRY_VERIFY(heard.has(":rrp"));
        QVERIFY(heard.chunks > 1);
        QCOMPARE(heard.tags(), (QStringList{":rs", ":rt", ":wr", ":rh", ":rrp"}));
        QCOMPARE(heard.number(":rt"), unit.rotatorPosition());
    }

    void hangUpIsReportedOncePerOpening() {
        SimulatedUnit unit;
        auto device = sim::makeSimDevice(unit);
        QSignalSpy lost(device.get(), &SerialDevice::lost);
        QCOMPARE(device->open(), Status());
        unit.setHungUp(true);
        QTRY_COMPARE(lost.count(), 1);
        QVERIFY(!device->isOpen());
        TestRig::settle();
        QCOMPARE(lost.count(), 1);

        const Status refused = device->open();
        QVERIFY(refused && !refused->description.isEmpty());
        QCOMPARE(refused->kind, ErrorKind::PortFailure);

        unit.setHungUp(false);
        QCOMPARE(device->open(), Status());
        unit.setHungUp(true);
        QTRY_COMPARE(lost.count(), 2);
    }
};

QTEST_GUILESS_MAIN(SimDeviceTest)
#include "test_sim_device.moc"
