#pragma once

#include "link/SerialDevice.h"

#include <functional>

namespace mivel::test {

// A serial device whose other end is the test: it records what is written and delivers what the
// test feeds, raising readyRead from the event loop as a real port does. It fails the ways a
// real one does too: an open refused, a write that does not go out, a device that disappears.
class FakeSerialDevice final : public SerialDevice {
public:
    // What the real device reports when a write fails or the device disappears.
    static inline const QString WriteFailed =
        QStringLiteral("writing failed (unplugged, or the other end hung up)");
    static inline const QString Gone =
        QStringLiteral("the device is gone (unplugged, or the other end hung up)");

    QByteArray written;
    QString openError; // when set, open() fails with it
    int openCount = 0;
    int clearCount = 0;
    int failedWrites = 0;
    // When set, answers each write as the unit would; the answer arrives as fed input does.
    std::function<QByteArray(const QByteArray& written)> respond;

    void setPortName(const QString& name) override { name_ = name; }
    QString portName() const override { return name_; }
    void setBaudRate(qint32 baud) override { baud_ = baud; }
    qint32 baudRate() const { return baud_; }
    Status open() override;
    void close() override { open_ = false; }
    bool isOpen() const override { return open_; }
    qint64 write(const QByteArray& data) override;
    QByteArray readAll() override { return std::exchange(input_, {}); }
    qint64 bytesAvailable() const override { return input_.size(); }
    qint64 bytesToWrite() const override { return 0; }
    void clear() override {
        ++clearCount;
        input_.clear();
    }

    // Input from the unit, announced on the next turn of the event loop.
    void feed(const QByteArray& data);
    // Input that is waiting without an announcement yet.
    void preload(const QByteArray& data) { input_ += data; }
    // The other end went away: the device closes and reports the loss at once. It may be opened
    // again.
    void hangUp(const QString& reason);

    // The next write fails as a real port's does: nothing goes out, and on the next turn of the
    // event loop the device closes and reports itself lost.
    void failNextWrite() { failNextWrite_ = true; }
    // The device disappears mid-session, as an unplugged USB adapter does: it closes, reports
    // itself lost, and refuses to open until it is plugged in again.
    void vanish();
    void plugIn() { present_ = true; }
    bool present() const { return present_; }

private:
    void reportLost(const QString& reason);

    QString name_;
    qint32 baud_ = 0;
    bool open_ = false;
    bool present_ = true;
    bool failNextWrite_ = false;
    QByteArray input_;
};

} // namespace mivel::test
