// The compensation coefficient learned from stored focus positions and from a data log: the
// calibration's line fit through position against temperature, and the reasons given when no
// line can be drawn.

#include "tempcomp/FitLine.h"
#include "tempcomp/LearnCoefficient.h"

#include "records/RecordList.h"

#include <QTemporaryDir>
#include <QTest>

using namespace mivel;
using namespace mivel::tempcomp;

class LearnCoefficientTest : public QObject {
    Q_OBJECT
private slots:
    void storedPositionsGiveTheSlope() {
        QTemporaryDir dir;
        records::RecordList focus(records::RecordKind::Focus, dir.path());
        // 12 counts per degree, with a little scatter.
        const double temps[] = {30, 35, 40, 45, 50};
        const int offsets[] = {0, 3, -2, 1, -2};
        for (int i = 0; i < 5; ++i)
            QVERIFY(!focus.save(i + 1,
                                {QStringLiteral("T%1").arg(temps[i]),
                                 qint32(10000 + 12 * temps[i] + offsets[i]), float(temps[i])},
                                true));
        const LearnedCoefficient learned =
            learnCoefficient(pointsFromRecords(focus), QStringLiteral("the stored positions"));
        QVERIFY(learned.fit);
        QCOMPARE(learned.points.size(), size_t(5));
        // The same numbers through the calibration's own table give the same line.
        PointTable table;
        for (const LearnPoint& p : learned.points)
            table.add(p.temperature, 0, 0, p.position);
        const LineFit calibration = *fitLine(table, 0);
        QCOMPARE(learned.fit->slope, calibration.slope);
        QCOMPARE(learned.fit->intercept, calibration.intercept);
        QCOMPARE(learned.fit->r2, calibration.r2);
        QCOMPARE(learned.fit->slope, 11.88);
        QVERIFY(learned.fit->r2 > 0.99 && learned.fit->r2 < 1);
        QCOMPARE(learned.coefficientTenths(), std::optional<int>(119));
        QVERIFY(learned.why.isEmpty());
    }

    void moreThanTheCalibrationTableHolds() {
        std::vector<LearnPoint> points;
        for (int i = 0; i < 500; ++i)
            points.push_back({20 + i * 0.05, 5000 - 8.0 * (20 + i * 0.05)});
        const LearnedCoefficient learned = learnCoefficient(points, QStringLiteral("the log"));
        QVERIFY(learned.fit);
        QCOMPARE(qRound(learned.fit->slope * 1000), -8000);
        QCOMPARE(learned.coefficientTenths(), std::optional<int>(-80));
    }

    void whyNoCoefficient_data() {
        QTest::addColumn<std::vector<LearnPoint>>("points");
        QTest::addColumn<QString>("why");
        QTest::newRow("none") << std::vector<LearnPoint>{}
                              << "No coefficient can be learned from the stored positions: a "
                                 "line needs at least two points, and there are none.";
        QTest::newRow("one") << std::vector<LearnPoint>{{40, 100}}
                             << "No coefficient can be learned from the stored positions: a "
                                "line needs at least two points, and there is one.";
        QTest::newRow("one temperature")
            << std::vector<LearnPoint>{{40.25, 100}, {40.25, 180}, {40.25, 90}}
            << "No coefficient can be learned from the stored positions: all 3 points were "
               "taken at the same temperature, 40.3 F, so they cannot show how the focus follows "
               "the temperature.";
    }
    void whyNoCoefficient() {
        QFETCH(std::vector<LearnPoint>, points);
        QFETCH(QString, why);
        const LearnedCoefficient learned =
            learnCoefficient(points, QStringLiteral("the stored positions"));
        QVERIFY(!learned.fit);
        QCOMPARE(learned.why, why);
        QCOMPARE(learned.coefficientTenths(), std::nullopt);
    }

    void aSlopeBeyondTheDialogsRange() {
        const LearnedCoefficient learned =
            learnCoefficient({{30, 0}, {31, 150}}, QStringLiteral("the log"));
        QVERIFY(learned.fit);
        QCOMPARE(learned.fit->slope, 150.0);
        QCOMPARE(learned.coefficientTenths(), std::nullopt);
    }

    void dataLogRows() {
        // As the data log writes them: quoted text, bare numbers, CRLF; the headings keep
        // their blanks.
        const QByteArray log =
            "\"Time\",\"Ambient \",\"Primary \",\"Fan Power \",\"Focus Position\"\r\n"
            "\"21:00:01\",50.5,52,30,12000\r\n"
            "\"21:00:06\",49.5,51.25,30,11990\r\n"
            "\"21:00:11\",,51,30,11985\r\n" // a reading that did not come
            "\"21:00:16\",48.5,50.5,30,11970\r\n";
        DataLogPoints ambient = pointsFromDataLog(log);
        QCOMPARE(ambient.temperatureColumns, (QStringList{"Ambient", "Primary"}));
        QCOMPARE(ambient.temperatureColumn, QStringLiteral("Ambient"));
        QCOMPARE(ambient.points.size(), size_t(3));
        QCOMPARE(ambient.skippedRows, 1);
        QCOMPARE(ambient.points[1].temperature, 49.5);
        QCOMPARE(ambient.points[1].position, 11990.0);
        const LearnedCoefficient learned = learnCoefficient(ambient.points, QStringLiteral("log"));
        QCOMPARE(learned.fit->slope, 15.0);

        const DataLogPoints primary = pointsFromDataLog(log, QStringLiteral("Primary "));
        QCOMPARE(primary.temperatureColumn, QStringLiteral("Primary"));
        QCOMPARE(primary.points.size(), size_t(4));
        QCOMPARE(primary.points[2].temperature, 51.0);
    }

    void dataLogsWithoutTheColumns() {
        const DataLogPoints noFocus =
            pointsFromDataLog("\"Time\",\"Ambient \"\r\n\"21:00\",50\r\n");
        QVERIFY(noFocus.points.empty());
        QCOMPARE(noFocus.problem,
                 QStringLiteral("The data log needs a \"Focus Position\" column and a temperature "
                                "column (Ambient, Primary or Secondary); its first line names "
                                "\"Time\", \"Ambient \"."));
        QVERIFY(!pointsFromDataLog(QByteArray("\0\1\2", 3)).problem.isEmpty());
        QVERIFY(!pointsFromDataLog(QByteArray()).problem.isEmpty());
    }
};

QTEST_GUILESS_MAIN(LearnCoefficientTest)
#include "test_learn_coefficient.moc"
