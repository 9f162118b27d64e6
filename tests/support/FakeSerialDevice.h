#pragma once

#include "link/SerialDevice.h"

#include <QMetaObject>

#include <functional>

namespace mivel::test {

// A serial device whose other end is the test: it records what is written and delivers what the
// test feeds, raising readyRead from the event loop as a real port does.
class FakeSerialDevice final : public SerialDevice {
public:
    QByteArray written;
    QString openError; // when set, open() fails with it
    int openCount = 0;
    int clearCount = 0;
    // When set, answers each write as the unit would; the answer arrives as fed input does.
    std::function<QByteArray(const QByteArray& written)> respond;

    void setPortName(const QString& name) override { name_ = name; }
    QString portName() const override { return name_; }
    void setBaudRate(qint32 baud) override { baud_ = baud; }
    qint32 baudRate() const { return baud_; }
    Status open() override {
        if (!openError.isEmpty())
            return programError(ErrorKind::PortFailure, openError);
        ++openCount;
        open_ = true;
        return {};
    }
    void close() override { open_ = false; }
    bool isOpen() const override { return open_; }
    qint64 write(const QByteArray& data) override {
        written += data;
        if (const QByteArray answer = respond ? respond(data) : QByteArray(); !answer.isEmpty())
            feed(answer);
        return data.size();
    }
    QByteArray readAll() override { return std::exchange(input_, {}); }
    qint64 bytesAvailable() const override { return input_.size(); }
    qint64 bytesToWrite() const override { return 0; }
    void clear() override {
        ++clearCount;
        input_.clear();
    }

    // Input from the unit, announced on the next turn of the event loop.
    void feed(const QByteArray& data) {
        input_ += data;
        QMetaObject::invokeMethod(
            this, [this] { emit readyRead(); }, Qt::QueuedConnection);
    }
    // Input that is waiting without an announcement yet.
    void preload(const QByteArray& data) { input_ += data; }
    void hangUp(const QString& reason) {
        open_ = false;
        emit lost(reason);
    }

private:
    QString name_;
    qint32 baud_ = 0;
    bool open_ = false;
    QByteArray input_;
};

} // namespace mivel::test
