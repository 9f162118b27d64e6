#include "SerialDevice.h"

#include <QLoggingCategory>
#include <QSerialPort>

Q_LOGGING_CATEGORY(lcDevice, "mivel.device")

namespace mivel {
namespace {

// QSerialPort keeps the text of an earlier error when a read or write fails at a hang-up (on a
// pseudo-terminal, that of the refused line controls: "Inappropriate ioctl for device"), so the
// reason is told from the kind of failure.
QString lossReason(QSerialPort::SerialPortError e) {
    switch (e) {
    case QSerialPort::ResourceError:
        return QStringLiteral("the device is gone (unplugged, or the other end hung up)");
    case QSerialPort::ReadError:
        return QStringLiteral("reading failed (unplugged, or the other end hung up)");
    case QSerialPort::WriteError:
        return QStringLiteral("writing failed (unplugged, or the other end hung up)");
    default:
        return QStringLiteral("the device failed (error %1)").arg(int(e));
    }
}

class QtSerialDevice final : public SerialDevice {
public:
    QtSerialDevice() {
        port_.setBaudRate(9600);
        port_.setDataBits(QSerialPort::Data8);
        port_.setParity(QSerialPort::NoParity);
        port_.setStopBits(QSerialPort::OneStop);
        port_.setFlowControl(QSerialPort::NoFlowControl);
        port_.setReadBufferSize(4096);
        connect(&port_, &QSerialPort::readyRead, this, &SerialDevice::readyRead);
        connect(&port_, &QSerialPort::errorOccurred, this, &QtSerialDevice::onError);
    }

    void setPortName(const QString& name) override {
        name_ = name;
        port_.setPortName(name);
    }
    QString portName() const override { return port_.portName(); }
    void setBaudRate(qint32 baud) override { port_.setBaudRate(baud); }

    Status open() override {
        if (port_.open(QIODevice::ReadWrite)) {
            lostReported_ = false;
            return {};
        }
        // The reason alone ("No such file or directory") would not say which device failed.
        return programError(ErrorKind::PortFailure,
                            QStringLiteral("%1: %2").arg(name_, port_.errorString()));
    }
    void close() override {
        if (port_.isOpen())
            port_.close();
    }
    bool isOpen() const override { return port_.isOpen(); }
    qint64 write(const QByteArray& data) override { return port_.write(data); }
    QByteArray readAll() override { return port_.readAll(); }
    qint64 bytesAvailable() const override { return port_.bytesAvailable(); }
    qint64 bytesToWrite() const override { return port_.bytesToWrite(); }
    void clear() override { port_.clear(QSerialPort::AllDirections); }

private:
    void onError(QSerialPort::SerialPortError e) {
        switch (e) {
        case QSerialPort::NoError:
        case QSerialPort::OpenError:
        case QSerialPort::DeviceNotFoundError:
        case QSerialPort::PermissionError:
        case QSerialPort::UnsupportedOperationError: // DTR/RTS on a pseudo-terminal: harmless
        case QSerialPort::TimeoutError:
            return;
        default:
            break;
        }
        if (!port_.isOpen() || lostReported_)
            return;
        // A vanished device keeps reporting read errors at full speed until it is closed, so it
        // is closed at the first one and reported once.
        lostReported_ = true;
        const QString reason = lossReason(e);
        qCWarning(lcDevice) << "serial device" << port_.portName() << "lost:" << reason;
        port_.close();
        emit lost(reason);
    }

    QSerialPort port_;
    QString name_;
    bool lostReported_ = false;
};

} // namespace

std::unique_ptr<SerialDevice> makeQtSerialDevice() {
    return std::make_unique<QtSerialDevice>();
}

} // namespace mivel
