#pragma once

#include <QString>

#include <optional>

namespace mivel::console {

// What the calculator hands to the focuser setup on OK; a value that shows "n/a" is not passed.
struct StepSizeResult {
    std::optional<double> stepSize;
    std::optional<int> smallStep;
    std::optional<int> largeStep;
};

// The step size calculator (frmCalculateStepSize). From the magnification of the secondary it
// gives the focus movement per motor count in mils; from the focal ratio the critical focus zone
// in mils and in counts, and from that a small and a large step. As the dialog always did, the
// counts follow a change of the focal ratio only.
class StepSizeCalculator {
public:
    static inline const QString NotAvailable = QStringLiteral("n/a");

    // txtMag changed; text that is not a number counts as 0.
    void setMagnification(const QString& text);
    // txtfRatio changed.
    void setFocalRatio(const QString& text);

    QString stepSize() const { return stepSize_; }   // lblStepSize, "0.000"
    QString cfzMils() const { return cfzMils_; }     // lblCFZmils, "##0.00"
    QString cfzCounts() const { return cfzCounts_; } // lblCFZcounts
    QString smallStep() const { return smallStep_; } // lblSmallStepSize
    QString largeStep() const { return largeStep_; } // lblLargeStepSize
    // Why the counts show "n/a" although both values are there ("Overflow"), else empty.
    QString problem() const { return problem_; }

    StepSizeResult result() const;

private:
    QString stepSize_ = NotAvailable;
    QString cfzMils_ = NotAvailable;
    QString cfzCounts_ = NotAvailable;
    QString smallStep_ = NotAvailable;
    QString largeStep_ = NotAvailable;
    QString problem_;
};

} // namespace mivel::console
