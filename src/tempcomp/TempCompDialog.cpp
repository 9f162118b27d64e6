#include "TempCompDialog.h"

#include "core/Format.h"
#include "core/Numbers.h"
#include "wire/Commands.h"

#include <algorithm>
#include <cmath>

namespace mivel::tempcomp {
namespace {

int roundedTenths(double coefficient) {
    return *wire::roundToInt<int>(std::clamp(coefficient * 10, -1e9, 1e9));
}

} // namespace

TempCompDialog::TempCompDialog(AppContext& ctx, QObject* parent)
    : QObject(parent)
    , ctx_(ctx)
    , connector_(ctx.hub())
    , state_(ctx.shared().tempComp)
    , receiver_(ctx.hub(), ctx.shared().tempComp)
    , replyWait_(ctx.clock())
    , savedStepSize_(ctx.settings().stepSize) {
    replyWait_.setSingleShot(true);
    replyWait_.setInterval(ReplyWaitMs);
    connect(&replyWait_, &Timer::timeout, this, &TempCompDialog::onReplyWait);

    if (state_.mode < 0 || state_.mode > 2)
        state_.mode = 0;
    selectedMode_ = state_.mode;
    state_.dialogOpen = true;

    send(wire::command(wire::Cmd::TempCompParams, wire::Lead::Space));
    if (state_.paramsReceived) {
        const double tenths = double(state_.coefficient) * 10;
        setCoefficientShown(std::abs(tenths) > CoefficientMax ? 0
                                                              : roundedTenths(state_.coefficient));
        setThresholdShown(state_.movementThreshold);
        return;
    }
    replyWait_.start();
}

TempCompDialog::~TempCompDialog() {
    if (open_)
        state_.dialogOpen = false;
}

void TempCompDialog::onReplyWait() {
    replyWait_.stop();
    if (state_.paramsReceived) {
        state_.coefficient = std::clamp(state_.coefficient, -100.0f, 100.0f);
        // A late reply shows only coefficients below 10; a larger one appears on the next
        // opening, when the parameters are already known. The dialog has always behaved so and
        // keeps doing it.
        if (state_.coefficient < 10)
            setCoefficientShown(roundedTenths(state_.coefficient));
        // Deliberately tighter than the 0..100 accepted from the reply.
        state_.movementThreshold = std::clamp(state_.movementThreshold, 0, 10);
        setThresholdShown(state_.movementThreshold);
    } else {
        ctx_.prompt().inform(
            QStringLiteral("Failed to recieve Temperature Compensation Coefficient from Mivel."),
            MessageTitle, Prompt::Icon::Warning);
        // What the dialog shows was never confirmed by the unit: OK offers to upload it.
        changed_ = true;
    }
    emit refreshed();
}

void TempCompDialog::selectMode(int mode) {
    selectedMode_ = std::clamp(mode, 0, 2);
    emit refreshed();
}

void TempCompDialog::setCoefficientTenths(int tenths) {
    const int value = std::clamp(tenths, CoefficientMin, CoefficientMax);
    if (value == coefficientTenths_)
        return;
    setCoefficientShown(value);
    changed_ = true;
    emit refreshed();
}

void TempCompDialog::setThreshold(int counts) {
    const int value = std::clamp(counts, ThresholdMin, ThresholdMax);
    if (value == threshold_)
        return;
    setThresholdShown(value);
    changed_ = true;
    emit refreshed();
}

void TempCompDialog::setCoefficientShown(int tenths) {
    coefficientTenths_ = std::clamp(tenths, CoefficientMin, CoefficientMax);
}

void TempCompDialog::setThresholdShown(int counts) {
    threshold_ = std::clamp(counts, ThresholdMin, ThresholdMax);
    state_.movementThreshold = threshold_;
}

void TempCompDialog::showFahrenheit(bool fahrenheit) {
    fahrenheit_ = fahrenheit;
    emit refreshed();
}

QString TempCompDialog::coefficientText() const {
    const double perFahrenheit = coefficientTenths_ / 10.0;
    if (fahrenheit_)
        return formatNumber(perFahrenheit, "0.0");
    // The Celsius figure has always been shown as the Fahrenheit one times 5/9; users compare
    // it with figures taken from this dialog, so it stays so.
    return formatNumber(perFahrenheit * 5 / 9, "0.00");
}

bool TempCompDialog::accept() {
    if (changed_) {
        if (!ctx_.prompt().confirm(QStringLiteral("Upload changes to Mivel?"), MessageTitle))
            return false;
        const double unitCoefficient = double(state_.sensorSlope) * coefficientTenths_ * 100;
        if (const auto n = wire::roundToInt<std::int32_t>(unitCoefficient))
            send(wire::command(wire::Cmd::TempCompCoefficient, *n, wire::Lead::Space));
        send(wire::command(wire::Cmd::TempCompThreshold, threshold_, wire::Lead::Space));
        state_.coefficient = float(coefficientTenths_ / 10.0);
    }
    state_.mode = std::int16_t(selectedMode_);
    close();
    return true;
}

bool TempCompDialog::reject() {
    if (changed_ && !ctx_.prompt().confirm(QStringLiteral("Discard changes?"), MessageTitle))
        return false;
    if (ctx_.settings().stepSize != savedStepSize_)
        ctx_.settings().stepSize = savedStepSize_;
    close();
    return true;
}

void TempCompDialog::close() {
    replyWait_.stop();
    state_.dialogOpen = false;
    open_ = false;
    emit closed();
}

void TempCompDialog::send(const QByteArray& command) {
    ctx_.hub().ensureSerial().transmit(command);
}

void prepareTempCompDialog(AppContext& ctx) {
    ctx.hub().ensureSerial().transmit(wire::command(wire::Cmd::TempCompPrepare, wire::Lead::Space));
}

TempCompButtons finishTempCompDialog(AppContext& ctx) {
    const int mode = ctx.shared().tempComp.mode;
    ctx.hub().ensureSerial().transmit(
        wire::command(wire::Cmd::TempCompMode, mode, wire::Lead::Space));
    return tempCompButtons(mode);
}

} // namespace mivel::tempcomp
