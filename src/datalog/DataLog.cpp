#include "DataLog.h"

#include "LogLine.h"

#include "wire/Commands.h"

#include <QFileInfo>
#include <QLocale>
#include <QTime>

#include <limits>

namespace mivel::datalog {

namespace {

// A request of the log that is still unanswered after this long is given up, as the console
// gives up its awaiting-reply flags, and the next one goes out.
constexpr qint64 RequestPendingMs = 2000;

QString systemTimeOfDay() {
    return QLocale::system().toString(QTime::currentTime(), QLocale::LongFormat);
}

Error fileError(const QString& text) {
    return programError(ErrorKind::Unavailable, text);
}

} // namespace

DataLog::DataLog(AppContext& ctx, LiveReadings& readings, QObject* parent)
    : QObject(parent)
    , ctx_(ctx)
    , readings_(readings)
    , timer_(ctx.clock())
    , timeOfDay_(systemTimeOfDay) {
    connect(&timer_, &Timer::timeout, this, &DataLog::onTick);
    connect(&readings_, &LiveReadings::temperaturesRead, this, [this] { requestSentMs_ = -1; });
}

DataLog::~DataLog() {
    closeFile();
}

Status DataLog::start(const LogPlan& plan) {
    // A log already running ends here; its file keeps what it has.
    if (active_)
        stop();
    file_.setFileName(plan.file);
    // Unbuffered: each row is one write to the system, so a row either reaches the file or is
    // reported at once.
    if (plan.file.isEmpty() ||
        !file_.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered))
        return fileError(texts::OpenFailed);
    const QByteArray header = headerLine(plan.columns);
    if (file_.write(header) != header.size()) {
        closeFile();
        return fileError(texts::OpenFailed);
    }
    plan_ = plan;
    rows_ = 0;
    bytesWritten_ = header.size();
    failure_.clear();
    active_ = true;
    phase_ = false;
    requestSentMs_ = -1;
    hold_.emplace(ctx_.hub());
    timer_.stop();
    // The header stays written when the timer cannot be had; the log does not run.
    if (tickMs(plan.intervalS) > std::numeric_limits<int>::max()) {
        stop();
        return programError(ErrorKind::OtherFailure, texts::TimerFailed);
    }
    timer_.setInterval(tickMs(plan.intervalS));
    timer_.start();
    emit activeChanged(true);
    return std::nullopt;
}

void DataLog::stop() {
    const bool was = active_;
    active_ = false;
    closeFile();
    if (was)
        emit activeChanged(false);
    // Last: letting go of the link may end the process when nothing else holds it.
    hold_.reset();
}

void DataLog::closeFile() {
    if (file_.isOpen())
        file_.close();
}

void DataLog::onTick() {
    if (!active_) {
        timer_.stop();
        return;
    }
    phase_ = !phase_;
    if (phase_)
        requestTemperatures();
    else
        writeRow();
}

void DataLog::requestTemperatures() {
    Serial* serial = ctx_.hub().serial();
    // Nothing may go to the unit while its firmware is being replaced.
    if (!serial || !serial->connected() || ctx_.hub().firmwareTransfer())
        return;
    const qint64 now = ctx_.clock().nowMs();
    if (requestSentMs_ >= 0 && now - requestSentMs_ < RequestPendingMs)
        return;
    requestSentMs_ = now;
    serial->transmit(wire::command(wire::Cmd::Temperatures, wire::Lead::Space));
}

void DataLog::writeRow() {
    // A file removed or renamed under the log would take every later row with it, unseen.
    if (!QFileInfo::exists(plan_.file)) {
        failWriting(QStringLiteral("the file is no longer there"));
        return;
    }
    const QByteArray line = rowLine(timeOfDay_(), plan_.columns, readings_.latest());
    if (file_.write(line) != line.size()) {
        failWriting(file_.errorString());
        return;
    }
    bytesWritten_ += line.size();
    ++rows_;
}

void DataLog::failWriting(const QString& reason) {
    // A row written in part is taken back, so the file ends with the last whole row.
    if (file_.isOpen() && file_.size() > bytesWritten_)
        file_.resize(bytesWritten_);
    failure_ = QStringLiteral("The data log has stopped: a row could not be written to %1 (%2). "
                              "The %3 rows written before are kept.")
                   .arg(plan_.file, reason)
                   .arg(rows_);
    stop();
    ctx_.prompt().inform(failure_, MessageTitle, Prompt::Icon::Warning);
}

void DataLog::onConsoleClosing(Prompt& prompt) {
    if (!active_)
        return;
    const Prompt::Answer keep = prompt.ask(texts::KeepLogging, MessageTitle, Prompt::Icon::Question,
                                           Prompt::Buttons::YesNo);
    if (keep == Prompt::Answer::No)
        stop();
}

} // namespace mivel::datalog
