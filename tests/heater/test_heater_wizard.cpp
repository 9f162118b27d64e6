// The wizard's pages and its exchanges with a unit that answers in part or not at all: what it
// sends, what it puts back, and the upload of the heater-loop values.

#include "support/TestRig.h"

#include "heater/SecHeaterWizard.h"

#include <QTest>

using namespace mivel;
using namespace mivel::heater;
using namespace mivel::test;

namespace {

using Page = SecHeaterWizard::Page;

struct Rig : AppRig {
    Connector console{ctx->hub()};
    explicit Rig(std::function<QByteArray(const QByteArray&)> answer = {}) {
        ctx->hub().serial()->setConnected(true);
        device->respond = std::move(answer);
        sent();
    }
    void run(qint64 seconds) {
        for (qint64 s = 0; s < seconds; ++s) {
            clock.advance(1000);
            settle();
        }
    }
};

} // namespace

class HeaterWizardTest : public QObject {
    Q_OBJECT
private slots:
    void pagesAndThePlan() {
        Rig rig;
        SecHeaterWizard w(*rig.ctx);
        QCOMPARE(w.page(), Page::Intro);
        QVERIFY(!w.canGoBack());
        w.next();
        QCOMPARE(w.page(), Page::Step);
        QCOMPARE(w.plan().startPower, 0);
        QCOMPARE(w.plan().endPower, 50);
        auto plan = w.plan();
        plan.endPower = 0;
        w.setPlan(plan);
        QVERIFY(!w.canGoNext()); // no step
        plan.endPower = 101;
        w.setPlan(plan);
        QVERIFY(!w.canGoNext());
        plan.endPower = 60;
        w.setPlan(plan);
        QVERIFY(w.canGoNext());

        // With the port closed nothing starts, and the observer is told why.
        rig.ctx->hub().serial()->setConnected(false);
        w.next();
        QCOMPARE(w.page(), Page::Step);
        QCOMPARE(rig.prompt->shown.back().text,
                 QStringLiteral("Error:  The communications port is not open."));
        QCOMPARE(rig.prompt->shown.back().title, QStringLiteral("Vark"));
    }

    // A unit that reports the temperature but not its heater: put back as off.
    void heaterStateUnknownMeansOff() {
        Rig rig([](const QByteArray& command) {
            return command.trimmed() == "T" ? QByteArray(":t3 5210 ") : QByteArray();
        });
        SecHeaterWizard w(*rig.ctx);
        w.next();
        w.next();
        QCOMPARE(rig.sent(), QByteArray(" T "));
        rig.run(StepRecorder::AnswerWaitMs / 1000);
        QCOMPARE(w.recorder().phase(), StepRecorder::Phase::Settling);
        QVERIFY(rig.sent().endsWith(" s0 "));
        rig.run(5);
        QCOMPARE(w.recorder().response().readings.back().degreesF, 52.1);
        rig.sent();
        w.abortRecording();
        QCOMPARE(w.page(), Page::Step);
        QCOMPARE(rig.sent(), QByteArray(" s0 "));
        QCOMPARE(w.recorder().restoreNote(),
                 QStringLiteral("What the heater did before the recording is not known, so it "
                                "has been turned off."));
        rig.settle();
        QVERIFY(rig.prompt->shown.empty()); // the observer's own abort needs no message
    }

    // A unit that says nothing: nothing is changed.
    void unitNeverAnswers() {
        Rig rig;
        SecHeaterWizard w(*rig.ctx);
        w.next();
        w.next();
        rig.run(StepRecorder::AnswerWaitMs / 1000 + 1);
        QCOMPARE(w.recorder().phase(), StepRecorder::Phase::Stopped);
        QCOMPARE(rig.sent().replace(" T ", ""), QByteArray());
        QVERIFY(!w.recorder().shortened());
        QVERIFY(!w.canGoNext());
        QVERIFY(rig.prompt->shown.back().text.startsWith("The unit did not answer"));
    }

    // The five commands in the unit's order; a value that cannot go is left out alone, and the
    // message comes in any case.
    void uploadSkipsWhatCannotGo() {
        Rig rig;
        SecHeaterWizard w(*rig.ctx);
        w.setValues({QStringLiteral("62.5"), QStringLiteral("400"), QStringLiteral(" 15 "),
                     QStringLiteral("abc"), QStringLiteral("100")});
        w.upload();
        QCOMPARE(rig.sent(), QByteArray("L6250 ?15 ~100 "));
        QCOMPARE(rig.prompt->shown.back().text, QStringLiteral("Coefficients uploaded to Mivel."));
        QCOMPARE(rig.prompt->shown.back().title, QStringLiteral("Mivel"));
        QCOMPARE(rig.prompt->shown.back().icon, Prompt::Icon::Information);
        QVERIFY(w.uploaded());

        rig.ctx->hub().serial()->setConnected(false);
        w.upload();
        QCOMPARE(rig.prompt->shown.back().text,
                 QStringLiteral("Error:  The communications port is not open."));
    }
};

QTEST_GUILESS_MAIN(HeaterWizardTest)
#include "test_heater_wizard.moc"
