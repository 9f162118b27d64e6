// The first-order-plus-dead-time fit on made-up responses, and what it refuses; the tuning
// rules' conversion to the unit's heater-loop values.

#include "heater/FirstOrderFit.h"
#include "heater/TuningRules.h"

#include <QTest>

#include <cmath>
#include <random>

Q_DECLARE_METATYPE(mivel::heater::StepResponse)

using namespace mivel;
using namespace mivel::heater;

namespace {

// A response of a known model read once a second, with Gaussian noise and the sensor's steps.
StepResponse made(const FirstOrderModel& m, double settle, double after, double noise,
                  double drift = 0, int start = 0, int end = 50) {
    std::mt19937 random(7);
    std::normal_distribution<double> gauss(0, 1);
    StepResponse r;
    r.startPower = start;
    r.endPower = end;
    r.stepSeconds = settle;
    r.stepped = true;
    constexpr double Quantum = 0.1755;
    for (double t = 0; t <= settle + after; t += 1) {
        const double y = m.at(t - settle, end - start) + drift * t + noise * gauss(random);
        r.readings.push_back({t, std::round(y / Quantum) * Quantum});
    }
    return r;
}

const FirstOrderModel Plant{50, 0.08, 600, 60};

QString reason(const Result<ModelFit>& fit) {
    return fit.ok() ? QString() : fit.error().description;
}

} // namespace

class HeaterFitTest : public QObject {
    Q_OBJECT
private slots:
    void recoversTheModel_data() {
        QTest::addColumn<double>("gain");
        QTest::addColumn<double>("tau");
        QTest::addColumn<double>("theta");
        QTest::addColumn<int>("start");
        QTest::addColumn<int>("end");
        QTest::newRow("the simulator's heater") << 0.08 << 600.0 << 60.0 << 0 << 50;
        QTest::newRow("fast, little dead time") << 0.1 << 120.0 << 5.0 << 0 << 40;
        QTest::newRow("long dead time") << 0.05 << 300.0 << 150.0 << 0 << 100;
        QTest::newRow("a step down") << 0.08 << 600.0 << 60.0 << 80 << 20;
    }
    void recoversTheModel() {
        QFETCH(double, gain);
        QFETCH(double, tau);
        QFETCH(double, theta);
        QFETCH(int, start);
        QFETCH(int, end);
        const FirstOrderModel truth{45, gain, tau, theta};
        const auto fit = fitStepResponse(made(truth, 120, theta + 6 * tau, 0.1, 0, start, end));
        QVERIFY2(fit.ok(), qPrintable(reason(fit)));
        const FirstOrderModel& m = fit.value().model;
        const QString found =
            QStringLiteral("K %1 tau %2 theta %3").arg(m.gain).arg(m.timeConstant).arg(m.deadTime);
        QVERIFY2(std::abs(m.gain / gain - 1) < 0.02, qPrintable(found));
        QVERIFY2(std::abs(m.timeConstant / tau - 1) < 0.04,
                 qPrintable(QString::number(m.timeConstant)));
        QVERIFY2(std::abs(m.deadTime - theta) < std::max(2.0, 0.05 * theta),
                 qPrintable(QString::number(m.deadTime)));
        QVERIFY(std::abs(m.baseline - 45) < 0.05);
        QVERIFY(fit.value().residual > 0.05 && fit.value().residual < 0.15);
    }

    void refusesWithTheReason_data() {
        QTest::addColumn<StepResponse>("response");
        QTest::addColumn<QString>("why");
        QTest::newRow("too small")
            << made({50, 0.01, 600, 60}, 120, 3600, 0.05) << "The response is too small";
        QTest::newRow("too noisy") << made(Plant, 120, 3600, 0.8) << "The response is too noisy";
        QTest::newRow("not settled")
            << made(Plant, 120, 900, 0.1) << "The response has not yet settled";
        QTest::newRow("drifting before the step")
            << made(Plant, 600, 3600, 0.1, 2.0 / 3600) << "The response had not settled before";
        QTest::newRow("the wrong way")
            << made({50, -0.08, 600, 60}, 120, 3600, 0.1) << "The secondary did not warm";
        QTest::newRow("too few readings") << made(Plant, 120, 20, 0.1) << "The recording holds";
        StepResponse unstepped = made(Plant, 120, 3600, 0.1);
        unstepped.stepped = false;
        QTest::newRow("never stepped") << unstepped << "The recording holds";
        QTest::newRow("no change of power")
            << made(Plant, 120, 3600, 0.1, 0, 30, 30) << "The power did not change";
    }
    void refusesWithTheReason() {
        QFETCH(StepResponse, response);
        QFETCH(QString, why);
        const auto fit = fitStepResponse(response);
        QVERIFY(!fit.ok());
        QVERIFY2(reason(fit).startsWith(why), qPrintable(reason(fit)));
    }

    // The unit's values for the simulator's plant: the gains fit its 16 bits, the derivative is
    // taken over a quarter of the dead time, and a PI rule sends no derivative gain.
    void unitValuesOfTheRules() {
        const auto simc = unitValues(tuningRules()[0].terms(Plant), Plant);
        QCOMPARE(simc.proportionalGain, QStringLiteral("62.50"));
        QCOMPARE(simc.integralGain, QStringLiteral("0.13"));
        QCOMPARE(simc.derivativeGain, QStringLiteral("0.00"));
        QCOMPARE(simc.derivativeTime, QStringLiteral("15"));
        QCOMPARE(simc.integralLimit, QStringLiteral("100"));
        for (const TuningRule& rule : tuningRules()) {
            QVERIFY(!rule.reference.isEmpty());
            const auto commands =
                tempcomp::heaterLoopCommands(unitValues(rule.terms(Plant), Plant));
            for (const auto& c : commands)
                QVERIFY2(c.has_value(), qPrintable(rule.name));
        }
        // A plant fitted with no dead time still gets bounded gains.
        const FirstOrderModel quick{50, 0.08, 600, 0};
        for (const TuningRule& rule : tuningRules())
            QVERIFY(std::isfinite(rule.terms(quick).gain));
    }
};

QTEST_GUILESS_MAIN(HeaterFitTest)
#include "test_heater_fit.moc"
