#include "Serial.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QLoggingCategory>
#include <QThread>
#include <QTimer>

Q_LOGGING_CATEGORY(lcWire, "mivel.wire", QtWarningMsg)

namespace mivel {
namespace {

QString q(const QString& s) {
    return QLatin1Char('"') + s + QLatin1Char('"');
}

Error serialError(ErrorKind kind, qint64 number, const QString& description) {
    return {kind, number, Serial::ErrorSource, description};
}

// Timed receives run below normal priority, so that the rest of the machine is served while
// they poll; the priority is restored however the wait ends.
class LowerPriorityWhileWaiting {
public:
    LowerPriorityWhileWaiting() { set(QThread::LowPriority); }
    ~LowerPriorityWhileWaiting() { set(QThread::NormalPriority); }

private:
    // Where the platform refuses (an ordinary time-sharing thread on Linux has one priority
    // level), this does nothing.
    static void set(QThread::Priority p) {
        if (QThread* t = QThread::currentThread(); t != nullptr && t->isRunning())
            t->setPriority(p);
    }
};

} // namespace

Serial::Serial(std::unique_ptr<SerialDevice> device, const QString& tracePath, QObject* parent)
    : QObject(parent)
    , device_(std::move(device)) {
    const QString path =
        tracePath.isEmpty() ? qEnvironmentVariable("MIVEL_SERIAL_TRACE") : tracePath;
    if (!path.isEmpty()) {
        trace_.setFileName(path);
        if (!trace_.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text))
            qCWarning(lcWire) << "cannot open serial trace file" << path << trace_.errorString();
    }
    // Settings at creation: port 1, the unit's line settings, no handshaking, then closed.
    port_ = 1;
    settings_ = QStringLiteral("9600,N,8,1");
    device_->setBaudRate(9600);
    device_->close();
    connect(device_.get(), &SerialDevice::readyRead, this, &Serial::onReadyRead);
    connect(device_.get(), &SerialDevice::lost, this, [this](const QString& reason) {
        traceLine(QStringLiteral("Port lost: ") + reason);
        emit portLost(reason);
        emit connectedChanged(false);
    });
    traceLine(QStringLiteral("Serial trace file:"));
}

Serial::~Serial() {
    if (device_->isOpen())
        device_->close();
}

QString Serial::deviceNameForPort(qint16 number) {
#ifdef Q_OS_WIN
    return QStringLiteral("COM%1").arg(number);
#else
    return QStringLiteral("/dev/ttyS%1").arg(std::max(0, number - 1));
#endif
}

QString Serial::deviceName() const {
    return devicePath_.isEmpty() ? deviceNameForPort(port_) : devicePath_;
}

Status Serial::setReceiveTimeout(int seconds) {
    if (seconds < 1 || seconds > 120)
        return serialError(ErrorKind::OutOfRange, ErrorBadTimeout,
                           QStringLiteral("Timeout must be 1 - 120 seconds."));
    timeoutMs_ = seconds * 100;
    traceLine(QStringLiteral("ReceiveTimeout = %1").arg(seconds));
    return {};
}

bool Serial::connected() const {
    return device_->isOpen();
}

Status Serial::setConnected(bool open) {
    if (open == device_->isOpen())
        return {};
    if (!open) {
        device_->close();
        arrived_.clear();
        traceLine(QStringLiteral("Connected = False"));
        emit connectedChanged(false);
        return {};
    }
    device_->setPortName(deviceName());
    device_->setBaudRate(speed());
    if (const Status opened = device_->open()) {
        traceLine(QStringLiteral("Connected = True failed: ") + opened->description);
        return serialError(ErrorKind::PortFailure, ErrorDevice, opened->description);
    }
    traceLine(QStringLiteral("Connected = True (%1)").arg(deviceName()));
    clearBuffers();
    emit connectedChanged(true);
    return {};
}

qint32 Serial::speed() const {
    return settings_.section(QLatin1Char(','), 0, 0).toInt();
}

Status Serial::setSpeed(qint32 speed) {
    if (std::find(PortSpeed.begin(), PortSpeed.end(), speed) == PortSpeed.end())
        return serialError(
            ErrorKind::OutOfRange, ErrorBadSpeed,
            QStringLiteral("Unsupported port speed. Use the PortSpeed enumeration."));
    settings_ = QStringLiteral("%1,N,8,1").arg(speed);
    device_->setBaudRate(speed);
    return {};
}

void Serial::transmit(const QString& data) {
    transmit(data.toLatin1());
}

void Serial::transmit(const QByteArray& data) {
    traceLine(QStringLiteral("Transmit(") + q(QString::fromLatin1(data)) + QStringLiteral(")..."));
    qCDebug(lcWire).noquote() << "->" << q(QString::fromLatin1(data));
    if (device_->isOpen())
        device_->write(data);
    traceLine(QStringLiteral("...done"));
}

void Serial::transmitBinary(const QByteArray& data) {
    QStringList bytes;
    for (char c : data)
        bytes << QString::number(quint8(c));
    traceLine(QStringLiteral("TransmitBinary(data())...") + bytes.join(QLatin1Char(' ')));
    if (device_->isOpen())
        device_->write(data);
    traceLine(QStringLiteral("...done"));
}

// The device's read signal only takes the input off the device. The device does not raise the
// signal again while a handler of it is running, so a handler that opened a prompt from inside
// it would leave the input unread until the device's buffer filled, and then for good.
void Serial::onReadyRead() {
    if (receiving_ > 0)
        return; // a timed receive is waiting for this input
    if (QByteArray input = device_->readAll(); !input.isEmpty())
        arrived_.append(std::move(input));
    scheduleDelivery();
}

void Serial::scheduleDelivery() {
    if (deliveryScheduled_ || arrived_.isEmpty())
        return;
    deliveryScheduled_ = true;
    QMetaObject::invokeMethod(
        this, [this] { deliverArrived(); }, Qt::QueuedConnection);
}

// One chunk a turn, the next one scheduled before this one goes out: if a handler of this one
// runs the event loop, the next one is delivered inside it.
void Serial::deliverArrived() {
    deliveryScheduled_ = false;
    if (receiving_ > 0 || arrived_.isEmpty())
        return; // a timed receive takes what has arrived
    const QByteArray chunk = arrived_.takeFirst();
    scheduleDelivery();
    qCDebug(lcWire).noquote() << "<-" << q(QString::fromLatin1(chunk));
    emit myEvent(chunk);
}

QByteArray Serial::takeArrived() {
    QByteArray all = arrived_.join();
    arrived_.clear();
    return all;
}

Result<QByteArray> Serial::timedReceive(const Done& complete) {
    LowerPriorityWhileWaiting lower;
    ++receiving_;
    QElapsedTimer elapsed;
    elapsed.start();
    const qint64 timeout = timeoutMs_;
    QByteArray input = takeArrived();
    for (;;) {
        input += device_->readAll();
        if (const qsizetype n = complete(input); n > 0) {
            --receiving_;
            // What came after the wanted text is received text like any other.
            if (n < input.size()) {
                arrived_.prepend(input.mid(n));
                scheduleDelivery();
            }
            return input.left(n);
        }
        const qint64 left = timeout - elapsed.elapsed();
        if (left <= 0 || !device_->isOpen())
            break;
        QEventLoop loop;
        QTimer deadline;
        deadline.setSingleShot(true);
        connect(&deadline, &QTimer::timeout, &loop, &QEventLoop::quit);
        connect(device_.get(), &SerialDevice::readyRead, &loop, &QEventLoop::quit);
        connect(device_.get(), &SerialDevice::lost, &loop, &QEventLoop::quit);
        deadline.start(int(left));
        loop.exec();
    }
    --receiving_; // whatever was read is discarded
    return serialError(ErrorKind::NoAnswer, ErrorTimeout,
                       QStringLiteral("Timed out waiting for received data."));
}

Result<QString> Serial::receive() {
    traceLine(QStringLiteral("Receive()..."));
    auto r = timedReceive([](const QByteArray& b) { return b.size(); });
    if (!r)
        return r.error();
    const QString text = QString::fromLatin1(r.value());
    traceLine(QStringLiteral("...Received ") + q(text));
    return text;
}

Result<quint8> Serial::receiveByte() {
    traceLine(QStringLiteral("ReceiveByte()..."));
    auto r = timedReceive([](const QByteArray& b) { return std::min<qsizetype>(b.size(), 1); });
    if (!r)
        return r.error();
    const quint8 byte = quint8(r.value().at(0));
    traceLine(QStringLiteral("...received 0x") +
              QStringLiteral("%1").arg(byte, 2, 16, QLatin1Char('0')).toUpper());
    return byte;
}

Result<QString> Serial::receiveCounted(int count) {
    if (count <= 0)
        return serialError(ErrorKind::OutOfRange, ErrorBadCount,
                           QStringLiteral("Character count must be positive and greater than 0."));
    traceLine(QStringLiteral("ReceiveCounted(%1)...").arg(count));
    auto r = timedReceive([count](const QByteArray& b) { return b.size() >= count ? count : 0; });
    if (!r)
        return r.error();
    const QString text = QString::fromLatin1(r.value());
    traceLine(QStringLiteral("...received ") + q(text));
    return text;
}

Result<QString> Serial::receiveTerminated(const QString& terminator) {
    if (terminator.isEmpty())
        return serialError(ErrorKind::InvalidValue, ErrorBadTerminator,
                           QStringLiteral("Terminator string must have at least one character."));
    traceLine(QStringLiteral("ReceiveTerminated(") + q(terminator) + QStringLiteral(")..."));
    const QByteArray term = terminator.toLatin1();
    auto r = timedReceive([&term](const QByteArray& b) -> qsizetype {
        const qsizetype at = b.indexOf(term);
        return at < 0 ? 0 : at + term.size();
    });
    if (!r)
        return r.error();
    const QString text = QString::fromLatin1(r.value());
    traceLine(QStringLiteral("...received ") + q(text));
    return text;
}

QString Serial::recieveNoTimeout() {
    QByteArray all = takeArrived();
    all += device_->readAll();
    return QString::fromLatin1(all);
}

void Serial::clearBuffers() {
    arrived_.clear();
    device_->clear();
    traceLine(QStringLiteral("Buffers cleared"));
}

int Serial::inBufferCount() const {
    qsizetype waiting = device_->bytesAvailable();
    for (const QByteArray& chunk : arrived_)
        waiting += chunk.size();
    return int(waiting);
}

int Serial::outBufferCount() const {
    return int(device_->bytesToWrite());
}

bool Serial::getInterfaceSafetyOptions(const QUuid& iid, quint32* supported,
                                       quint32* enabled) const {
    if (iid != DispatchInterface)
        return false;
    if (supported)
        *supported = SafeForUntrustedCaller | SafeForUntrustedData;
    if (enabled)
        *enabled = safetyEnabled_;
    return true;
}

bool Serial::setInterfaceSafetyOptions(const QUuid& iid, quint32 mask, quint32 enabled) {
    const quint32 both = SafeForUntrustedCaller | SafeForUntrustedData;
    if (iid != DispatchInterface || (mask & ~both) != 0)
        return false;
    safetyEnabled_ = (safetyEnabled_ & ~mask) | (enabled & mask);
    return true;
}

void Serial::traceLine(const QString& line) {
    if (!trace_.isOpen())
        return;
    trace_.write(line.toUtf8());
    trace_.write("\n");
    trace_.flush();
}

} // namespace mivel
