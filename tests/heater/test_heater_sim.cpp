// The heater tuning wizard against the simulated unit: it recovers the unit's heater plant, the
// gains it derives hold a set point, and a recording cut short puts the heater back.

#include "HeaterRig.h"

#include "heater/SecHeaterWizard.h"

#include <QTest>

#include <algorithm>
#include <cmath>

using namespace mivel;
using namespace mivel::heater;
using namespace mivel::test;
using sim::Sensor;

namespace {

using Page = SecHeaterWizard::Page;

QString describe(const Result<ModelFit>& fit) {
    return fit.ok() ? QString() : fit.error().description;
}

double relativeError(double found, double truth) {
    return std::abs(found - truth) / truth;
}

// Walks the wizard to its recording page and starts the default step.
void startRecording(SecHeaterWizard& w) {
    w.next();
    w.next();
    QCOMPARE(w.page(), Page::Recording);
}

// Holds the set point in automatic mode for two hours and returns the largest distance from
// it over the last half hour, degrees F.
double holdSetPoint(HeaterRig& h, const QByteArray& setPoint, double offset) {
    h.unit->receive("w1 " + setPoint);
    double worst = 0;
    for (int s = 0; s < 2 * 3600; s += 10) {
        h.rig.clock.advance(10000);
        if (s >= 90 * 60)
            worst = std::max(worst, std::abs(h.unit->temperature(Sensor::Secondary) -
                                             h.unit->temperature(Sensor::Ambient) - offset));
    }
    return worst;
}

} // namespace

class HeaterSimTest : public QObject {
    Q_OBJECT
private slots:
    // Record, fit, derive, upload: the fit finds the simulator's own plant, and every rule's
    // gains then hold a set point without sustained oscillation.
    void tunesTheSimulatedHeater() {
        HeaterRig h;
        const sim::HeaterPlant truth = h.unit->heaterPlant();
        SecHeaterWizard w(*h.rig.ctx);
        startRecording(w);
        QCOMPARE(h.heard(), QByteArray(" s0 ")); // the start power
        h.run(w.plan().settleSeconds);
        QCOMPARE(h.heard(), QByteArray(" s50 ")); // the step
        QVERIFY(!w.canGoNext());
        h.run(w.plan().recordSeconds + 1);
        QCOMPARE(w.recorder().phase(), StepRecorder::Phase::Done);
        QCOMPARE(h.heard(), QByteArray(" s0 ")); // put back as it was
        QCOMPARE(h.unit->heaterPower(), 0);

        w.next();
        QCOMPARE(w.page(), Page::Fit);
        QVERIFY2(w.fit()->ok(), qPrintable(describe(*w.fit())));
        const FirstOrderModel& m = w.fit()->value().model;
        qInfo("fitted K %.5f tau %.1f theta %.2f residual %.3f (true %.5f %.1f %.2f)", m.gain,
              m.timeConstant, m.deadTime, w.fit()->value().residual, truth.gain, truth.timeConstant,
              truth.deadTime);
        QVERIFY2(relativeError(m.gain, truth.gain) < 0.03, qPrintable(QString::number(m.gain)));
        QVERIFY2(relativeError(m.timeConstant, truth.timeConstant) < 0.03,
                 qPrintable(QString::number(m.timeConstant)));
        QVERIFY2(relativeError(m.deadTime, truth.deadTime) < 0.05,
                 qPrintable(QString::number(m.deadTime)));
        QVERIFY(w.fit()->value().residual < 2 * truth.noise);

        w.next();
        QCOMPARE(w.page(), Page::Tuning);
        const QByteArray setPoints[] = {" P3 ", " P1 ", " P4 "};
        for (int rule = 0; rule < int(tuningRules().size()); ++rule) {
            w.chooseRule(rule);
            if (w.page() == Page::Tuning)
                w.next();
            QCOMPARE(w.page(), Page::Upload);
            h.heard();
            w.upload();
            QCOMPARE(h.rig.prompt->shown.back().text,
                     QStringLiteral("Coefficients uploaded to Mivel."));
            QByteArray expected;
            for (const auto& c : w.commands())
                expected += *c; // every value fits the unit
            QCOMPARE(h.heard(), expected);
            QCOMPARE(h.unit->parameter(":skp").toDouble() / 100,
                     w.values().proportionalGain.toDouble());

            const QByteArray& setPoint = setPoints[rule];
            const double offset = setPoint.trimmed().mid(1).toDouble();
            const double worst = holdSetPoint(h, setPoint, offset);
            QVERIFY2(worst < 0.05, qPrintable(w.rule().name + ": " + QString::number(worst)));
            w.back();
        }
    }

    // The unit falls silent half way: the recording stops, the heater is put back, the observer
    // is told, and the short recording is fitted only when the observer says so.
    void unitFallsSilent() {
        HeaterRig h;
        h.unit->receive("w1 ");
        SecHeaterWizard w(*h.rig.ctx);
        startRecording(w);
        h.run(600);
        h.unit->setSilent(true);
        h.run(StepRecorder::SilenceMs / 1000 + 1);
        QCOMPARE(w.recorder().phase(), StepRecorder::Phase::Stopped);
        QVERIFY(h.heard().endsWith("w1 "));
        QCOMPARE(h.unit->heaterMode(), 1);
        const QString told = h.rig.prompt->shown.back().text;
        QVERIFY2(told.contains("stopped answering") && told.contains("automatic mode 1"),
                 qPrintable(told));

        QVERIFY(w.recorder().shortened());
        w.next();
        QCOMPARE(w.page(), Page::Fit);
        QVERIFY(!w.fit());
        QVERIFY(!w.canGoNext());
        w.setUseShortened(true);
        QVERIFY(w.fit());
        QVERIFY(w.fit()->error().description.startsWith("The response has not yet settled"));
        QVERIFY(!w.canGoNext());
        QVERIFY(!h.heard().contains('L'));
    }

    // The port closes: the heater cannot be put back until it opens again, and then it is.
    void portCloses() {
        HeaterRig h;
        h.unit->receive(" s20 ");
        SecHeaterWizard w(*h.rig.ctx);
        startRecording(w);
        h.run(200);
        QCOMPARE(h.unit->heaterPower(), 50);
        h.rig.ctx->hub().serial()->setConnected(false);
        TestRig::settle();
        QCOMPARE(w.recorder().phase(), StepRecorder::Phase::Stopped);
        QVERIFY(h.rig.prompt->shown.back().text.contains("port closed"));
        QVERIFY(h.rig.prompt->shown.back().text.contains("when the port opens again"));
        QCOMPARE(h.unit->heaterPower(), 50);
        h.heard();
        h.rig.ctx->hub().serial()->setConnected(true);
        QCOMPARE(h.heard(), QByteArray(" s20 "));
        QCOMPARE(h.unit->heaterPower(), 20);
        h.rig.ctx->hub().serial()->setConnected(false);
        h.rig.ctx->hub().serial()->setConnected(true);
        QCOMPARE(h.heard(), QByteArray()); // once
    }

    // Closing the wizard while it records asks first; stopping puts the heater back.
    void closingWhileRecording() {
        HeaterRig h;
        h.unit->receive(" s10 ");
        h.heard();
        auto w = std::make_unique<SecHeaterWizard>(*h.rig.ctx);
        startRecording(*w);
        h.run(30);
        h.rig.prompt->answers = {Prompt::Answer::No};
        QVERIFY(!w->close());
        QVERIFY(w->recorder().running());
        h.rig.prompt->answers = {Prompt::Answer::Yes};
        QVERIFY(w->close());
        QCOMPARE(h.rig.prompt->shown.back().text,
                 QStringLiteral("The heater is back on manual power at 10 %."));
        w.reset();
        QCOMPARE(h.heard(), QByteArray(" s0  s10 "));
        QCOMPARE(h.unit->heaterPower(), 10);

        // Dropped without asking (the program ends): the heater still goes back.
        w = std::make_unique<SecHeaterWizard>(*h.rig.ctx);
        startRecording(*w);
        h.run(130);
        w.reset();
        QVERIFY(h.heard().endsWith(" s10 "));
    }
};

QTEST_GUILESS_MAIN(HeaterSimTest)
#include "test_heater_sim.moc"
