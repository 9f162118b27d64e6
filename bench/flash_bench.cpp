// The firmware upload against the line's speed: a firmware image (64 KiB by default) goes to the
// simulated unit on a pseudo-terminal through the real serial port. The unit takes the PC's bytes
// at 9600 baud (10 bits a character) and acknowledges each record the moment its last byte is in,
// so the only limit is the line itself. The bound is the bytes sent × 10 / 9600 s plus the 2 s the
// upload waits for the unit to get ready after "P"; the goal is to stay within 5 % of it.
//
// Usage: flash_bench [image size in KiB, default 64]

#include "firmware/FlashUpload.h"
#include "link/LinkHub.h"
#include "sim/PtyHost.h"
#include "sim/SimulatedUnit.h"
#include "wire/SRecord.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>
#include <optional>

using namespace mivel;

namespace {

constexpr double LineMsPerChar = 10.0 * 1000.0 / 9600.0;
constexpr int BytesPerRecord = 32;

class SilentPrompt final : public Prompt {
public:
    Answer ask(const QString& text, const QString&, Icon, Buttons) override {
        std::fprintf(stderr, "%s\n", qPrintable(text));
        return Answer::Ok;
    }
};

// An image of kib KiB in S1 records of 32 bytes (S2 beyond 64 KiB), with S0 and S9. Returns the
// bytes the upload sends: every line without its line end.
qint64 writeImage(const QString& path, int kib) {
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly))
        return -1;
    const char type = kib > 64 ? '2' : '1';
    qint64 sent = 0;
    const auto put = [&](const std::string& record) {
        f.write(record.c_str());
        f.write("\r\n");
        sent += qint64(record.size());
    };
    put(wire::makeRecord('0', 0, "flash_bench"));
    std::string data(BytesPerRecord, '\0');
    for (qint64 address = 0; address < qint64(kib) * 1024; address += BytesPerRecord) {
        for (int i = 0; i < BytesPerRecord; ++i)
            data[std::size_t(i)] = char((address + i) * 7);
        put(wire::makeRecord(type, quint32(address), data));
    }
    put(wire::makeRecord(kib > 64 ? '8' : '9', 0, {}));
    return sent;
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    const int kib = argc > 1 ? QByteArray(argv[1]).toInt() : 64;
    QTemporaryDir dir;
    const QString image = dir.filePath("image.s19");
    const qint64 lineBytes = writeImage(image, kib);
    if (kib <= 0 || lineBytes < 0) {
        std::fprintf(stderr, "usage: flash_bench [KiB]\n");
        return 2;
    }

    sim::SimulatedUnit unit;
    unit.setInputPacing(LineMsPerChar);
    sim::PtyHost host(unit);
    if (const Status started = host.start(dir.filePath("unit"))) {
        std::fprintf(stderr, "%s\n", qPrintable(started->description));
        return 1;
    }
    LinkHub hub(makeQtSerialDevice);
    Connector holder(hub);
    Serial& serial = hub.ensureSerial();
    serial.setDevicePath(host.linkPath());
    if (const Status opened = serial.setConnected(true)) {
        std::fprintf(stderr, "%s\n", qPrintable(opened->description));
        return 1;
    }

    SilentPrompt prompt;
    firmware::FlashUpload upload(hub, prompt, std::make_shared<firmware::LoaderFlags>());
    std::optional<int> code;
    QElapsedTimer clock;
    clock.start();
    // The upload ends when its last line is handed to the port; the clock stops when that line
    // is in the unit.
    QTimer lastLineIn;
    lastLineIn.setTimerType(Qt::PreciseTimer);
    QObject::connect(&lastLineIn, &QTimer::timeout, &app, [&] {
        if (*code != 0 || unit.programmedRecords().size() >= upload.lineCount())
            QCoreApplication::exit(0);
    });
    upload.run(image).then([&](int result) {
        code = result;
        lastLineIn.start(1);
    });
    QCoreApplication::exec();
    const double seconds = double(clock.elapsed()) / 1000.0;
    if (!code || *code != 0) {
        std::fprintf(stderr, "upload failed with code %d\n", code.value_or(-1));
        return 1;
    }

    // "x ", "E" and "P" go down the line too.
    const qint64 bytes = lineBytes + 4;
    const double bound = double(bytes) * 10.0 / 9600.0 + 2.0;
    std::printf("image %d KiB, %d lines, %lld bytes sent\n", kib, int(upload.lineCount()),
                static_cast<long long>(bytes));
    std::printf("upload %.2f s, bound %.2f s (bytes x 10 / 9600 + 2 s): %+.2f %% over\n", seconds,
                bound, (seconds / bound - 1.0) * 100.0);
    std::printf("records the unit took: %lld\n",
                static_cast<long long>(unit.programmedRecords().size()));
    return 0;
}
