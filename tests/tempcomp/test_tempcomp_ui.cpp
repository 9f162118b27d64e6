// The two windows over their logic: controls found by name drive the logic and show what it
// holds. With MIVEL_SCREENSHOT_DIR set, the windows are also saved as pictures there.

#include "Rig.h"

#include "tempcomp/ui/CalibrationWindowView.h"
#include "tempcomp/ui/TempCompDialogView.h"
#include "tempcomp/ui/TempCompWindows.h"

#include <QChartView>
#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QTest>
#include <QTimer>

using namespace mivel;
using namespace mivel::tempcomp;
using mivel::test::Rig;

namespace {

void saveScreenshot(QWidget& window, const char* name) {
    const QByteArray dir = qgetenv("MIVEL_SCREENSHOT_DIR");
    if (dir.isEmpty())
        return;
    window.adjustSize();
    QTest::qWait(50); // one paint, for the picture only
    QVERIFY(
        window.grab().save(QString::fromLocal8Bit(dir) + QLatin1Char('/') + QLatin1String(name)));
}

} // namespace

class TempCompUiTest : public QObject {
    Q_OBJECT
private slots:
    void compensationDialogDrivesItsLogic();
    void calibrationWindowShowsAndEditsParameters();
    void calibrationWindowRecordsAndFits();
    void entryFunctionsForTheConsole();
};

void TempCompUiTest::compensationDialogDrivesItsLogic() {
    Rig rig;
    rig.reply(":sl1 1000 :of1 -4000000 :tcc 25 :tcm 4 :tc 2 ");
    rig.tempComp().mode = 2;
    TempCompDialogView view(rig.ctx);
    view.show();
    rig.sent();
    QCOMPARE(view.windowTitle(), QStringLiteral("Temperature Compensation"));
    QVERIFY(view.findChild<QRadioButton*>(QStringLiteral("optTempComp_2"))->isChecked());
    auto* coefficient = view.findChild<QDoubleSpinBox*>(QStringLiteral("UpDown2"));
    auto* shown = view.findChild<QLabel*>(QStringLiteral("lblTCCoef"));
    QCOMPARE(coefficient->value(), 2.5);
    QCOMPARE(shown->text(), QStringLiteral("2.5"));
    QCOMPARE(view.findChild<QSpinBox*>(QStringLiteral("UpDown1"))->value(), 4);
    QVERIFY(!view.logic().changed());

    coefficient->setValue(1.8);
    QCOMPARE(view.logic().coefficientTenths(), 18);
    view.findChild<QRadioButton*>(QStringLiteral("optC"))->setChecked(true);
    QCOMPARE(shown->text(), QStringLiteral("1.00"));
    view.findChild<QRadioButton*>(QStringLiteral("optTempComp_1"))->setChecked(true);
    saveScreenshot(view, "tempcomp.png");

    rig.prompt->answers = {Prompt::Answer::Cancel};
    view.findChild<QPushButton*>(QStringLiteral("cmdOK"))->click();
    QVERIFY(view.isVisible()); // the user chose to stay
    view.findChild<QPushButton*>(QStringLiteral("cmdOK"))->click();
    QVERIFY(!view.isVisible());
    QCOMPARE(rig.sent(), QByteArray(" =18  F4 "));
    QCOMPARE(rig.tempComp().mode, 1);
}

void TempCompUiTest::calibrationWindowShowsAndEditsParameters() {
    Rig rig;
    auto* view = new CalibrationWindowView(rig.ctx);
    QPointer<CalibrationWindowView> guard(view);
    view->show();
    rig.reply(":p 30 :v 131072 :ifo 255 :ifa 0 :ifs 20 :ac 1 :skp 150 :sl2 1300 ");
    auto* kp = view->findChild<QLineEdit*>(QStringLiteral("txtKP"));
    QCOMPARE(kp->text(), QStringLiteral("30"));
    QCOMPARE(view->findChild<QLineEdit*>(QStringLiteral("txtVelocity"))->text(),
             QStringLiteral("2.0000"));
    QCOMPARE(view->findChild<QLineEdit*>(QStringLiteral("txtPrimSlope"))->text(),
             QStringLiteral("0.01300"));
    QVERIFY(view->findChild<QRadioButton*>(QStringLiteral("optIntFan_1"))->isChecked());
    QCOMPARE(view->findChild<QSpinBox*>(QStringLiteral("udIntFanSet"))->value(), 20);
    QVERIFY(view->findChild<QCheckBox*>(QStringLiteral("chkAutoCurrent"))->isChecked());
    auto* upload = view->findChild<QPushButton*>(QStringLiteral("cmdUploadMivel"));
    QVERIFY(!upload->isEnabled());
    QVERIFY(!view->logic().changed());

    kp->setText(QStringLiteral("thirty"));
    emit kp->editingFinished();
    QCOMPARE(rig.prompt->shown.back().text, QStringLiteral("Invalid proportional gain."));
    QCOMPARE(kp->text(), QStringLiteral("30"));
    kp->setText(QStringLiteral("32"));
    emit kp->editingFinished();
    QCOMPARE(view->logic().value(Param::Kp), QStringLiteral("32"));
    view->findChild<QSpinBox*>(QStringLiteral("udIntFanHyst"))->setValue(6);
    QCOMPARE(view->logic().value(Param::IntFanHyst), QStringLiteral("6"));
    view->findChild<QRadioButton*>(QStringLiteral("optIntFan_2"))->setChecked(true);
    QCOMPARE(view->logic().value(Param::IntFanMode), QStringLiteral("2"));
    QVERIFY(upload->isEnabled());
    view->findChild<QTabWidget*>(QStringLiteral("tabCal"))->setCurrentIndex(1);
    saveScreenshot(*view, "calibration-parameters.png");

    rig.sent();
    rig.prompt->answers = {Prompt::Answer::No};
    view->findChild<QPushButton*>(QStringLiteral("cmdClose"))->click();
    QCOMPARE(rig.prompt->shown.back().buttons, Prompt::Buttons::YesNo);
    QTRY_VERIFY(!guard); // deleted on close
}

void TempCompUiTest::calibrationWindowRecordsAndFits() {
    Rig rig;
    CalibrationWindowView view(rig.ctx);
    view.setAttribute(Qt::WA_DeleteOnClose, false);
    view.show();
    auto* mark = view.findChild<QPushButton*>(QStringLiteral("cmdCalMark"));
    auto* reference = view.findChild<QLineEdit*>(QStringLiteral("txtRefTemp"));
    QVERIFY(!mark->isEnabled());
    const struct {
        const char* readings;
        const char* reference;
    } points[] = {{":t4 3020 :t5 2950 :t6 3105 ", "32.1"},
                  {":t4 3480 :t5 3390 :t6 3570 ", "41.0"},
                  {":t4 3950 :t5 3890 :t6 4010 ", "50.2"},
                  {":t4 4420 :t5 4330 :t6 4490 ", "58.8"},
                  {":t4 4890 :t5 4800 :t6 4950 ", "68.3"}};
    for (const auto& p : points) {
        rig.reply(p.readings);
        QVERIFY(mark->isEnabled());
        reference->setText(QString::fromLatin1(p.reference));
        mark->click();
    }
    QCOMPARE(view.logic().points().count(), 5);
    QCOMPARE(view.findChild<QLabel*>(QStringLiteral("lblPointCount"))->text(),
             QStringLiteral("Points: 5"));
    QCOMPARE(view.findChild<QLabel*>(QStringLiteral("lblReading_0"))->text(),
             QStringLiteral("4890"));
    auto* calUpload = view.findChild<QPushButton*>(QStringLiteral("cmdCalUpload"));
    QVERIFY(!calUpload->isEnabled());
    view.findChild<QPushButton*>(QStringLiteral("cmdCalibrate"))->click();
    QVERIFY(calUpload->isEnabled());
    QCOMPARE(view.findChild<QLabel*>(QStringLiteral("lblCalScope_0"))->text(),
             view.logic().slopeText(0));
    QCOMPARE(view.findChild<QLabel*>(QStringLiteral("lblR2_2"))->text(), view.logic().r2Text(2));
    auto* chart = view.findChild<QChartView*>(QStringLiteral("chartCal"));
    QVERIFY(chart);
    QCOMPARE(chart->chart()->series().size(), 6);
    saveScreenshot(view, "calibration.png");
    view.close();
}

void TempCompUiTest::entryFunctionsForTheConsole() {
    Rig rig;
    rig.reply(":sl1 1000 :tcc 25 :tcm 4 :tc 2 ");
    rig.sent();
    // The modal dialog is closed with Cancel as soon as it shows.
    QTimer::singleShot(0, this, [] {
        QWidget* modal = QApplication::activeModalWidget();
        QVERIFY(modal);
        modal->findChild<QPushButton*>(QStringLiteral("cmdCancel"))->click();
    });
    const TempCompButtons buttons = openTempCompDialog(rig.ctx, nullptr);
    QCOMPARE(rig.sent(), QByteArray(" :V  l  +2 "));
    QCOMPARE(buttons.caption, QStringLiteral("Temperature Compensation = MAN"));
    QVERIFY(buttons.synchEnabled);

    QWidget* window = openCalibrationWindow(rig.ctx, nullptr);
    QPointer<QWidget> guard(window);
    QCOMPARE(openCalibrationWindow(rig.ctx, nullptr), window); // one at a time
    QVERIFY(window->isVisible());
    window->close();
    QTRY_VERIFY(!guard);
}

QTEST_MAIN(TempCompUiTest)
#include "test_tempcomp_ui.moc"
