// The serial device over a real QSerialPort on a pseudo-terminal, whose other end the test holds.

#include "link/SerialDevice.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <pty.h>
#include <unistd.h>

using namespace mivel;

class SerialDevicePtyTest : public QObject {
    Q_OBJECT
private slots:
    void aHangUpIsReportedOnceWithItsOwnReason() {
        int controller = -1, unit = -1;
        char name[256] = {};
        QVERIFY(openpty(&controller, &unit, name, nullptr, nullptr) == 0);
        ::close(unit);
        auto device = makeQtSerialDevice();
        device->setPortName(QString::fromLocal8Bit(name));
        const Status opened = device->open();
        QVERIFY2(!opened, qPrintable(describe(opened)));
        QSignalSpy lost(device.get(), &SerialDevice::lost);

        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("serial device .* lost: .*hung up"));
        ::close(controller);
        QTRY_COMPARE(lost.count(), 1);
        // Not the text of an earlier, harmless error of the terminal's line controls.
        const QString reason = lost.at(0).at(0).toString();
        QVERIFY2(reason.contains("hung up") && !reason.contains("ioctl"), qPrintable(reason));
        QVERIFY(!device->isOpen());
    }
};

QTEST_GUILESS_MAIN(SerialDevicePtyTest)
#include "test_serial_device_pty.moc"
