#pragma once

#include "link/SerialDevice.h"

#include <memory>

namespace mivel::test {

// The real device, counting what goes out so that a rig can tell when the unit has heard it.
class CountingDevice final : public SerialDevice {
public:
    explicit CountingDevice(qint64& written)
        : real_(makeQtSerialDevice())
        , written_(written) {
        connect(real_.get(), &SerialDevice::readyRead, this, &SerialDevice::readyRead);
        connect(real_.get(), &SerialDevice::lost, this, &SerialDevice::lost);
    }
    void setPortName(const QString& name) override { real_->setPortName(name); }
    QString portName() const override { return real_->portName(); }
    void setBaudRate(qint32 baud) override { real_->setBaudRate(baud); }
    Status open() override { return real_->open(); }
    void close() override { real_->close(); }
    bool isOpen() const override { return real_->isOpen(); }
    qint64 write(const QByteArray& data) override {
        const qint64 n = real_->write(data);
        if (n > 0)
            written_ += n;
        return n;
    }
    QByteArray readAll() override { return real_->readAll(); }
    qint64 bytesAvailable() const override { return real_->bytesAvailable(); }
    qint64 bytesToWrite() const override { return real_->bytesToWrite(); }
    void clear() override { real_->clear(); }

private:
    std::unique_ptr<SerialDevice> real_;
    qint64& written_;
};

} // namespace mivel::test
