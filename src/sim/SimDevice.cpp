#include "SimDevice.h"

#include "SimulatedUnit.h"

#include <QPointer>

namespace mivel::sim {
namespace {

class SimDevice final : public SerialDevice {
public:
    explicit SimDevice(SimulatedUnit& unit)
        : unit_(&unit) {
        connect(&unit, &SimulatedUnit::transmit, this, &SimDevice::arrive);
        connect(&unit, &SimulatedUnit::hungUpChanged, this, [this](bool hungUp) {
            if (hungUp)
                later([this] { hangUp(); });
        });
    }

    void setPortName(const QString& name) override { name_ = name; }
    QString portName() const override { return name_; }
    void setBaudRate(qint32) override {}

    Status open() override {
        if (!unit_ || unit_->hungUp())
            return programError(ErrorKind::PortFailure,
                                QStringLiteral("The simulated unit does not answer the line."));
        open_ = true;
        lostReported_ = false;
        return {};
    }
    void close() override {
        open_ = false;
        clear();
    }
    bool isOpen() const override { return open_; }

    qint64 write(const QByteArray& data) override {
        if (!open_)
            return -1;
        outgoing_ += data.size();
        later([this, data, generation = generation_] {
            if (generation != generation_)
                return; // cleared before it left
            outgoing_ -= data.size();
            if (unit_)
                unit_->receive(data);
        });
        return data.size();
    }
    QByteArray readAll() override { return std::exchange(incoming_, {}); }
    qint64 bytesAvailable() const override { return incoming_.size(); }
    qint64 bytesToWrite() const override { return outgoing_; }
    void clear() override {
        ++generation_;
        outgoing_ = 0;
        incoming_.clear();
    }

private:
    template <class F> void later(F&& f) {
        QMetaObject::invokeMethod(this, std::forward<F>(f), Qt::QueuedConnection);
    }

    // Each chunk the unit sends is its own delivery, so that replies split by the unit reach
    // the reader split.
    void arrive(const QByteArray& chunk) {
        if (!open_)
            return;
        later([this, chunk, generation = generation_] {
            if (!open_ || generation != generation_)
                return;
            incoming_ += chunk;
            emit readyRead();
        });
    }

    void hangUp() {
        if (!open_ || lostReported_)
            return;
        lostReported_ = true;
        close();
        emit lost(QStringLiteral("The simulated unit hung up."));
    }

    QPointer<SimulatedUnit> unit_;
    QString name_ = QStringLiteral("simulated");
    QByteArray incoming_;
    qint64 outgoing_ = 0;
    quint64 generation_ = 0;
    bool open_ = false;
    bool lostReported_ = false;
};

} // namespace

std::unique_ptr<SerialDevice> makeSimDevice(SimulatedUnit& unit) {
    return std::make_unique<SimDevice>(unit);
}

} // namespace mivel::sim
