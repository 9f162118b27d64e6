#include "support/FakeSerialDevice.h"

#include <QMetaObject>

namespace mivel::test {

Status FakeSerialDevice::open() {
    QString why = openError;
    if (why.isEmpty() && !present_)
        why = name_ + QStringLiteral(": No such file or directory");
    if (!why.isEmpty())
        return programError(ErrorKind::PortFailure, why);
    ++openCount;
    open_ = true;
    return {};
}

qint64 FakeSerialDevice::write(const QByteArray& data) {
    if (std::exchange(failNextWrite_, false)) {
        ++failedWrites;
        // A real port finds out after write() has returned, from the event loop.
        QMetaObject::invokeMethod(
            this, [this] { reportLost(WriteFailed); }, Qt::QueuedConnection);
        return -1;
    }
    written += data;
    if (const QByteArray answer = respond ? respond(data) : QByteArray(); !answer.isEmpty())
        feed(answer);
    return data.size();
}

void FakeSerialDevice::feed(const QByteArray& data) {
    input_ += data;
    QMetaObject::invokeMethod(
        this, [this] { emit readyRead(); }, Qt::QueuedConnection);
}

void FakeSerialDevice::hangUp(const QString& reason) {
    open_ = false;
    emit lost(reason);
}

void FakeSerialDevice::vanish() {
    present_ = false;
    input_.clear();
    reportLost(Gone);
}

// Once per opening, and only while open, as the seam promises.
void FakeSerialDevice::reportLost(const QString& reason) {
    if (!open_)
        return;
    hangUp(reason);
}

} // namespace mivel::test
