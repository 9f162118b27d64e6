#pragma once

#include "FirmwareFile.h"
#include "LoaderFlags.h"

#include "app/Prompt.h"
#include "core/Task.h"
#include "link/LinkHub.h"
#include "wire/Tokeniser.h"

#include <QObject>
#include <QString>

#include <memory>

namespace mivel::firmware {

// The upload of a firmware file to the unit's loader, over the shared link:
//
//   "x " (twice at most, 1000 ms each) until ":x" answers; "E", and the loader status checked;
//   "P"; the file counted; 2000 ms for the unit to get ready; then each line as it stands, and
//   after each but the last a reply with "*" within 5000 ms.
//
// From the first "x " on, the link's firmware-transfer flag keeps the consoles from reading the
// loader's replies; it is cleared only when the upload succeeds (after a failure the unit must be
// power-cycled, and the consoles stay deaf until the program starts again). Every wait is a
// coroutine wait, so the program goes on running throughout.
class FlashUpload : public QObject {
    Q_OBJECT
public:
    static constexpr int EnterAttempts = 2;
    static constexpr qint64 EnterLoaderMs = 1000;
    static constexpr qint64 EraseWaitMs = 5000;
    static constexpr qint64 ProgramSettleMs = 2000;
    static constexpr qint64 HandshakeMs = 5000;
    // The output buffer is looked at this often while it drains; a received chunk looks too.
    static constexpr qint64 DrainPollMs = 1;
    // The loader status before the erase is answered: not below 3, so it reads as ready.
    static constexpr qint16 StatusUnanswered = 255;

    FlashUpload(LinkHub& hub, Prompt& prompt, std::shared_ptr<LoaderFlags> flags,
                QObject* parent = nullptr);
    ~FlashUpload() override;

    // Runs the upload of the file at path; the result is 0 on success or the error code (1 to 6,
    // UploadError). Run it once per object.
    Task<int> run(const QString& path);

    bool running() const { return running_; }
    // Whoever started the upload is going away while it runs: the upload goes on to its end
    // (the unit must not be left half way), then deletes itself.
    void orphan() { orphaned_ = true; }
    qint16 lineCount() const { return file_.lineCount(); }
    qint16 linesSent() const { return linesSent_; }
    bool endRecordSeen() const { return file_.endRecordSeen(); }
    // Lines sent × 100 / line count, as last shown.
    int percent() const { return percent_; }
    // An estimate of the time the rest of the file takes, from the pace so far; -1 before the
    // first line is acknowledged.
    qint64 msLeft() const;

signals:
    void statusChanged(const QString& text);
    void progressChanged();

private:
    Task<int> enterLoader();
    Task<int> erase();
    Task<int> sendFile(const QString& path);
    Task<> drainOutput();
    bool sendLine(const QByteArray& line);
    void send(const QByteArray& bytes);
    void receive(std::string_view chunk);
    int finish(int code);

    LinkHub& hub_;
    Prompt& prompt_;
    std::shared_ptr<LoaderFlags> flags_;
    LinkHub::Subscription reading_;
    wire::Tokeniser tokeniser_;
    FirmwareFile file_;
    QByteArray lastRead_;    // the most recent chunk read, cleared after each acknowledgement
    bool handshake_ = false; // replies go to the loader-status parser
    bool running_ = false;
    bool orphaned_ = false;
    qint16 linesSent_ = 0;
    int percent_ = 0;
    qint64 firstLineMs_ = 0;
    qint64 lastAckMs_ = 0;
};

} // namespace mivel::firmware
