#pragma once

// A program context for driver tests: an in-memory settings store, scripted prompts, a manual
// clock, and a scripted unit behind the serial seam that answers each command the test's way.

#include "app/AppContext.h"
#include "app/MemorySettingsStore.h"
#include "link/SerialDevice.h"
#include "link/Task.h"

#include <QCoreApplication>
#include <QList>
#include <QMetaObject>
#include <QTemporaryDir>

#include <functional>
#include <memory>

namespace mivel::test {

// The unit as a script: every command written is kept, and `respond` may answer it. Answers
// arrive on a later turn of the event loop, as a real line delivers them.
class ScriptedUnit final : public SerialDevice {
public:
    QList<QByteArray> sent;
    std::function<QByteArray(const QByteArray& command)> respond;
    QString openError;
    int openCount = 0;
    int clearCount = 0;

    void setPortName(const QString& name) override { name_ = name; }
    QString portName() const override { return name_; }
    void setBaudRate(qint32) override {}
    bool open(QString* error) override {
        if (!openError.isEmpty()) {
            *error = openError;
            return false;
        }
        ++openCount;
        open_ = true;
        return true;
    }
    void close() override { open_ = false; }
    bool isOpen() const override { return open_; }
    qint64 write(const QByteArray& data) override {
        sent << data;
        if (respond)
            if (const QByteArray answer = respond(data); !answer.isEmpty())
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

    void feed(const QByteArray& data) {
        input_ += data;
        QMetaObject::invokeMethod(
            this, [this] { emit readyRead(); }, Qt::QueuedConnection);
    }
    int count(const QByteArray& command) const { return int(sent.count(command)); }
    void hangUp(const QString& reason) {
        open_ = false;
        emit lost(reason);
    }

private:
    QString name_;
    bool open_ = false;
    QByteArray input_;
};

// A unit that answers the link probe and nothing else.
inline QByteArray answerProbe(const QByteArray& command) {
    return command.trimmed() == "!" ? QByteArray(":! 1 ") : QByteArray();
}

struct DriverRig {
    ManualClock clock;
    QTemporaryDir dir;
    MemorySettingsStore* store = nullptr;
    ScriptedPrompt* prompt = nullptr;
    ScriptedUnit* unit = nullptr;
    std::function<void(ScriptedUnit&)> prepareUnit;
    std::unique_ptr<AppContext> ctx;

    // With no factory the line ends in a ScriptedUnit (`unit`).
    explicit DriverRig(SerialDeviceFactory device = {}) {
        auto s = std::make_unique<MemorySettingsStore>();
        auto p = std::make_unique<ScriptedPrompt>();
        store = s.get();
        prompt = p.get();
        if (!device)
            device = [this] {
                auto u = std::make_unique<ScriptedUnit>();
                unit = u.get();
                if (prepareUnit)
                    prepareUnit(*u);
                return std::unique_ptr<SerialDevice>(std::move(u));
            };
        ctx = std::make_unique<AppContext>(std::move(s), std::move(p), std::move(device),
                                           AppPaths::inDirectory(dir.path()), clock);
    }

    // Lets everything queued run: yields, received chunks, replies to them.
    static void settle() {
        for (int i = 0; i < 8; ++i)
            QCoreApplication::processEvents();
    }

    // Moves time on a millisecond at a time, letting queued work run at every step.
    void advance(qint64 ms) {
        settle();
        for (qint64 i = 0; i < ms; ++i) {
            clock.advance(1);
            settle();
        }
    }

    // Runs a member to its end, moving time on as it waits; gives up after `limitMs`.
    template <class T> typename Task<T>::Value run(Task<T> task, qint64 limitMs = 30'000) {
        settle();
        for (qint64 i = 0; i < limitMs && !task.isDone(); ++i) {
            clock.advance(1);
            settle();
        }
        Q_ASSERT(task.isDone());
        return task.result();
    }

    // Opens the shared port as a console would, without a driver.
    void openPortAsConsole() {
        Serial& serial = ctx->hub().ensureSerial();
        serial.setConnected(true);
    }
    qint64 now() const { return clock.nowMs(); }
    Serial& serial() { return *ctx->hub().serial(); }
    void deliver(const QByteArray& chunk) {
        unit->feed(chunk);
        settle();
    }
};

} // namespace mivel::test

namespace mivel::test {

// The console's windows, counted.
struct CountedWindows final : ConsoleWindows {
    bool mainOpen = false;
    int miniShown = 0;
    int mainShown = 0;
    int focuserSetups = 0;
    int rotatorSetups = 0;
    bool mainConsoleOpen() const override { return mainOpen; }
    void showMiniConsole() override { ++miniShown; }
    void showMainConsole() override { ++mainShown; }
    void showFocuserSetup() override { ++focuserSetups; }
    void showRotatorSetup() override { ++rotatorSetups; }
};

} // namespace mivel::test
