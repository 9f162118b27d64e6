#pragma once

#include "SerialDevice.h"
#include "core/Error.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QFile>
#include <QObject>
#include <QString>
#include <QUuid>

#include <array>
#include <functional>
#include <memory>

namespace mivel {

// The one object through which the program owns the serial line to the unit. Received text is
// Latin-1: one character per byte, as the line carries it.
class Serial : public QObject {
    Q_OBJECT
public:
    // The speeds the line may run at; the unit itself runs at 9600.
    static constexpr std::array<qint32, 11> PortSpeed{300,   1200,  2400,  4800,  9600,  14400,
                                                      19200, 28800, 38400, 57600, 115200};
    static constexpr qint64 ErrorBase = 0x80040400;
    static constexpr qint64 ErrorTimeout = 0x80040400;
    static constexpr qint64 ErrorBadTimeout = 0x80040401;
    static constexpr qint64 ErrorBadSpeed = 0x80040402;
    static constexpr qint64 ErrorBadCount = 0x80040403;
    static constexpr qint64 ErrorBadTerminator = 0x80040404;
    static constexpr qint64 ErrorDevice = 0x80040405;
    static inline const QString ErrorSource = QStringLiteral("ASCOM Helper Serial Port Object");

    // The trace file is named by the MIVEL_SERIAL_TRACE environment variable unless tracePath
    // is given; with neither there is no trace.
    explicit Serial(std::unique_ptr<SerialDevice> device, const QString& tracePath = {},
                    QObject* parent = nullptr);
    ~Serial() override;

    qint16 port() const { return port_; }
    void setPort(qint16 number) { port_ = number; }
    // A device path (e.g. /dev/ttyUSB0) that overrides the port number's usual device name.
    QString devicePath() const { return devicePath_; }
    void setDevicePath(const QString& path) { devicePath_ = path; }
    // The device the port number or the device path names on this platform.
    QString deviceName() const;
    static QString deviceNameForPort(qint16 number);

    // Let takes whole seconds and stores tenths of them; get returns seconds. The two do not
    // round-trip (5 reads back as 0.5): callers depend on exactly this.
    double receiveTimeout() const { return timeoutMs_ / 1000.0; }
    qint32 receiveTimeoutMs() const { return timeoutMs_; }
    Status setReceiveTimeout(int seconds);

    bool connected() const;
    Status setConnected(bool open);

    qint32 speed() const;
    Status setSpeed(qint32 speed);
    QString settings() const { return settings_; }

    void transmit(const QString& data);
    void transmit(const QByteArray& data);
    void transmitBinary(const QByteArray& data);

    // Timed receives: they wait, letting the event loop run, until their data has come or the
    // receive time-out passes. Nothing that serves automation clients may call them.
    Result<QString> receive();
    Result<quint8> receiveByte();
    Result<QString> receiveCounted(int count);
    Result<QString> receiveTerminated(const QString& terminator);
    QString recieveNoTimeout();

    void clearBuffers();
    int inBufferCount() const;
    int outBufferCount() const;

    static constexpr quint32 SafeForUntrustedCaller = 1;
    static constexpr quint32 SafeForUntrustedData = 2;
    static inline const QUuid DispatchInterface{"{00020400-0000-0000-C000-000000000046}"};
    // Report and accept both safety options for the dispatch interface; false for any other.
    bool getInterfaceSafetyOptions(const QUuid& iid, quint32* supported, quint32* enabled) const;
    bool setInterfaceSafetyOptions(const QUuid& iid, quint32 mask, quint32 enabled);

    bool tracing() const { return trace_.isOpen(); }
    SerialDevice& device() const { return *device_; }

signals:
    // Every chunk of received text, as it arrived. It is raised from the event loop, never from
    // inside the device's own read signal: a handler may open a modal prompt, and the device
    // goes on reading (and further chunks go on arriving) while it is open.
    void myEvent(const QByteArray& data);
    // The port went away while open; it is closed already.
    void portLost(const QString& reason);
    // The port was opened or closed.
    void connectedChanged(bool open);

private:
    using Done = std::function<qsizetype(const QByteArray&)>;
    Result<QByteArray> timedReceive(const Done& complete);
    void onReadyRead();
    // Raises MyEvent with the first chunk that arrived, on the next turn of the event loop.
    void scheduleDelivery();
    void deliverArrived();
    QByteArray takeArrived();
    void traceLine(const QString& line);

    std::unique_ptr<SerialDevice> device_;
    qint16 port_ = 1;
    QString devicePath_;
    qint32 timeoutMs_ = 5000;
    QString settings_;
    QByteArrayList arrived_; // read from the device, each as it came; not yet handed out
    int receiving_ = 0;      // timed receives in progress: they take the input, not MyEvent
    bool deliveryScheduled_ = false;
    quint32 safetyEnabled_ = 0;
    QFile trace_;
};

} // namespace mivel
