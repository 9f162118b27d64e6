#include "StepSizeCalculator.h"

#include "core/Format.h"
#include "core/Numbers.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace mivel::console {
namespace {

// Mils of focus movement per count at unit magnification.
constexpr double kMilsPerCount = 0.025;
// The critical focus zone is 2.2 N² micrometres; 0.03937 mil to the micrometre.
constexpr double kCfzMicrometresPerRatio = 2.2;
constexpr double kMilsPerMicrometre = 0.03937;
constexpr double kSmallStepShare = 0.2;
constexpr int kLargeStepFactor = 2;

double numberOrZero(const QString& text) {
    return wire::toNumber(text.trimmed().toStdString()).value_or(0.0);
}

std::optional<double> shownNumber(const QString& text) {
    return wire::toNumber(text.toStdString());
}

bool fitsInt16(double value) {
    return value >= std::numeric_limits<std::int16_t>::min() &&
           value <= std::numeric_limits<std::int16_t>::max();
}

} // namespace

void StepSizeCalculator::setMagnification(const QString& text) {
    const double m = numberOrZero(text);
    stepSize_ = formatNumber((m * m + 1) * kMilsPerCount, "0.000");
}

void StepSizeCalculator::setFocalRatio(const QString& text) {
    const double n = numberOrZero(text);
    const double cfz = n * n * kCfzMicrometresPerRatio * kMilsPerMicrometre;
    cfzMils_ = formatNumber(cfz, "##0.00");
    problem_.clear();
    cfzCounts_ = smallStep_ = largeStep_ = NotAvailable;
    const auto step = shownNumber(stepSize_);
    if (!step || *step == 0)
        return;
    // Counts are a 16-bit number, and so is twice their number.
    const double counts = std::floor(cfz / *step);
    if (!fitsInt16(counts) || !fitsInt16(counts * kLargeStepFactor)) {
        problem_ = QStringLiteral("Overflow");
        return;
    }
    const int c = int(counts);
    cfzCounts_ = QString::number(c);
    smallStep_ = QString::number(int(std::floor(c * kSmallStepShare)));
    largeStep_ = QString::number(c * kLargeStepFactor);
}

StepSizeResult StepSizeCalculator::result() const {
    StepSizeResult r;
    r.stepSize = shownNumber(stepSize_);
    if (const auto small = shownNumber(smallStep_))
        r.smallStep = int(*small);
    if (const auto large = shownNumber(largeStep_))
        r.largeStep = int(*large);
    return r;
}

} // namespace mivel::console
