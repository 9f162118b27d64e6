// The wizard's window on the simulated unit, page by page: what each page shows and the
// controls that drive it. With MIVEL_SCREENSHOT_DIR set, every page is saved as a picture.

#include "HeaterRig.h"

#include "heater/ui/SecHeaterWizardView.h"

#include <QChart>
#include <QChartView>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QLineSeries>
#include <QPushButton>
#include <QSpinBox>
#include <QTest>

using namespace mivel;
using namespace mivel::heater;
using namespace mivel::test;

namespace {

void saveScreenshot(QWidget& window, const char* name) {
    const QByteArray dir = qgetenv("MIVEL_SCREENSHOT_DIR");
    if (dir.isEmpty())
        return;
    QTest::qWait(50); // one paint, for the picture only
    QVERIFY(
        window.grab().save(QString::fromLocal8Bit(dir) + QLatin1Char('/') + QLatin1String(name)));
}

template <class W> W* find(QWidget& view, const char* name) {
    auto* w = view.findChild<W*>(QLatin1String(name));
    if (!w)
        qFatal("no widget %s", name);
    return w;
}

QString text(QWidget& view, const char* label) {
    return find<QLabel>(view, label)->text();
}

int points(QWidget& view, const char* chart, int series) {
    const auto list = find<QChartView>(view, chart)->chart()->series();
    return int(static_cast<QLineSeries*>(list[series])->count());
}

} // namespace

class HeaterUiTest : public QObject {
    Q_OBJECT
private slots:
    void everyPage() {
        HeaterRig h;
        SecHeaterWizardView view(*h.rig.ctx);
        view.resize(680, 640);
        view.show();
        auto* next = find<QPushButton>(view, "cmdNext");
        QVERIFY(text(view, "lblWarning").contains("free to warm"));
        saveScreenshot(view, "heater-wizard-intro.png");

        next->click();
        QCOMPARE(find<QSpinBox>(view, "udEndPower")->value(), 50);
        find<QSpinBox>(view, "udRecord")->setValue(40);
        QCOMPARE(text(view, "lblExpected"), QStringLiteral("The recording takes 42 minutes."));
        find<QSpinBox>(view, "udEndPower")->setValue(0);
        QVERIFY(!next->isEnabled());
        find<QSpinBox>(view, "udEndPower")->setValue(50);
        saveScreenshot(view, "heater-wizard-step.png");

        next->click();
        view.hide(); // the minutes of recording need no painting
        h.run(15 * 60);
        view.show();
        QVERIFY(points(view, "chartRecording", 0) > 800);
        QVERIFY2(text(view, "lblElapsed").endsWith(" of 42:00 minutes"),
                 qPrintable(text(view, "lblElapsed")));
        QVERIFY(find<QPushButton>(view, "cmdAbort")->isEnabled());
        QVERIFY(!next->isEnabled());
        saveScreenshot(view, "heater-wizard-recording.png");

        view.hide();
        h.run(27 * 60 + 1);
        view.show();
        QVERIFY(text(view, "lblRecordState").startsWith("The recording is complete."));
        next->click();
        QVERIFY2(text(view, "lblFit").startsWith("Gain K = 0.07"),
                 qPrintable(text(view, "lblFit")));
        QVERIFY(points(view, "chartFit", 2) > 100); // the model over the readings
        QVERIFY(!find<QCheckBox>(view, "chkUseShortened")->isVisible());
        saveScreenshot(view, "heater-wizard-fit.png");

        next->click();
        find<QComboBox>(view, "cboRule")->setCurrentIndex(1);
        QVERIFY(text(view, "lblRule").contains("Åström"));
        QVERIFY(find<QLineEdit>(view, "txtSKd")->text().toDouble() > 0);
        saveScreenshot(view, "heater-wizard-pid.png");
        auto* integralLimit = find<QLineEdit>(view, "txtSecKi");
        integralLimit->clear();
        QTest::keyClicks(integralLimit, "80");
        QCOMPARE(view.logic().values().integralLimit, QStringLiteral("80"));

        next->click();
        QVERIFY(text(view, "lblUpload").contains("~80"));
        h.heard();
        find<QPushButton>(view, "cmdUpload")->click();
        QVERIFY(h.heard().endsWith("~80 "));
        QCOMPARE(text(view, "lblUploaded"), QStringLiteral("Coefficients uploaded to Mivel."));
        saveScreenshot(view, "heater-wizard-upload.png");
    }

    // A recording ended early: the fit waits for the observer's word, then says why it refuses.
    void shortenedRecording() {
        HeaterRig h;
        SecHeaterWizardView view(*h.rig.ctx);
        view.resize(680, 640);
        view.show();
        view.logic().next();
        view.logic().next();
        view.hide();
        h.run(12 * 60);
        view.show();
        find<QPushButton>(view, "cmdFinish")->click();
        view.logic().next();
        auto* use = find<QCheckBox>(view, "chkUseShortened");
        QVERIFY(use->isVisible());
        QVERIFY(text(view, "lblFit").startsWith("The recording was cut short"));
        use->click();
        QVERIFY(text(view, "lblFit").contains("has not yet settled"));
        QVERIFY(!find<QPushButton>(view, "cmdNext")->isEnabled());
        saveScreenshot(view, "heater-wizard-fit-refused.png");
    }
};

QTEST_MAIN(HeaterUiTest)
#include "test_heater_ui.moc"
