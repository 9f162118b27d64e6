// The two windows over their logic: controls found by name drive the logic and show what it
// holds. With MIVEL_SCREENSHOT_DIR set, the windows are also saved as pictures there.

#include "TempCompRig.h"

#include "records/RecordList.h"
#include "tempcomp/ui/CalibrationWindowView.h"
#include "tempcomp/ui/LearnCoefficientView.h"
#include "tempcomp/ui/TempCompDialogView.h"
#include "tempcomp/ui/TempCompWindows.h"

#include <QChartView>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLegendMarker>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QTest>
#include <QTimer>

using namespace mivel;
using namespace mivel::tempcomp;
using mivel::test::TempCompRig;

namespace {

template <class T> T* child(const QObject& parent, const char* name) {
    T* found = parent.findChild<T*>(QLatin1String(name));
    if (!found)
        qFatal("no control %s", name);
    return found;
}

// The legend's entries as shown.
QStringList legend(const QChartView& view) {
    QStringList labels;
    for (QLegendMarker* marker : view.chart()->legend()->markers())
        if (marker->isVisible())
            labels << marker->label();
    return labels;
}

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
    void compensationDialogDrivesItsLogic() {
        TempCompRig rig;
        rig.reply(":sl1 1000 :of1 -4000000 :tcc 25 :tcm 4 :tc 2 ");
        rig.tempComp().mode = 2;
        TempCompDialogView view(*rig.ctx);
        view.show();
        rig.sent();
        QVERIFY(child<QRadioButton>(view, "optTempComp_2")->isChecked());
        auto* coefficient = child<QDoubleSpinBox>(view, "UpDown2");
        auto* shown = child<QLabel>(view, "lblTCCoef");
        QCOMPARE(coefficient->value(), 2.5);
        QCOMPARE(shown->text(), QStringLiteral("2.5"));
        QCOMPARE(child<QSpinBox>(view, "UpDown1")->value(), 4);

        // Typed key by key, the coefficient keeps every key: the field is not rewritten under
        // the user's fingers.
        coefficient->setFocus();
        coefficient->selectAll();
        QTest::keyClicks(coefficient, QStringLiteral("12.3"));
        QCOMPARE(coefficient->text(), QStringLiteral("12.3"));
        QCOMPARE(view.logic().coefficientTenths(), 123);
        QTest::keyClick(coefficient, Qt::Key_Backspace);
        QTest::keyClick(coefficient, Qt::Key_Backspace);
        QCOMPARE(coefficient->text(), QStringLiteral("12"));
        QTest::keyClicks(coefficient, QStringLiteral(".7"));
        QCOMPARE(view.logic().coefficientTenths(), 127);

        coefficient->setValue(1.8);
        QCOMPARE(view.logic().coefficientTenths(), 18);
        child<QRadioButton>(view, "optC")->setChecked(true);
        QCOMPARE(shown->text(), QStringLiteral("1.00"));
        child<QRadioButton>(view, "optTempComp_1")->setChecked(true);
        saveScreenshot(view, "tempcomp.png");

        rig.prompt->answers = {Prompt::Answer::Cancel};
        child<QPushButton>(view, "cmdOK")->click();
        QVERIFY(view.isVisible()); // the user chose to stay
        child<QPushButton>(view, "cmdOK")->click();
        QVERIFY(!view.isVisible());
        QCOMPARE(rig.sent(), QByteArray(" =18  F4 "));
        QCOMPARE(rig.tempComp().mode, 1);
    }

    void coefficientLearnedFromStoredPositions() {
        TempCompRig rig;
        rig.reply(":sl1 1000 :of1 -4000000 :tcc 25 :tcm 4 :tc 0 ");
        records::RecordList focus(records::RecordKind::Focus, rig.dir.path());
        const double temps[] = {28.5, 33, 36.5, 41, 44, 49.5};
        const int scatter[] = {4, -6, 3, 5, -4, -2};
        for (int i = 0; i < 6; ++i)
            QVERIFY(!focus.save(i + 1,
                                {QStringLiteral("Night %1").arg(i + 1),
                                 qint32(12000 - 9.5 * temps[i] + scatter[i]), float(temps[i])},
                                true));
        TempCompDialogView view(*rig.ctx, nullptr, &focus);
        view.show();
        rig.sent();
        // The learner is modal over the dialog: it is worked while it runs.
        // What it shows is read while it runs, and checked once it has closed.
        QStringList shown;
        QTimer::singleShot(0, &view, [&] {
            auto* learner = view.findChild<LearnCoefficientView*>();
            if (!learner)
                return;
            for (const char* name : {"lblPoints", "lblSlope", "lblR2"})
                shown << child<QLabel>(*learner, name)->text();
            shown << legend(*child<QChartView>(*learner, "chartLearn"));
            saveScreenshot(*learner, "learn-coefficient.png");
            child<QPushButton>(*learner, "cmdUse")->click();
        });
        child<QPushButton>(view, "cmdLearn")->click();
        QCOMPARE(shown, (QStringList{"6", "-9.66", "0.9964", "Points", "Fitted line, R² 0.996"}));
        // The slope is in the coefficient control; nothing goes to the unit before OK.
        QCOMPARE(view.logic().coefficientTenths(), -97);
        QCOMPARE(child<QDoubleSpinBox>(view, "UpDown2")->value(), -9.7);
        QVERIFY(view.logic().changed());
        QCOMPARE(rig.sent(), QByteArray());
    }

    void learnerSaysWhyAndReadsDataLogs() {
        TempCompRig rig;
        records::RecordList focus(records::RecordKind::Focus, rig.dir.path());
        QVERIFY(!focus.save(1, {QStringLiteral("Only one"), 100, 40}, true));
        LearnCoefficientView learner(&focus);
        QVERIFY(!child<QPushButton>(learner, "cmdUse")->isEnabled());
        QVERIFY(child<QLabel>(learner, "lblWhy")->text().contains(QStringLiteral("there is one")));

        const QString log = rig.path("night.csv");
        QVERIFY(test::writeAll(log, "\"Time\",\"Ambient \",\"Secondary \",\"Focus Position\"\r\n"
                                    "\"21:00:00\",50,55,12000\r\n"
                                    "\"22:00:00\",46,52,12040\r\n"
                                    "\"23:00:00\",42,50,12080\r\n"));
        learner.useDataLog(log);
        QCOMPARE(child<QComboBox>(learner, "cboTemperature")->count(), 2);
        QCOMPARE(child<QLabel>(learner, "lblSlope")->text(), QStringLiteral("-10.00"));
        QVERIFY(child<QPushButton>(learner, "cmdUse")->isEnabled());
        child<QComboBox>(learner, "cboTemperature")->setCurrentText(QStringLiteral("Secondary"));
        QCOMPARE(child<QLabel>(learner, "lblPoints")->text(), QStringLiteral("3"));
        QCOMPARE(child<QLabel>(learner, "lblSlope")->text(), QStringLiteral("-15.79"));
    }

    void calibrationWindowShowsEditsRecordsAndFits() {
        TempCompRig rig;
        auto* view = new CalibrationWindowView(*rig.ctx);
        QPointer<CalibrationWindowView> guard(view);
        view->show();
        rig.reply(":p 30 :v 131072 :ifo 255 :ifa 0 :ifs 20 :ac 1 ");
        auto* kp = child<QLineEdit>(*view, "txtKP");
        QCOMPARE(kp->text(), QStringLiteral("30"));
        QCOMPARE(child<QLineEdit>(*view, "txtVelocity")->text(), QStringLiteral("2.0000"));
        QVERIFY(child<QRadioButton>(*view, "optIntFan_1")->isChecked());
        QCOMPARE(child<QSpinBox>(*view, "udIntFanSet")->value(), 20);
        QVERIFY(child<QCheckBox>(*view, "chkAutoCurrent")->isChecked());
        auto* upload = child<QPushButton>(*view, "cmdUploadMivel");
        QVERIFY(!upload->isEnabled());

        kp->setText(QStringLiteral("thirty"));
        emit kp->editingFinished();
        QCOMPARE(rig.lastShown().text, QStringLiteral("Invalid proportional gain."));
        QCOMPARE(kp->text(), QStringLiteral("30"));
        child<QSpinBox>(*view, "udIntFanHyst")->setValue(6);
        QCOMPARE(view->logic().value(Param::IntFanHyst), QStringLiteral("6"));
        child<QRadioButton>(*view, "optIntFan_2")->setChecked(true);
        QCOMPARE(view->logic().value(Param::IntFanMode), QStringLiteral("2"));
        QVERIFY(upload->isEnabled());
        child<QTabWidget>(*view, "tabCal")->setCurrentIndex(1);
        saveScreenshot(*view, "calibration-parameters.png");

        child<QCheckBox>(*view, "chkDornaLimit")->setChecked(false);
        QCOMPARE(view->logic().value(Param::AutoReverse), QStringLiteral("0"));

        child<QTabWidget>(*view, "tabCal")->setCurrentIndex(0);
        auto* mark = child<QPushButton>(*view, "cmdCalMark");
        QVERIFY(!mark->isEnabled());
        QCOMPARE(child<QLabel>(*view, "lblRecordNote")->text(),
                 QStringLiteral("Waiting for the sensors' readings."));
        auto* chart = child<QChartView>(*view, "chartCal");
        QCOMPARE(legend(*chart), (QStringList{"Ambient", "Primary", "Secondary"}));
        for (const auto& [readings, degrees] : {std::pair{":t4 3020 :t5 2950 :t6 3105 ", "32.1"},
                                                {":t4 3950 :t5 3890 :t6 4010 ", "50.2"},
                                                {":t4 4890 :t5 4800 :t6 4950 ", "68.3"}}) {
            rig.reply(readings);
            QVERIFY(mark->isEnabled());
            child<QLineEdit>(*view, "txtRefTemp")->setText(QString::fromLatin1(degrees));
            mark->click();
        }
        QCOMPARE(child<QLabel>(*view, "lblPointCount")->text(), QStringLiteral("Points: 3"));
        QCOMPARE(child<QLabel>(*view, "lblReading_0")->text(), QStringLiteral("4890"));
        auto* calUpload = child<QPushButton>(*view, "cmdCalUpload");
        QVERIFY(!calUpload->isEnabled());
        child<QPushButton>(*view, "cmdCalibrate")->click();
        QVERIFY(calUpload->isEnabled());
        QCOMPARE(child<QLabel>(*view, "lblCalScope_0")->text(), view->logic().slopeText(0));
        QCOMPARE(child<QLabel>(*view, "lblR2_2")->text(), view->logic().r2Text(2));
        QCOMPARE(chart->chart()->series().size(), 6);
        const QStringList fitted = legend(*chart);
        QCOMPARE(fitted.size(), 3);
        for (int s = 0; s < 3; ++s)
            QVERIFY2(fitted[s].startsWith(CalibrationWindow::sensorName(s) + ": R² = "),
                     qPrintable(fitted[s]));
        QCOMPARE(child<QLabel>(*view, "lblRecordNote")->text(), QString());
        QCOMPARE(child<QLabel>(*view, "lblUploadNote")->text(), QString());
        saveScreenshot(*view, "calibration.png");

        rig.prompt->answers = {Prompt::Answer::No};
        child<QPushButton>(*view, "cmdClose")->click();
        QCOMPARE(rig.lastShown().buttons, Prompt::Buttons::YesNo);
        QTRY_VERIFY(!guard); // deleted on close
    }

    // What the window refuses it says beside the greyed button: a sensor whose reading never
    // changed, a full table. An upload once started goes on after the window has closed.
    void calibrationWindowExplainsAndFinishesItsUpload() {
        TempCompRig rig;
        auto* view = new CalibrationWindowView(*rig.ctx);
        QPointer<CalibrationWindowView> guard(view);
        view->show();
        auto* mark = child<QPushButton>(*view, "cmdCalMark");
        auto* reference = child<QLineEdit>(*view, "txtRefTemp");
        for (const auto& [readings, degrees] : {std::pair{":t4 3020 :t5 2950 :t6 3105 ", "32.1"},
                                                {":t4 3950 :t5 3890 :t6 3105 ", "50.2"},
                                                {":t4 4890 :t5 4800 :t6 3105 ", "68.3"}}) {
            rig.reply(readings);
            reference->setText(QString::fromLatin1(degrees));
            mark->click();
        }
        child<QPushButton>(*view, "cmdCalibrate")->click();
        auto* upload = child<QPushButton>(*view, "cmdCalUpload");
        QVERIFY(!upload->isEnabled());
        QVERIFY(child<QLabel>(*view, "lblUploadNote")
                    ->text()
                    .startsWith(QStringLiteral("The Secondary sensor's slope is 0: ")));
        auto* chart = child<QChartView>(*view, "chartCal");
        QCOMPARE(legend(*chart).size(), 3);
        QCOMPARE(legend(*chart).back(), QStringLiteral("Secondary: no line"));
        saveScreenshot(*view, "calibration-refused.png");

        child<QPushButton>(*view, "cmdCalClear")->click();
        QCOMPARE(child<QLabel>(*view, "lblUploadNote")->text(), QString());
        QCOMPARE(child<QLabel>(*view, "lblCalScope_0")->text(), QString());
        for (int i = 0; i < PointTable::Capacity; ++i) {
            rig.reply(":t4 " + QByteArray::number(3000 + i) + " :t5 " +
                      QByteArray::number(2950 + 2 * i) + " :t6 " + QByteArray::number(3100 - i) +
                      " ");
            reference->setText(QString::number(32 + i));
            mark->click();
        }
        QVERIFY(!mark->isEnabled());
        QCOMPARE(child<QLabel>(*view, "lblRecordNote")->text(),
                 QStringLiteral("101 points recorded, as many as the table holds.  Clear Points "
                                "to start again."));
        child<QPushButton>(*view, "cmdCalibrate")->click();
        QVERIFY(upload->isEnabled());

        rig.sent();
        upload->click();
        QVERIFY(!upload->isEnabled()); // while it runs
        child<QPushButton>(*view, "cmdClose")->click();
        QTRY_VERIFY(!guard);
        rig.clock.advance(6 * CalibrationWindow::CoefficientPauseMs);
        const QByteArray sent = rig.sent();
        for (const char* letter : {"A", "B", "C", "D", "E", "F"})
            QVERIFY2(sent.contains(letter), sent.constData());
    }

    void entryFunctionsForTheConsole() {
        TempCompRig rig;
        rig.reply(":sl1 1000 :tcc 25 :tcm 4 :tc 2 ");
        rig.sent();
        // The modal dialog is closed with Cancel as soon as it shows.
        QTimer::singleShot(0, this, [] {
            QWidget* modal = QApplication::activeModalWidget();
            QVERIFY(modal);
            child<QPushButton>(*modal, "cmdCancel")->click();
        });
        const TempCompButtons buttons = openTempCompDialog(*rig.ctx, nullptr);
        QCOMPARE(rig.sent(), QByteArray(" :V  l  +2 "));
        QCOMPARE(buttons.caption, QStringLiteral("Temperature Compensation = MAN"));
        QVERIFY(buttons.synchEnabled);

        QWidget* window = openCalibrationWindow(*rig.ctx, nullptr);
        QPointer<QWidget> guard(window);
        QCOMPARE(openCalibrationWindow(*rig.ctx, nullptr), window); // one at a time
        window->close();
        QTRY_VERIFY(!guard);
    }
};

QTEST_MAIN(TempCompUiTest)
#include "test_tempcomp_ui.moc"
