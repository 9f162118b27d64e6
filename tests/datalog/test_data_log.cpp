// The data log against a fake unit on a manual clock: the timing of requests and rows, the
// lines it writes, the setup window's refusals, the end of a log (stopped, a file that cannot be
// written) and the actions scripts use. The whole test runs with decimal commas, as a German
// desktop has them: the file must still hold full stops.

#include "DataLogRig.h"

#include "support/FileSizeLimit.h"

#include "datalog/LogActions.h"
#include "datalog/LogSetup.h"

#include <QCoreApplication>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QRegularExpression>
#include <QTest>

using namespace mivel;
using namespace mivel::datalog;
using mivel::test::DataLogRig;

namespace {

constexpr ColumnSet AllColumns{true, true, true, true, true, true};

ColumnSet only(std::initializer_list<LogColumn> columns) {
    ColumnSet set{};
    for (LogColumn c : columns)
        set[std::size_t(c)] = true;
    return set;
}

LogPlan plan(const QString& file, qint32 intervalS = 1, ColumnSet columns = AllColumns) {
    return LogPlan{file, intervalS, columns};
}

QJsonObject statusOf(const Result<QString>& answer) {
    return QJsonDocument::fromJson(answer.value().toUtf8()).object();
}

const QByteArray AllHeader =
    "\"Time\",\"Ambient \",\"Primary \",\"Secondary \",\"Fan Power \",\"Secondary Power\","
    "\"Focus Position\"\r\n";

} // namespace

class DataLogTest : public QObject {
    Q_OBJECT
private slots:
    // --- Timing --------------------------------------------------------------------------

    void intervalOneWritesOneRowASecond() {
        DataLogRig rig;
        const QString file = rig.path("night.csv");
        QVERIFY(!rig.log().start(plan(file)));
        QCOMPARE(DataLog::tickMs(1), 500);
        rig.sent();

        // Half an interval in, the request; a full interval in, the first row.
        rig.advance(499);
        QCOMPARE(rig.sent(), QByteArray());
        rig.advance(1);
        QCOMPARE(rig.sent(), QByteArray(" T "));
        QCOMPARE(DataLogRig::lineCount(DataLogRig::contents(file)), 1);
        rig.advance(500);
        QCOMPARE(rig.log().rowsWritten(), 1);

        // Each row holds the readings answered just before it.
        rig.temperatures = ":t1 -1250 :t2 5012 :t3 4890 :fs 70 :ss 15 ";
        rig.advance(9000);
        QCOMPARE(rig.log().rowsWritten(), 10);
        const QList<QByteArray> lines = DataLogRig::contents(file).split('\n');
        QCOMPARE(lines.size(), 12); // header, ten rows, and nothing after the last line end
        QCOMPARE(lines[1], QByteArray("\"t=1001\",49.93,50.12,48.9,62,15,0\r"));
        QCOMPARE(lines[10], QByteArray("\"t=1010\",-12.5,50.12,48.9,70,15,0\r"));
    }

    void requestsOnlyWhatTheLinkCanTake() {
        DataLogRig rig;
        rig.respond = {}; // a unit that does not answer
        rig.device->respond = {};
        QVERIFY(!rig.log().start(plan(rig.path("a.csv"))));
        rig.sent();
        // An unanswered request is not repeated for two seconds.
        rig.advance(4000);
        QCOMPARE(rig.sent().count(" T "), 2);
        QCOMPARE(rig.log().rowsWritten(), 4);

        // Nothing goes out while firmware is being replaced, or with the port closed; the rows
        // go on with the latest readings.
        rig.ctx->hub().setFirmwareTransfer(true);
        rig.advance(4000);
        QCOMPARE(rig.sent(), QByteArray());
        rig.ctx->hub().setFirmwareTransfer(false);
        rig.link->serial().setConnected(false);
        rig.advance(4000);
        QCOMPARE(rig.sent(), QByteArray());
        QCOMPARE(rig.log().rowsWritten(), 12);
    }

    // --- Lines ---------------------------------------------------------------------------

    void headerHasItsExactBlanks_data() {
        QTest::addColumn<ColumnSet>("columns");
        QTest::addColumn<QByteArray>("header");
        QTest::newRow("all") << AllColumns << AllHeader;
        QTest::newRow("focus only")
            << only({LogColumn::FocusPosition}) << QByteArray("\"Time\",\"Focus Position\"\r\n");
        QTest::newRow("fixed order") << only({LogColumn::SecondaryPower, LogColumn::Ambient})
                                     << QByteArray("\"Time\",\"Ambient \",\"Secondary Power\"\r\n");
    }
    void headerHasItsExactBlanks() {
        QFETCH(ColumnSet, columns);
        QFETCH(QByteArray, header);
        DataLogRig rig;
        const QString file = rig.path("h.csv");
        QVERIFY(!rig.log().start(plan(file, 1, columns)));
        QCOMPARE(DataLogRig::contents(file), header);
    }

    void numbersKeepFullStopsUnderDecimalCommas() {
        if (QLocale::system().decimalPoint() != QLatin1String(","))
            QSKIP("the system locale did not take decimal commas");
        DataLogRig rig;
        rig.temperatures = ":t1 4993 :t2 -1 :t3 123456 :fs 100 :ss 0 :a -21000 ";
        // The user's own long time format, whatever it holds.
        rig.log().setTimeOfDay(
            [] { return QLocale::system().toString(QTime(21, 5, 9), QLocale::LongFormat); });
        const QString file = rig.path("komma.csv");
        QVERIFY(!rig.log().start(plan(file)));
        rig.advance(1000);
        const QByteArray row = DataLogRig::contents(file).mid(AllHeader.size());
        QVERIFY2(QRegularExpression(QStringLiteral("^\"[^\"]*21:05:09[^\"]*\","
                                                   "49\\.93,-0\\.01,1234\\.56,100,0,-21000\r\n$"))
                     .match(QString::fromLatin1(row))
                     .hasMatch(),
                 row.constData());
        // The interval is read in the user's notation: 1,5 seconds rounds to 2.
        QCOMPARE(parseInterval(QStringLiteral("1,5")).value(), 2);
    }

    // --- The setup window's refusals ----------------------------------------------------

    void refusalsShowTheirMessage_data() {
        QTest::addColumn<QString>("interval");
        QTest::addColumn<ColumnSet>("columns");
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("message");
        const QString ok = QStringLiteral("x.csv");
        QTest::newRow("letters") << "abc" << AllColumns << ok << "Invalid interval";
        QTest::newRow("empty") << "" << AllColumns << ok << "Invalid interval";
        QTest::newRow("zero") << "0" << AllColumns << ok << "Invalid Interval";
        QTest::newRow("negative") << "-5" << AllColumns << ok << "Invalid Interval";
        QTest::newRow("under half a second") << "0.4" << AllColumns << ok << "Invalid Interval";
        QTest::newRow("no column")
            << "5" << ColumnSet{} << ok << "No parameters have selected for logging.";
        QTest::newRow("interval before columns")
            << "abc" << ColumnSet{} << ok << "Invalid interval";
        QTest::newRow("no folder") << "5" << AllColumns << "missing/x.csv"
                                   << "Error opening log file.";
        QTest::newRow("no name") << "5" << AllColumns << ""
                                 << "Error opening log file.";
    }
    void refusalsShowTheirMessage() {
        QFETCH(QString, interval);
        QFETCH(ColumnSet, columns);
        QFETCH(QString, file);
        QFETCH(QString, message);
        DataLogRig rig;
        const QString path = file.isEmpty() ? file : rig.dir.filePath(file);
        LogSetup setup(rig.log(), *rig.prompt);
        QVERIFY(!setup.start(interval, columns, path));
        QCOMPARE(rig.prompt->texts(), QStringList{message});
        QCOMPARE(rig.prompt->shown[0].title, QStringLiteral("Mivel"));
        QCOMPARE(rig.prompt->shown[0].buttons, Prompt::Buttons::Ok);
        QVERIFY(!rig.log().active());
        QCOMPARE(QDir(rig.dir.path()).entryList(QDir::Files), QStringList());
    }

    void browseAsksBeforeOverwriting() {
        DataLogRig rig;
        LogSetup setup(rig.log(), *rig.prompt);
        QVERIFY(setup.takeChosenFile(rig.path("new.csv")));
        QVERIFY(!setup.takeChosenFile(QString())); // the save dialog was cancelled
        QVERIFY(rig.prompt->shown.empty());
        QFile existing(rig.path("old.csv"));
        QVERIFY(existing.open(QIODevice::WriteOnly));
        existing.close();
        rig.prompt->answers = {Prompt::Answer::No, Prompt::Answer::Yes};
        QVERIFY(!setup.takeChosenFile(existing.fileName()));
        QVERIFY(setup.takeChosenFile(existing.fileName()));
        QCOMPARE(rig.prompt->texts(),
                 QStringList(2, QStringLiteral("This file already exists.  Overwrite old file?")));
    }

    // --- The end of a log ---------------------------------------------------------------

    void stopKeepsTheFileAndLetsTheLinkGo() {
        DataLogRig rig;
        const int holders = rig.ctx->hub().connectorCount();
        const QString file = rig.path("s.csv");
        QVERIFY(!rig.log().start(plan(file, 2)));
        QCOMPARE(rig.ctx->hub().connectorCount(), holders + 1);
        rig.advance(4000);
        rig.log().stop();
        QCOMPARE(rig.ctx->hub().connectorCount(), holders);
        // The timer goes on its next tick; no row follows.
        QVERIFY(rig.log().timerRunning());
        rig.advance(1000);
        QVERIFY(!rig.log().timerRunning());
        rig.advance(10000);
        QCOMPARE(DataLogRig::lineCount(DataLogRig::contents(file)), 3);

        // A new start replaces the content of its file, and may follow a stop at once.
        QVERIFY(!rig.log().start(plan(file, 2, only({LogColumn::Primary}))));
        rig.advance(2000);
        QCOMPARE(DataLogRig::contents(file),
                 QByteArray("\"Time\",\"Primary \"\r\n\"t=1017\",50.12\r\n"));
    }

    void aFileThatCannotBeWrittenStopsTheLog() {
#ifndef Q_OS_UNIX
        QSKIP("needs the file-size limit of a Unix process");
#else
        DataLogRig rig;
        const QString file = rig.path("full.csv");
        QVERIFY(!rig.log().start(plan(file)));
        rig.advance(2000);
        const QByteArray before = DataLogRig::contents(file);
        QCOMPARE(DataLogRig::lineCount(before), 3);
        {
            // The disk fills up in the middle of the next row.
            test::FileSizeLimit full(rlim_t(before.size() + 10));
            QVERIFY(full.active());
            rig.advance(1000);
        }
        QVERIFY(!rig.log().active());
        QCOMPARE(DataLogRig::contents(file), before);
        QCOMPARE(rig.prompt->shown.size(), std::size_t(1));
        const QString told = rig.prompt->shown[0].text;
        QVERIFY2(told.contains(file) && told.contains(QStringLiteral("The 2 rows written before "
                                                                     "are kept")),
                 qPrintable(told));
        QCOMPARE(rig.log().failure(), told);
        rig.advance(5000);
        QCOMPARE(DataLogRig::contents(file), before);
#endif
    }

    void aRemovedFileStopsTheLog() {
        DataLogRig rig;
        const QString file = rig.path("gone.csv");
        QVERIFY(!rig.log().start(plan(file)));
        rig.advance(1000);
        QVERIFY(QFile::rename(file, rig.path("moved.csv")));
        rig.advance(1000);
        QVERIFY(!rig.log().active());
        QVERIFY(rig.prompt->texts().join(QString()).contains(QStringLiteral("no longer there")));
        QCOMPARE(DataLogRig::lineCount(DataLogRig::contents(rig.path("moved.csv"))), 2);
    }

    void closingTheConsoleAsksWhetherToGoOn() {
        DataLogRig rig;
        rig.log().onConsoleClosing(*rig.prompt); // no log, no question
        QVERIFY(rig.prompt->shown.empty());
        QVERIFY(!rig.log().start(plan(rig.path("c.csv"))));
        rig.prompt->answers = {Prompt::Answer::Yes, Prompt::Answer::No};
        rig.log().onConsoleClosing(*rig.prompt);
        QVERIFY(rig.log().active());
        QCOMPARE(rig.prompt->shown[0].buttons, Prompt::Buttons::YesNo);
        rig.log().onConsoleClosing(*rig.prompt);
        QVERIFY(!rig.log().active());
    }

    // --- Actions for scripts ------------------------------------------------------------

    void actionsStartStopAndReport() {
        DataLogRig rig;
        const std::vector<LogAction> actions = logActions(rig.log());
        auto run = [&](const char* name, const QString& parameters) {
            for (const LogAction& a : actions)
                if (a.name == QLatin1String(name))
                    return a.run(parameters);
            qFatal("no action %s", name);
        };
        const QString file = rig.path("script.csv");
        const Result<QString> started =
            run("StartLog", QStringLiteral("{\"File\":\"%1\",\"Interval\":1,\"Columns\":"
                                           "[\"focus position\",\"Ambient Temperature\"]}")
                                .arg(file));
        QVERIFY(started);
        QCOMPARE(statusOf(started)[QStringLiteral("Active")], true);
        QCOMPARE(statusOf(started)[QStringLiteral("Columns")],
                 QJsonArray({"Ambient Temperature", "Focus Position"}));
        rig.advance(3000);
        const QJsonObject status = statusOf(run("LogStatus", QString()));
        QCOMPARE(status[QStringLiteral("Rows")].toInt(), 3);
        QCOMPARE(status[QStringLiteral("File")].toString(), file);
        QCOMPARE(status[QStringLiteral("Interval")].toInt(), 1);
        QCOMPARE(statusOf(run("StopLog", QString()))[QStringLiteral("Active")], false);
        QCOMPARE(DataLogRig::contents(file).left(34),
                 QByteArray("\"Time\",\"Ambient \",\"Focus Position\""));
    }

    void actionsRefuseWithTheSetupMessages_data() {
        QTest::addColumn<QString>("parameters");
        QTest::addColumn<QString>("message");
        QTest::addColumn<ErrorKind>("kind");
        const QString cols = QStringLiteral("\"Columns\":[\"Fan Power\"]");
        QTest::newRow("letters") << "{\"File\":\"@\",\"Interval\":\"abc\"," + cols + "}"
                                 << "Invalid interval" << ErrorKind::InvalidValue;
        QTest::newRow("no interval") << "{\"File\":\"@\"," + cols + "}"
                                     << "Invalid interval" << ErrorKind::InvalidValue;
        QTest::newRow("zero") << "{\"File\":\"@\",\"Interval\":0," + cols + "}"
                              << "Invalid Interval" << ErrorKind::InvalidValue;
        QTest::newRow("no columns")
            << "{\"File\":\"@\",\"Interval\":5,\"Columns\":[]}"
            << "No parameters have selected for logging." << ErrorKind::InvalidValue;
        QTest::newRow("no file") << "{\"Interval\":5," + cols + "}"
                                 << "Error opening log file." << ErrorKind::Unavailable;
        QTest::newRow("not json") << "File=x"
                                  << "StartLog takes a JSON object with File, "
                                     "Interval and Columns"
                                  << ErrorKind::InvalidValue;
    }
    void actionsRefuseWithTheSetupMessages() {
        QFETCH(QString, parameters);
        QFETCH(QString, message);
        QFETCH(ErrorKind, kind);
        DataLogRig rig;
        parameters.replace(QLatin1Char('@'), rig.path("r.csv"));
        const Result<QString> answer = logActions(rig.log())[0].run(parameters);
        QVERIFY(!answer);
        QCOMPARE(answer.error().description, message);
        QCOMPARE(answer.error().kind, kind);
        QVERIFY(!rig.log().active());
    }

    void anUnknownColumnIsNamed() {
        DataLogRig rig;
        const Result<QString> answer = logActions(rig.log())[0].run(
            QStringLiteral("{\"File\":\"x\",\"Interval\":5,\"Columns\":[\"Humidity\"]}"));
        QVERIFY(!answer);
        QVERIFY(answer.error().description.startsWith(QStringLiteral(
            "Unknown column \"Humidity\": the columns are \"Ambient Temperature\"")));
    }
};

int main(int argc, char* argv[]) {
    // Decimal commas and a 24-hour clock, as a German desktop has them.
    qputenv("LC_ALL", "de_DE.UTF-8");
    QCoreApplication app(argc, argv);
    DataLogTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_data_log.moc"
