#pragma once

#include "core/Error.h"

#include <QByteArray>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>

namespace mivel {

// The one seam around the serial device. The real one wraps QSerialPort; tests and the built-in
// simulation put the simulated unit behind it.
class SerialDevice : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    virtual void setPortName(const QString& name) = 0;
    virtual QString portName() const = 0;
    // Always no parity, 8 data bits, 1 stop bit and no handshaking; only the speed varies.
    virtual void setBaudRate(qint32 baud) = 0;

    // A device that will not open says why, naming itself, in a port failure.
    virtual Status open() = 0;
    virtual void close() = 0;
    virtual bool isOpen() const = 0;

    virtual qint64 write(const QByteArray& data) = 0;
    virtual QByteArray readAll() = 0;
    virtual qint64 bytesAvailable() const = 0;
    virtual qint64 bytesToWrite() const = 0;
    // Empties the input and output buffers.
    virtual void clear() = 0;

signals:
    void readyRead();
    // The device went away while open (adapter unplugged, other end of a terminal hung up). The
    // device is already closed when this is emitted, and it is emitted once per opening.
    void lost(const QString& reason);
};

// Makes a device for a port; the link asks for one when the shared Serial is created.
using SerialDeviceFactory = std::function<std::unique_ptr<SerialDevice>()>;

std::unique_ptr<SerialDevice> makeQtSerialDevice();

} // namespace mivel
