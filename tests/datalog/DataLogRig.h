#pragma once

// The process's recording (readings, history, data log) on a fake serial device and a manual
// clock. The fake answers every temperature request with the readings the test sets, and the
// time of day in a row is the manual clock's, so rows can be compared whole.

#include "support/TestRig.h"

#include "datalog/Recording.h"

#include <QFile>

#include <memory>
#include <optional>

namespace mivel::test {

struct DataLogRig : AppRig {
    // What the unit answers to " T ".
    QByteArray temperatures = ":t1 4993 :t2 5012 :t3 4890 :t7 7150 :fs 62 :ss 15 ";
    std::optional<Connector> link;
    std::unique_ptr<datalog::Recording> recording;

    DataLogRig() {
        respond = [this](const QByteArray& command) {
            return command.contains(" T ") ? temperatures : QByteArray();
        };
        link.emplace(ctx->hub());
        const Status opened = link->serial().setConnected(true);
        Q_ASSERT(!opened);
        recording = std::make_unique<datalog::Recording>(*ctx);
        // Rows carry the manual clock's seconds, and the history its milliseconds.
        log().setTimeOfDay([this] { return QStringLiteral("t=%1").arg(clock.nowMs() / 1000); });
        recording->setWallClock([this] { return clock.nowMs(); });
    }
    ~DataLogRig() override {
        recording.reset();
        link.reset();
    }

    datalog::DataLog& log() { return recording->log(); }
    void reply(const QByteArray& chunk) { ctx->hub().deliver(chunk); }
    static QByteArray contents(const QString& path) {
        QFile f(path);
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }
    static int lineCount(const QByteArray& data) { return int(data.count("\r\n")); }
};

} // namespace mivel::test
