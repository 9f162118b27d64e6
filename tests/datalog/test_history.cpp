// The readings' history in bounded memory, the graph's periods and read-out, and data log files
// read back for the graph.

#include "datalog/GraphModel.h"
#include "datalog/History.h"
#include "datalog/LogFileReader.h"
#include "datalog/LogLine.h"

#include <QTest>

#include <cmath>

using namespace mivel::datalog;

namespace {

constexpr qint64 Start = 1'700'000'000'000; // a moment in 2023, in milliseconds

HistoryPoint at(qint64 ms, float ambient, float focus = NAN) {
    HistoryPoint p;
    p.atMs = ms;
    p.values.fill(NAN);
    p.values[std::size_t(Series::Ambient)] = ambient;
    p.values[std::size_t(Series::Focus)] = focus;
    return p;
}

float ambientOf(const HistoryPoint& p) {
    return p.values[std::size_t(Series::Ambient)];
}

// A night of readings at the console's poll rate: the temperature falls a degree an hour.
void fill(History& h, qint64 fromMs, qint64 spanMs, qint64 everyMs = 250) {
    for (qint64 t = 0; t < spanMs; t += everyMs)
        h.add(at(fromMs + t, float(60.0 - t / 3.6e6)));
}

} // namespace

class HistoryTest : public QObject {
    Q_OBJECT
private slots:
    void aDayAtPollRateStaysWithinItsCapacity() {
        History h;
        const qint64 day = 24 * 3600 * 1000LL;
        fill(h, Start, day);
        QVERIFY(h.size() <= History::capacity());
        QCOMPARE(h.bytes(), History::capacity() * sizeof(HistoryPoint));
        QVERIFY(h.bytes() < 512 * 1024);
        const qint64 now = Start + day;

        // The last quarter hour: every reading.
        const auto recent = h.since(now - 15 * 60 * 1000);
        QCOMPARE(recent.size(), std::size_t(15 * 60 * 4));
        // Six hours: five-second means, the newest stretch at full resolution.
        const auto six = h.since(now - 6 * 3600 * 1000);
        QVERIFY(six.size() >= 6 * 720 && six.size() < 6 * 720 + 50);
        QVERIFY(six.front().atMs >= now - 6 * 3600 * 1000);
        QVERIFY(six.back().atMs >= now - 1000);
        // The whole day, from the coarsest ring, still from its first hour on.
        const auto all = h.since(Start);
        QVERIFY(all.size() <= History::Levels[2].capacity + History::Levels[0].capacity);
        QVERIFY(all.front().atMs < Start + 3600 * 1000);
        // Means, not samples: the coarse points lie on the falling line.
        for (const HistoryPoint& p : all)
            QVERIFY(std::abs(ambientOf(p) - (60.0 - (p.atMs - Start) / 3.6e6)) < 0.01);
        // Points come oldest first.
        for (std::size_t i = 1; i < all.size(); ++i)
            QVERIFY(all[i - 1].atMs < all[i].atMs);
    }

    void aShortRunIsKeptWhole() {
        History h;
        fill(h, Start, 10 * 60 * 1000, 1000);
        QCOMPARE(h.since(Start - 3600 * 1000).size(), std::size_t(600));
        QCOMPARE(h.oldestMs(), Start);
    }

    void oneReadingPerPollAtMost() {
        History h;
        // Two holders asked within one poll: the later reading replaces the earlier.
        h.add(at(Start, 50));
        h.add(at(Start + 100, 51));
        h.add(at(Start + 300, 52));
        const auto points = h.since(Start);
        QCOMPARE(points.size(), std::size_t(2));
        QCOMPARE(ambientOf(points[0]), 51.0f);
        QCOMPARE(points[1].atMs, Start + 300);
    }

    void meansLeaveOutUnknownValues() {
        History h;
        // The focus position came in only once within a five-second bucket.
        h.add(at(Start, 50, 12000));
        h.add(at(Start + 1000, 52));
        h.add(at(Start + 6000, 54)); // closes the first bucket
        for (qint64 t = 0; t < 6 * 3600 * 1000LL; t += 1000)
            h.add(at(Start + 10000 + t, 40));
        const auto coarse = h.since(Start);
        QCOMPARE(ambientOf(coarse.front()), 51.0f);
        QCOMPARE(coarse.front().values[std::size_t(Series::Focus)], 12000.0f);
        QVERIFY(std::isnan(coarse[1].values[std::size_t(Series::Focus)]));
    }

    void thinnedKeepsTheShapeInFewerPoints() {
        std::vector<HistoryPoint> points;
        for (int i = 0; i < 10000; ++i)
            points.push_back(at(Start + i * 1000, float(i % 2 ? 51 : 49)));
        const auto few = thinned(points, 1000);
        QCOMPARE(few.size(), std::size_t(1000));
        QCOMPARE(ambientOf(few[0]), 50.0f);
        QCOMPARE(thinned(points, 20000).size(), points.size());
    }

    // --- The graph's model ----------------------------------------------------------------

    void theNightBeginsAtTheLastNoon() {
        const QDate day(2024, 3, 9);
        QCOMPARE(periodStart(GraphPeriod::Night, QDateTime(day, QTime(23, 30))),
                 QDateTime(day, QTime(12, 0)));
        QCOMPARE(periodStart(GraphPeriod::Night, QDateTime(day, QTime(4, 15))),
                 QDateTime(day.addDays(-1), QTime(12, 0)));
        QCOMPARE(periodStart(GraphPeriod::Last15Minutes, QDateTime(day, QTime(4, 15))),
                 QDateTime(day, QTime(4, 0)));
    }

    void readoutShowsTheNearestPointsShownSeries() {
        History h;
        h.add(at(Start, 50.04f, 12000));
        h.add(at(Start + 10000, 48.5f, 12100));
        GraphModel model(h);
        model.setPeriod(GraphPeriod::Last15Minutes);
        model.refresh(QDateTime::fromMSecsSinceEpoch(Start + 60000));
        QCOMPARE(model.points().size(), std::size_t(2));
        const QString time = QDateTime::fromMSecsSinceEpoch(Start + 10000).toString("HH:mm:ss");
        QCOMPARE(model.readout(Start + 6000), time + "   Ambient 48.5 F");
        model.setShown(Series::Focus, true);
        QVERIFY(
            model.readout(Start + 4000).endsWith("Ambient 50.0 F   Focus position 12000 counts"));
        QVERIFY(model.readout(Start + 99999).startsWith(time));
    }

    // --- Data log files read back ---------------------------------------------------------

    void aWrittenLogReadsBack() {
        ColumnSet columns{};
        columns[std::size_t(LogColumn::Ambient)] = true;
        columns[std::size_t(LogColumn::FocusPosition)] = true;
        Reading r;
        r.ambient = 49.93;
        r.focusPosition = 12500;
        QByteArray file = headerLine(columns);
        for (const char* time : {"23:59:58", "23:59:59", "00:00:00", "not a time", "00:00:01"})
            file += rowLine(QString::fromLatin1(time), columns, r);
        const QDateTime changed(QDate(2024, 3, 10), QTime(0, 0, 30));
        const mivel::Result<LoadedLog> log = readDataLog(file, changed);
        QVERIFY(log);
        QCOMPARE(log.value().points.size(), std::size_t(4));
        QCOMPARE(log.value().skippedRows, 1);
        QVERIFY(log.value().present[std::size_t(Series::Focus)]);
        QVERIFY(!log.value().present[std::size_t(Series::Primary)]);
        // Past midnight: the first rows belong to the day before the file's last change.
        QCOMPARE(QDateTime::fromMSecsSinceEpoch(log.value().points.front().atMs),
                 QDateTime(QDate(2024, 3, 9), QTime(23, 59, 58)));
        QCOMPARE(QDateTime::fromMSecsSinceEpoch(log.value().points.back().atMs),
                 QDateTime(QDate(2024, 3, 10), QTime(0, 0, 1)));
        QCOMPARE(log.value().points[0].values[std::size_t(Series::Focus)], 12500.0f);
        QCOMPARE(ambientOf(log.value().points[0]), 49.93f);
    }

    void timesInOtherFormatsRead_data() {
        QTest::addColumn<QString>("time");
        QTest::addColumn<QTime>("read");
        QTest::newRow("24 hours with zone") << "21:05:09 CET" << QTime(21, 5, 9);
        QTest::newRow("afternoon") << "9:05:09 PM" << QTime(21, 5, 9);
        QTest::newRow("midnight hour") << "12:00:05 AM" << QTime(0, 0, 5);
        QTest::newRow("dots") << "21.05.09" << QTime(21, 5, 9);
    }
    void timesInOtherFormatsRead() {
        QFETCH(QString, time);
        QFETCH(QTime, read);
        const QByteArray file = "\"Time\",\"Ambient \"\r\n\"" + time.toLatin1() + "\",50\r\n";
        const QDateTime changed(QDate(2024, 3, 10), QTime(23, 59));
        const mivel::Result<LoadedLog> log = readDataLog(file, changed);
        QVERIFY(log);
        QCOMPARE(QDateTime::fromMSecsSinceEpoch(log.value().points.at(0).atMs).time(), read);
    }

    void otherFilesAreRefused() {
        const QDateTime now = QDateTime::currentDateTime();
        QVERIFY(!readDataLog(QByteArray(), now));
        QVERIFY(!readDataLog(QByteArray("\x01\x00\x02", 3), now));
        const auto refused = readDataLog("\"Position\",\"Temperature\"\r\n1,2\r\n", now);
        QVERIFY(!refused);
        QCOMPARE(refused.error().description,
                 QStringLiteral("This is not a data log file: its first line does not start "
                                "with \"Time\"."));
    }
};

QTEST_GUILESS_MAIN(HistoryTest)
#include "test_history.moc"
