#include "FlashUpload.h"

#include "FlashTexts.h"

#include "wire/Commands.h"
#include "wire/Replies.h"

#include <QLoggingCategory>

#include <cmath>

Q_LOGGING_CATEGORY(lcFlash, "mivel.firmware")

namespace mivel::firmware {

FlashUpload::FlashUpload(LinkHub& hub, Prompt& prompt, std::shared_ptr<LoaderFlags> flags,
                         QObject* parent)
    : QObject(parent)
    , hub_(hub)
    , prompt_(prompt)
    , flags_(std::move(flags)) {}

FlashUpload::~FlashUpload() = default;

qint64 FlashUpload::msLeft() const {
    if (linesSent_ < 2 || lineCount() <= linesSent_)
        return linesSent_ >= lineCount() && lineCount() > 0 ? 0 : -1;
    // The first line also waited for the unit to settle: the pace is taken from the ones after.
    const double perLine = double(lastAckMs_ - firstLineMs_) / double(linesSent_ - 1);
    return qint64(std::llround(perLine * double(lineCount() - linesSent_)));
}

Task<int> FlashUpload::run(const QString& path) {
    running_ = true;
    linesSent_ = 0;
    percent_ = 0;
    flags_->loaderAnswered = false;
    flags_->wizardClosed = false;
    // The upload reads the port itself, as a receiver that the transfer flag does not silence.
    reading_ = hub_.subscribe(LinkHub::Audience::Driver,
                              [this](std::string_view chunk) { receive(chunk); });
    emit statusChanged(text::Initializing);
    int code = co_await enterLoader();
    if (code == NoError)
        code = co_await erase();
    if (code == NoError)
        code = co_await sendFile(path);
    co_return finish(code);
}

int FlashUpload::finish(int code) {
    reading_.reset();
    handshake_ = false;
    running_ = false;
    if (code == NoError) {
        flags_->loaderAnswered = false;
        hub_.setFirmwareTransfer(false);
        file_.close();
    }
    // On a failure the file stays as it was: the unit is to be power-cycled and the whole
    // upgrade run again.
    qCDebug(lcFlash) << "firmware upload ended with code" << code << "after" << linesSent_ << "of"
                     << lineCount() << "lines";
    if (orphaned_)
        deleteLater();
    return code;
}

Task<int> FlashUpload::enterLoader() {
    handshake_ = true;
    tokeniser_.reset();
    // Two attempts: a unit busy with a move may miss the first "x ".
    for (int attempt = 0; attempt < EnterAttempts; ++attempt) {
        send(wire::command(wire::Cmd::LoaderEnter));
        hub_.setFirmwareTransfer(true);
        if (co_await hub_.waits().until(EnterLoaderMs, [this] { return flags_->loaderAnswered; }))
            co_return NoError;
    }
    handshake_ = false;
    prompt_.inform(text::NoResponseBox, MessageTitle);
    co_return NoResponse;
}

Task<int> FlashUpload::erase() {
    flags_->loaderAnswered = true;
    flags_->loaderStatus = StatusUnanswered;
    send(wire::command(wire::Cmd::LoaderErase));
    co_await drainOutput();
    emit statusChanged(text::Erasing);
    // The status starts at 255, so this wait ends at once unless a reply with a lower status
    // has been read by now: the unit holds the next command until its erase is over, and the
    // PC goes straight on.
    co_await hub_.waits().until(EraseWaitMs, [this] { return flags_->loaderStatus >= 3; });
    handshake_ = false;
    if (flags_->loaderStatus >= 3) {
        emit statusChanged(text::Erased);
        co_return NoError;
    }
    co_return flags_->loaderStatus == 1 ? NoProgrammingVoltage : EraseFailed;
}

Task<int> FlashUpload::sendFile(const QString& path) {
    send(wire::command(wire::Cmd::LoaderProgram));
    co_await drainOutput();
    emit statusChanged(text::Programming);
    if (const Status opened = file_.open(path)) {
        qCWarning(lcFlash) << opened->description;
        co_return FileUnreadable;
    }
    linesSent_ = 0;
    emit progressChanged();
    co_await hub_.waits().delay(ProgramSettleMs);
    Waits& waits = hub_.waits();
    for (;;) {
        const Result<QByteArray> line = file_.nextLine();
        if (!line || !sendLine(*line))
            co_return LineNotSent;
        const qint64 sentAt = waits.clock().nowMs();
        if (linesSent_ == 0)
            firstLineMs_ = sentAt;
        ++linesSent_;
        if (linesSent_ == lineCount()) {
            // The last line's acknowledgement is not awaited.
            percent_ = 100;
            emit progressChanged();
            co_return NoError;
        }
        co_await drainOutput();
        const qint64 left = HandshakeMs - (waits.clock().nowMs() - sentAt);
        if (!co_await waits.until(left, [this] { return lastRead_.contains('*'); }))
            co_return NoHandshake;
        lastRead_.clear();
        lastAckMs_ = waits.clock().nowMs();
        percent_ = int(std::lround(double(linesSent_) * 100.0 / double(lineCount())));
        emit progressChanged();
        co_await waits.yield();
    }
}

Task<> FlashUpload::drainOutput() {
    // Bounded, so that a line that takes nothing more (a device that never drains) ends in the
    // handshake's own time-out instead of hanging the upload.
    Waits& waits = hub_.waits();
    const qint64 start = waits.clock().nowMs();
    const auto drained = [this] {
        const Serial* serial = hub_.serial();
        return !serial || serial->outBufferCount() == 0;
    };
    while (!drained() && waits.clock().nowMs() - start < HandshakeMs)
        co_await waits.until(DrainPollMs, drained);
}

bool FlashUpload::sendLine(const QByteArray& line) {
    Serial* serial = hub_.serial();
    if (!serial || !serial->connected())
        return false;
    serial->transmit(line);
    return serial->connected();
}

void FlashUpload::send(const QByteArray& bytes) {
    if (Serial* serial = hub_.serial())
        serial->transmit(bytes);
}

void FlashUpload::receive(std::string_view chunk) {
    lastRead_ = QByteArray(chunk.data(), qsizetype(chunk.size()));
    if (!handshake_)
        return;
    tokeniser_.feed(chunk, [this](std::string_view tag, std::string_view value) {
        const wire::TagInfo* info = wire::findTag(tag);
        if (info && info->tag == wire::Tag::LoaderStatus && !value.empty())
            flags_->onLoaderReply(int(static_cast<unsigned char>(value.front())));
    });
}

} // namespace mivel::firmware
