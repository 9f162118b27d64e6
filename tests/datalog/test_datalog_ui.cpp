// The setup window of the data log, the temperature graph and the console's entries for them,
// driven through their controls (found by object name). With MIVEL_SCREENSHOT_DIR set, the
// windows are also saved there as pictures.

#include "DataLogRig.h"

#include "console/ui/ConsoleApp.h"
#include "console/ui/MainWindow.h"
#include "datalog/ui/GraphWindow.h"
#include "datalog/ui/LogDialog.h"

#include "app/CheckRegistry.h"

#include <QAction>
#include <QApplication>
#include <QChart>
#include <QChartView>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QLineSeries>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>
#include <QTimer>
#include <QValueAxis>

#include <cmath>

using namespace mivel;
using namespace mivel::datalog;
using mivel::test::DataLogRig;

namespace {

template <class T> T* child(const QObject& parent, const char* name) {
    T* found = parent.findChild<T*>(QLatin1String(name));
    if (!found)
        qFatal("no control %s", name);
    return found;
}

void shoot(QWidget& w, const char* name) {
    const QString dir = qEnvironmentVariable("MIVEL_SCREENSHOT_DIR");
    if (dir.isEmpty())
        return;
    QDir().mkpath(dir);
    QCoreApplication::processEvents();
    QVERIFY(w.grab().save(QDir(dir).filePath(QLatin1String(name))));
}

// The evening of 9 March 2024 at 19:00, moving with the rig's manual clock.
struct GraphRig : DataLogRig {
    const qint64 evening = QDateTime(QDate(2024, 3, 9), QTime(19, 0)).toMSecsSinceEpoch();
    const qint64 started = clock.nowMs();

    GraphRig() {
        recording->setWallClock([this] { return evening + clock.nowMs() - started; });
    }
    // Four hours of a cooling night, a reading every ten seconds: the air falls ten degrees,
    // the mirror follows it late, the heater keeps the secondary above the air.
    void night(int minutes = 240) {
        for (int s = 0; s < minutes * 60; s += 10) {
            clock.advance(10000);
            const double h = s / 3600.0;
            const double air = 5200 - 250 * h + 20 * std::sin(s / 500.0);
            const double mirror = 5200 - 250 * (h - 0.4 * (1 - std::exp(-h)));
            reply(QStringLiteral(":t1 %1 :t2 %2 :t3 %3 :t7 %4 :fs %5 :ss %6 :a %7 ")
                      .arg(qRound(air))
                      .arg(qRound(mirror))
                      .arg(qRound(air + 180))
                      .arg(qRound(7400 - 100 * h))
                      .arg(qRound(40 + (mirror - air) / 5))
                      .arg(qRound(30 + 10 * std::sin(s / 900.0)))
                      .arg(12500 + qRound(80 * h))
                      .toLatin1());
        }
    }
};

QLineSeries* seriesNamed(GraphWindow& w, const QString& prefix) {
    for (QAbstractSeries* s : child<QChartView>(w, "chtGraph")->chart()->series())
        if (s->name().startsWith(prefix))
            return static_cast<QLineSeries*>(s);
    return nullptr;
}

} // namespace

class DataLogUiTest : public QObject {
    Q_OBJECT
private slots:
    void logWindowHasEveryControl() {
        DataLogRig rig;
        LogDialog dialog(rig.log(), *rig.prompt, rig.path("datalog.csv"));
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Data Logging Setup"));
        const std::pair<const char*, const char*> boxes[] = {
            {"chkAmbient", "Ambient Temperature"},     {"chkPrimary", "Primary Temperature"},
            {"chkSecondary", "Secondary Temperature"}, {"chkFanPower", "Fan Power"},
            {"chkSecPower", "Secondary Power"},        {"chkFocusPosition", "Focus Position"}};
        for (const auto& [name, caption] : boxes)
            QCOMPARE(child<QCheckBox>(dialog, name)->text(), QLatin1String(caption));
        QCOMPARE(child<QLabel>(dialog, "lblInterval")->text(), "Sample Interval (sec)");
        QCOMPARE(child<QLabel>(dialog, "lblFileName")->text(), "File Name:");
        QCOMPARE(child<QLineEdit>(dialog, "txtInterval")->toolTip(), "Set the sampling interval");
        QCOMPARE(child<QScrollBar>(dialog, "UpDown1")->toolTip(), "Adjust the sampling interval");
        QCOMPARE(child<QPushButton>(dialog, "cmdBrowse")->text(), "Browse");
        QCOMPARE(child<QPushButton>(dialog, "cmdStart")->text(), "Start Log");
        QCOMPARE(child<QPushButton>(dialog, "cmdCancel")->text(), "Cancel");
        QCOMPARE(child<QLineEdit>(dialog, "txtFileName")->text(), rig.path("datalog.csv"));
        dialog.show();
        shoot(dialog, "data-log-setup.png");
    }

    void logWindowRefusesThenStarts() {
        DataLogRig rig;
        LogDialog dialog(rig.log(), *rig.prompt, rig.path("datalog.csv"));
        dialog.show();
        auto* interval = child<QLineEdit>(dialog, "txtInterval");
        // The spinner steps the interval; typed text that is no number stays for Start to judge.
        auto* spinner = child<QScrollBar>(dialog, "UpDown1");
        QTest::mouseClick(spinner, Qt::LeftButton, {}, QPoint(spinner->width() / 2, 3));
        QCOMPARE(interval->text(), QStringLiteral("61")); // the upper arrow counts up
        QTest::mouseClick(spinner, Qt::LeftButton, {},
                          QPoint(spinner->width() / 2, spinner->height() - 3));
        QTest::mouseClick(spinner, Qt::LeftButton, {},
                          QPoint(spinner->width() / 2, spinner->height() - 3));
        QCOMPARE(interval->text(), QStringLiteral("59"));
        interval->setText(QStringLiteral("abc"));
        QTest::mouseClick(child<QPushButton>(dialog, "cmdStart"), Qt::LeftButton);
        QCOMPARE(rig.prompt->texts(), QStringList{"Invalid interval"});
        QVERIFY(dialog.isVisible());

        // Browse: an existing file the user keeps is not taken.
        QFile existing(rig.path("old.csv"));
        QVERIFY(existing.open(QIODevice::WriteOnly));
        existing.close();
        dialog.setFileChooser([&](QWidget*) { return existing.fileName(); });
        rig.prompt->answers = {Prompt::Answer::No};
        QTest::mouseClick(child<QPushButton>(dialog, "cmdBrowse"), Qt::LeftButton);
        QCOMPARE(child<QLineEdit>(dialog, "txtFileName")->text(), rig.path("datalog.csv"));

        interval->setText(QStringLiteral("2"));
        child<QCheckBox>(dialog, "chkPrimary")->setChecked(false);
        QTest::mouseClick(child<QPushButton>(dialog, "cmdStart"), Qt::LeftButton);
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QVERIFY(rig.log().active());
        QCOMPARE(rig.log().plan().intervalS, 2);
        QVERIFY(!rig.log().plan().columns[std::size_t(LogColumn::Primary)]);
        // The next setup starts from what this log uses.
        LogDialog again(rig.log(), *rig.prompt, QString());
        QCOMPARE(child<QLineEdit>(again, "txtInterval")->text(), QStringLiteral("2"));
        QVERIFY(!child<QCheckBox>(again, "chkPrimary")->isChecked());
    }

    void graphDrawsTheHistoryLive() {
        GraphRig rig;
        rig.night();
        GraphWindow graph(*rig.recording, *rig.prompt);
        graph.resize(960, 600);
        graph.show();
        QVERIFY(rig.recording->graphRunning());
        QCOMPARE(rig.recording->thermalDemand().graphPeriodS, 2.0);
        // The last hour, both ends included: 361 readings per series; the powers and the focus
        // wait to be chosen.
        QCOMPARE(seriesNamed(graph, "Ambient")->count(), 361);
        QVERIFY(!seriesNamed(graph, "Fan power")->isVisible());
        child<QCheckBox>(graph, "chkFanPower")->setChecked(true);
        child<QCheckBox>(graph, "chkFocusPosition")->setChecked(true);
        QVERIFY(seriesNamed(graph, "Fan power")->isVisible());
        QCOMPARE(seriesNamed(graph, "Fan power")->name(), QStringLiteral("Fan power (%)"));
        // Temperatures on an axis in degrees Fahrenheit that holds them all.
        auto* temperatures =
            static_cast<QValueAxis*>(seriesNamed(graph, "Ambient")->attachedAxes().at(1));
        QCOMPARE(temperatures->titleText(), QStringLiteral("Temperature (F)"));
        QVERIFY(temperatures->min() <= 41.5 && temperatures->max() >= 71);

        // A longer period shows more of the night.
        child<QComboBox>(graph, "cboPeriod")->setCurrentIndex(int(GraphPeriod::Night));
        QCOMPARE(seriesNamed(graph, "Ambient")->count(), 1440);

        // The cursor reads the nearest point.
        const qint64 at = QDateTime(QDate(2024, 3, 9), QTime(22, 0, 3)).toMSecsSinceEpoch();
        graph.showCursorAt(at);
        const QString read = child<QLabel>(graph, "lblCursor")->text();
        QVERIFY2(read.startsWith("22:00:00   Ambient 44.") && read.contains("Fan power") &&
                     read.contains("Focus position 12740 counts"),
                 qPrintable(read));
        shoot(graph, "temperature-graph.png");

        // New readings arrive: the graph follows.
        const int before = seriesNamed(graph, "Ambient")->count();
        rig.night(1);
        graph.redraw();
        QCOMPARE(seriesNamed(graph, "Ambient")->count(), before + 6);
    }

    void graphPlotsADataLogFile() {
        GraphRig rig;
        const QString file = rig.path("night.csv");
        QVERIFY(!rig.log().start(LogPlan{file, 1, {true, true, true, false, false, true}}));
        rig.log().setTimeOfDay([&rig] {
            return QDateTime::fromMSecsSinceEpoch(rig.recording->wallMs()).toString("HH:mm:ss");
        });
        rig.advance(30000, 100);
        rig.log().stop();
        GraphWindow graph(*rig.recording, *rig.prompt);
        QVERIFY(graph.openLog(file));
        QCOMPARE(child<QLabel>(graph, "lblSource")->text(), "Data log night.csv, 30 rows");
        QVERIFY(!child<QComboBox>(graph, "cboPeriod")->isEnabled());
        // The file has no electronics column: that series cannot be chosen.
        QVERIFY(!child<QCheckBox>(graph, "chkElectronics")->isEnabled());
        QCOMPARE(seriesNamed(graph, "Ambient")->count(), 30);
        QCOMPARE(float(seriesNamed(graph, "Ambient")->at(0).y()), 49.93f);

        // Something else is refused with a reason, and the graph stays as it was.
        QFile other(rig.path("vark.dat"));
        QVERIFY(other.open(QIODevice::WriteOnly));
        other.write(QByteArray(108, '\0'));
        other.close();
        QVERIFY(!graph.openLog(other.fileName()));
        QCOMPARE(rig.prompt->shown.size(), std::size_t(1));
        QCOMPARE(child<QLabel>(graph, "lblSource")->text(), "Data log night.csv, 30 rows");
        QTest::mouseClick(child<QPushButton>(graph, "cmdLive"), Qt::LeftButton);
        QVERIFY(child<QComboBox>(graph, "cboPeriod")->isEnabled());
        QVERIFY(child<QCheckBox>(graph, "chkElectronics")->isEnabled());
    }

    void consoleOffersStartOrStop() {
        DataLogRig rig;
        checkRegistry(*rig.ctx);
        console::ConsoleOptions options;
        options.recording = rig.recording.get();
        auto app = std::make_unique<console::ConsoleApp>(*rig.ctx, nullptr, options);
        app->showMainConsole();
        console::MainWindow& main = *app->mainWindow();
        auto action = [&](const char* name) { return child<QAction>(main, name); };
        QVERIFY(action("Log")->isVisible() && action("Log")->isEnabled());
        QVERIFY(!action("StopLog")->isVisible() && !action("mnuStopLog")->isEnabled());

        // The toolbar's Log opens the setup window, modally.
        QString opened;
        QTimer::singleShot(0, [&] {
            if (QWidget* w = QApplication::activeModalWidget()) {
                opened = w->objectName();
                static_cast<QDialog*>(w)->reject();
            }
        });
        action("Log")->trigger();
        QCOMPARE(opened, QStringLiteral("frmLog"));

        QVERIFY(!rig.log().start(LogPlan{rig.path("c.csv"), 5, {true}}));
        QVERIFY(!action("Log")->isVisible() && !action("mnuLog")->isEnabled());
        QVERIFY(action("StopLog")->isVisible() && action("mnuStopLog")->isEnabled());
        action("mnuStopLog")->trigger();
        QVERIFY(!rig.log().active());
        QVERIFY(action("Log")->isVisible());

        action("mnuGraph")->trigger();
        QVERIFY(rig.recording->graphRunning());

        // Closing the console with a log running asks whether it goes on.
        QVERIFY(!rig.log().start(LogPlan{rig.path("c.csv"), 5, {true}}));
        rig.prompt->answers = {Prompt::Answer::Yes};
        main.close();
        QVERIFY(rig.prompt->texts().contains(texts::KeepLogging));
        QVERIFY(rig.log().active());
        app.reset();
        QVERIFY(!rig.recording->graphRunning());
    }
};

QTEST_MAIN(DataLogUiTest)
#include "test_datalog_ui.moc"
