// The calibration window: recording points and fitting them, the coefficient upload, the
// controller parameters read from the unit and uploaded in the unit's order, the two files with
// their exact lines, malformed files, and what closing keeps.

#include "Rig.h"

#include "tempcomp/CalibrationWindow.h"
#include "tempcomp/HeaterLoopUpload.h"

#include <QFile>
#include <QSignalSpy>
#include <QTest>

using namespace mivel;
using namespace mivel::tempcomp;
using mivel::test::Rig;

namespace {

const QString PortClosed = QStringLiteral("Error:  The communications port is not open.");
const QDateTime SavedAt(QDate(2024, 3, 7), QTime(21, 5, 9));

// What was sent apart from the window's reading polls.
QByteArray withoutPolls(QByteArray sent) {
    return sent.replace(" T ", "");
}

QByteArray readAll(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void writeAll(const QString& path, const QByteArray& data) {
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(data);
}

// Replies of a unit with every controller parameter set.
const QByteArray ParameterReplies =
    ":sl1 1250 :of1 -4000000 :sl2 1300 :of2 -4100000 :sl3 1350 :of3 -4200000 :sl4 1400 "
    ":of4 -4300000 :p 30 :r 200 :g 5 :i 2 :l 100 :v 131072 :c 32768 :fo 12 :fp 40 :ifo 0 "
    ":ifa 255 :ifs 20 :ifh 3 :ac 1 :db 1 :dbt 300 :dbs 8 :eh 0 :skp 150 :skd 25 :ski 5 "
    ":sdi 4 :sil 60 ";

} // namespace

class CalibrationTest : public QObject {
    Q_OBJECT
private slots:
    void openingReadsParametersAndPollsReadings();
    void recordingPoints();
    void fittingNeedsTwoPoints();
    void fittingShowsEachSensorsLine();
    void coefficientUploadPausesBetweenCommands();
    void coefficientUploadRefusedOrCancelled();
    void parameterRepliesFillTheWindow();
    void editsRefuseWhatTheParameterCannotTake();
    void parameterUploadInTheUnitsOrder();
    void parameterUploadLeavesOutWhatIsNotANumber();
    void heaterLoopCommands_data();
    void heaterLoopCommands();
    void parameterFileLinesAndRoundTrip();
    void parameterFileInAnotherOrderWithExtraKeys();
    void malformedFilesLeaveTheWindowAsItWas_data();
    void malformedFilesLeaveTheWindowAsItWas();
    void coefficientFileLinesAndRoundTrip();
    void savingAsksBeforeReplacingAndReportsFailures();
    void closingOffersTheUploadAndKeepsTheSettings();
    void closingReportsSettingsFailures();
};

void CalibrationTest::openingReadsParametersAndPollsReadings() {
    Rig rig;
    CalibrationWindow window(rig.ctx);
    QCOMPARE(rig.sent(), QByteArray("l G <  T "));
    rig.clock.advance(CalibrationWindow::ReadingPollMs);
    QCOMPARE(rig.sent(), QByteArray(" T "));
    rig.ctx.hub().serial()->setConnected(false);
    rig.clock.advance(CalibrationWindow::ReadingPollMs);
    QCOMPARE(rig.sent(), QByteArray());

    Rig closed(false);
    CalibrationWindow quiet(closed.ctx);
    QCOMPARE(closed.sent(), QByteArray());
}

void CalibrationTest::recordingPoints() {
    Rig rig;
    CalibrationWindow window(rig.ctx);
    QSignalSpy points(&window, &CalibrationWindow::pointsChanged);
    QVERIFY(!window.canRecordPoint()); // no readings yet
    QVERIFY(!window.recordPoint(QStringLiteral("60")));
    rig.reply(":t4 1000 :t5 2000 ");
    QVERIFY(!window.canRecordPoint());
    rig.reply(":t6 3000 ");
    QVERIFY(window.canRecordPoint());

    QVERIFY(!window.recordPoint(QStringLiteral("sixty")));
    QCOMPARE(rig.prompt->shown.back().text, QStringLiteral("Invalid reference temperature."));
    QCOMPARE(rig.prompt->shown.back().title, QStringLiteral("Mivel"));
    QVERIFY(!window.recordPoint(QString()));
    QCOMPARE(window.points().count(), 0);

    QVERIFY(window.recordPoint(QStringLiteral(" 61.5 ")));
    QCOMPARE(window.points().count(), 1);
    QCOMPARE(*window.points().at(0, 0), 1000.0);
    QCOMPARE(*window.points().at(1, 0), 2000.0);
    QCOMPARE(*window.points().at(2, 0), 3000.0);
    QCOMPARE(*window.points().at(3, 0), 61.5);
    QCOMPARE(points.count(), 1);

    for (int i = 1; i < PointTable::Capacity; ++i)
        QVERIFY(window.recordPoint(QString::number(i)));
    QVERIFY(!window.canRecordPoint());
    QVERIFY(!window.recordPoint(QStringLiteral("5")));
    QCOMPARE(window.points().count(), 101);
    window.clearPoints();
    QCOMPARE(window.points().count(), 0);
}

void CalibrationTest::fittingNeedsTwoPoints() {
    Rig rig;
    CalibrationWindow window(rig.ctx);
    rig.reply(":t4 1 :t5 2 :t6 3 ");
    QVERIFY(window.recordPoint(QStringLiteral("50")));
    QVERIFY(!window.calibrate());
    const auto& shown = rig.prompt->shown.back();
    QCOMPARE(shown.text, QStringLiteral("Error:  A minimum of two points is required to "
                                        "calculate the coefficients."));
    QCOMPARE(shown.title, QStringLiteral("Mivel"));
    QCOMPARE(shown.icon, Prompt::Icon::Warning);
    QVERIFY(!window.coefficientUploadEnabled());
    QCOMPARE(window.slopeText(0), QString());
}

void CalibrationTest::fittingShowsEachSensorsLine() {
    Rig rig;
    CalibrationWindow window(rig.ctx);
    // Sensor 0: reference = 0.5 x - 1; sensor 1: reference = 2 x; sensor 2 never changes.
    rig.reply(":t4 2 :t5 0 :t6 9 ");
    QVERIFY(window.recordPoint(QStringLiteral("0")));
    rig.reply(":t4 4 :t5 0.5 ");
    QVERIFY(window.recordPoint(QStringLiteral("1")));
    rig.reply(":t4 6 :t5 1 ");
    QVERIFY(window.recordPoint(QStringLiteral("2")));
    QSignalSpy fits(&window, &CalibrationWindow::fitsChanged);
    QVERIFY(window.calibrate());
    QCOMPARE(fits.count(), 1);
    QVERIFY(window.coefficientUploadEnabled());
    QCOMPARE(window.slopeText(0), QStringLiteral(".500000"));
    QCOMPARE(window.interceptText(0), QStringLiteral("-1.000000"));
    QCOMPARE(window.r2Text(0), QStringLiteral("1.000000"));
    QCOMPARE(window.slopeText(1), QStringLiteral("2.000000"));
    QCOMPARE(window.interceptText(1), QStringLiteral(".000000"));
    QCOMPARE(window.slopeText(2), QStringLiteral(".000000"));
    QCOMPARE(window.r2Text(2), QStringLiteral("0.000000"));
    QCOMPARE(window.fit(0)->slope, 0.5);
}

void CalibrationTest::coefficientUploadPausesBetweenCommands() {
    Rig rig;
    CalibrationWindow window(rig.ctx);
    rig.reply(":t4 2 :t5 0 :t6 10 ");
    window.recordPoint(QStringLiteral("0"));
    rig.reply(":t4 4 :t5 1 :t6 20 ");
    window.recordPoint(QStringLiteral("1"));
    QVERIFY(window.calibrate());
    rig.sent();

    auto upload = window.uploadCoefficients();
    QCOMPARE(rig.prompt->shown.back().text,
             QStringLiteral("Upload new coefficients to the Mivel?"));
    QCOMPARE(rig.prompt->shown.back().buttons, Prompt::Buttons::OkCancel);
    QCOMPARE(withoutPolls(rig.sent()), QByteArray("A0.5000000 "));
    QVERIFY(window.coefficientUploadRunning());
    const QByteArray rest[] = {"B1.0000000 ", "C0.1000000 ", "D-1.0000000 ", "E0.0000000 ",
                               "F-1.0000000 "};
    for (const QByteArray& next : rest) {
        rig.clock.advance(CalibrationWindow::CoefficientPauseMs - 1);
        QCOMPARE(withoutPolls(rig.sent()), QByteArray());
        rig.clock.advance(1);
        QCOMPARE(withoutPolls(rig.sent()), next);
    }
    QVERIFY(!upload.isDone());
    rig.clock.advance(CalibrationWindow::CoefficientPauseMs);
    QVERIFY(upload.isDone());
    QVERIFY(upload.result());
    QVERIFY(!window.coefficientUploadRunning());
}

void CalibrationTest::coefficientUploadRefusedOrCancelled() {
    Rig rig;
    CalibrationWindow window(rig.ctx);
    rig.reply(":t4 2 :t5 0 :t6 10 ");
    window.recordPoint(QStringLiteral("0"));
    rig.reply(":t4 4 :t5 1 :t6 20 ");
    window.recordPoint(QStringLiteral("1"));
    window.calibrate();
    rig.sent();

    rig.prompt->answers = {Prompt::Answer::Cancel};
    auto cancelled = window.uploadCoefficients();
    QVERIFY(cancelled.isDone() && !cancelled.result());
    QCOMPARE(withoutPolls(rig.sent()), QByteArray());

    rig.ctx.hub().serial()->setConnected(false);
    auto refused = window.uploadCoefficients();
    QVERIFY(refused.isDone() && !refused.result());
    QCOMPARE(rig.prompt->shown.back().text, PortClosed);
    QCOMPARE(rig.prompt->shown.back().title, QStringLiteral("Vark"));
    rig.ctx.hub().serial()->setConnected(true);
    QCOMPARE(withoutPolls(rig.sent()), QByteArray());

    // Closing the window during the pauses ends the upload without sending more.
    {
        CalibrationWindow other(rig.ctx);
        rig.reply(":t4 2 :t5 0 :t6 10 ");
        other.recordPoint(QStringLiteral("0"));
        rig.reply(":t4 4 :t5 1 :t6 20 ");
        other.recordPoint(QStringLiteral("1"));
        other.calibrate();
        rig.sent();
        auto upload = other.uploadCoefficients();
        QCOMPARE(withoutPolls(rig.sent()), QByteArray("A0.5000000 "));
    }
    rig.clock.advance(10 * CalibrationWindow::CoefficientPauseMs);
    QCOMPARE(withoutPolls(rig.sent()), QByteArray());
}

void CalibrationTest::parameterRepliesFillTheWindow() {
    Rig rig;
    CalibrationWindow window(rig.ctx);
    QSignalSpy values(&window, &CalibrationWindow::valueChanged);
    rig.reply(ParameterReplies);
    const std::pair<Param, const char*> expected[] = {
        {Param::AmbSlope, "0.01250"},
        {Param::AmbIntercept, "-40.00000"},
        {Param::ElectSlope, "0.01400"},
        {Param::ElectIntercept, "-43.00000"},
        {Param::Kp, "30"},
        {Param::Kd, "200"},
        {Param::Deriv, "5"},
        {Param::Ki, "2"},
        {Param::IntegralLimit, "100"},
        {Param::Velocity, "2.0000"},
        {Param::Acceleration, "0.5000"},
        {Param::FanThreshold, "12"},
        {Param::FanPulsePower, "40"},
        {Param::IntFanMode, "2"},
        {Param::IntFanSet, "20"},
        {Param::IntFanHyst, "3"},
        {Param::AutoCurrent, "1"},
        {Param::DeadbandOn, "1"},
        {Param::DeadbandSettle, "300"},
        {Param::Deadband, "8"},
        {Param::ErrorHandheld, "0"},
        {Param::HeaterKp, "1.50"},
        {Param::HeaterKd, "0.25"},
        {Param::HeaterKi, "0.05"},
        {Param::HeaterDerivTime, "4"},
        {Param::HeaterILimit, "60"},
    };
    for (const auto& [param, text] : expected)
        QCOMPARE(window.value(param), QString::fromLatin1(text));
    QVERIFY(values.count() >= int(std::size(expected)));
    QVERIFY(!window.changed()); // what the unit reports is not an edit
    QVERIFY(!window.parameterUploadEnabled());

    // The internal fan set point and hysteresis are taken from 0 to 31 only.
    rig.reply(":ifs 32 :ifh -1 :ifs x ");
    QCOMPARE(window.value(Param::IntFanSet), QStringLiteral("20"));
    QCOMPARE(window.value(Param::IntFanHyst), QStringLiteral("3"));
    // The fan mode follows the two internal fan replies together.
    rig.reply(":ifa 0 ");
    QCOMPARE(window.value(Param::IntFanMode), QStringLiteral("0"));
    rig.reply(":ifo 255 ");
    QCOMPARE(window.value(Param::IntFanMode), QStringLiteral("1"));
}

void CalibrationTest::editsRefuseWhatTheParameterCannotTake() {
    Rig rig;
    CalibrationWindow window(rig.ctx);
    rig.reply(ParameterReplies);
    QSignalSpy buttons(&window, &CalibrationWindow::buttonsChanged);

    QVERIFY(!window.edit(Param::Kp, QStringLiteral("3O")));
    QCOMPARE(rig.prompt->shown.back().text, QStringLiteral("Invalid proportional gain."));
    QCOMPARE(rig.prompt->shown.back().title, QStringLiteral("Mivel"));
    QCOMPARE(window.value(Param::Kp), QStringLiteral("30"));
    QVERIFY(!window.edit(Param::AmbSlope, QString()));
    QVERIFY(!window.edit(Param::IntFanSet, QStringLiteral("32")));
    QVERIFY(!window.edit(Param::IntFanSet, QStringLiteral("2.5")));
    QVERIFY(!window.edit(Param::IntFanMode, QStringLiteral("3")));
    QVERIFY(!window.edit(Param::StepSize, QStringLiteral("fast")));
    QVERIFY(!window.changed());
    QCOMPARE(buttons.count(), 0);

    QVERIFY(window.edit(Param::Kp, QStringLiteral(" 35 ")));
    QCOMPARE(window.value(Param::Kp), QStringLiteral("35"));
    QVERIFY(window.edit(Param::AutoCurrent, QStringLiteral("0")));
    QVERIFY(window.changed());
    QVERIFY(window.parameterUploadEnabled());
}

void CalibrationTest::parameterUploadInTheUnitsOrder() {
    Rig rig;
    CalibrationWindow window(rig.ctx);
    rig.reply(ParameterReplies);
    QVERIFY(window.edit(Param::Deadband, QStringLiteral("8.5")));
    QVERIFY(window.edit(Param::HeaterDerivTime, QStringLiteral(" 4.5 ")));
    rig.sent();
    QVERIFY(window.uploadParameters());
    QCOMPARE(rig.prompt->shown.back().text, QStringLiteral("Upload changes to Mivel?"));
    QCOMPARE(rig.sent(), QByteArray("}255 [20 ]3 @12 z40 p30 d200 e5 i2 j100 v131072 a32768 "
                                    " N255  K0  X255 Y8.5 W300 L150 ^25 ?4.5 #5 ~60 u"));
    QVERIFY(!window.parameterUploadEnabled());
    QVERIFY(!window.changed());

    // The other fan modes and check boxes.
    window.edit(Param::IntFanMode, QStringLiteral("1"));
    window.edit(Param::AutoCurrent, QStringLiteral("0"));
    window.edit(Param::ErrorHandheld, QStringLiteral("1"));
    window.edit(Param::DeadbandOn, QStringLiteral("0"));
    window.uploadParameters();
    const QByteArray second = rig.sent();
    QVERIFY(second.startsWith("{255 [20 "));
    QVERIFY(second.contains(" N0  K255  X0 Y"));
    window.edit(Param::IntFanMode, QStringLiteral("0"));
    window.uploadParameters();
    QVERIFY(rig.sent().startsWith("{0 [20 "));

    rig.prompt->answers = {Prompt::Answer::Cancel};
    QVERIFY(!window.uploadParameters());
    rig.ctx.hub().serial()->setConnected(false);
    QVERIFY(!window.uploadParameters());
    QCOMPARE(rig.prompt->shown.back().text, PortClosed);
    QCOMPARE(rig.prompt->shown.back().title, QStringLiteral("Vark"));
    QCOMPARE(rig.sent(), QByteArray());
}

void CalibrationTest::parameterUploadLeavesOutWhatIsNotANumber() {
    Rig rig;
    CalibrationWindow window(rig.ctx);
    rig.sent();
    // Nothing read from the unit: the text boxes are empty and the spin controls at their least.
    window.edit(Param::Kp, QStringLiteral("12"));
    window.edit(Param::HeaterKp, QStringLiteral("400")); // 40000 does not fit 16 bits
    window.edit(Param::HeaterKd, QStringLiteral("-327.68"));
    window.edit(Param::Velocity, QStringLiteral("1.00001"));
    window.uploadParameters();
    QCOMPARE(rig.sent(), QByteArray("{0 [0 ]0 @0 z0 p12 v65536  N0  K0  X0 W0 ^-32768 u"));
}

void CalibrationTest::heaterLoopCommands_data() {
    QTest::addColumn<QStringList>("values");
    QTest::addColumn<QByteArray>("sent");
    QTest::newRow("all") << QStringList{"1.5", "0.25", "4", "0.05", "60"}
                         << QByteArray("L150 ^25 ?4 #5 ~60 ");
    QTest::newRow("rounding halves to even")
        << QStringList{"0.125", "0.135", "4", "0", "60"} << QByteArray("L12 ^14 ?4 #0 ~60 ");
    QTest::newRow("texts sent trimmed, not scaled")
        << QStringList{"1", "1", " 2.50 ", "1", "1e2"} << QByteArray("L100 ^100 ?2.50 #100 ~1e2 ");
    QTest::newRow("not numbers skipped")
        << QStringList{"x", "", "four", "0.05", "6O"} << QByteArray("#5 ");
    QTest::newRow("beyond 16 bits skipped")
        << QStringList{"327.67", "327.68", "1", "-327.69", "1"} << QByteArray("L32767 ?1 ~1 ");
}

void CalibrationTest::heaterLoopCommands() {
    QFETCH(QStringList, values);
    QFETCH(QByteArray, sent);
    QByteArray all;
    for (const QByteArray& c :
         tempcomp::heaterLoopCommands({values[0], values[1], values[2], values[3], values[4]}))
        all += c;
    QCOMPARE(all, sent);
}

void CalibrationTest::parameterFileLinesAndRoundTrip() {
    Rig rig;
    const QString path = rig.dir.filePath(QStringLiteral("params.dat"));
    CalibrationWindow window(rig.ctx);
    window.setNow([] { return SavedAt; });
    rig.reply(ParameterReplies);
    window.edit(Param::Deadband, QStringLiteral("8.5"));
    window.edit(Param::CheckTelescope, QStringLiteral("1"));
    QVERIFY(window.saveParameterFile(path));
    const QByteArray expected = "\"date\",\"03/07/24 21:05:09\"\r\n"
                                "\"TAmbS\",\"0.01250\"\r\n"
                                "\"TAmbI\",\"-40.00000\"\r\n"
                                "\"TPrimS\",\"0.01300\"\r\n"
                                "\"TPrimI\",\"-41.00000\"\r\n"
                                "\"TSecS\",\"0.01350\"\r\n"
                                "\"TSecI\",\"-42.00000\"\r\n"
                                "\"TElectS\",\"0.01400\"\r\n"
                                "\"TElectI\",\"-43.00000\"\r\n"
                                "\"IFMode\",2\r\n"
                                "\"IFSet\",\"20\"\r\n"
                                "\"IFHyst\",\"3\"\r\n"
                                "\"CFThreshold\",\"12\"\r\n"
                                "\"CFPulse\",\"40\"\r\n"
                                "\"Kp\",\"30\"\r\n"
                                "\"Kd\",\"200\"\r\n"
                                "\"Deriv\",\"5\"\r\n"
                                "\"Ki\",\"2\"\r\n"
                                "\"il\",\"100\"\r\n"
                                "\"Velocity\",\"2.0000\"\r\n"
                                "\"Acc\",\"0.5000\"\r\n"
                                "\"OverCurrent\",1\r\n"
                                "\"StopDeadband\",1\r\n"
                                "\"Deadband\",8.5\r\n"
                                "\"DeadbandTime\",300\r\n"
                                "\"ErrorComputer\",0\r\n"
                                "\"errorMivel\",0\r\n"
                                "\"sKp\",\"1.50\"\r\n"
                                "\"sKd\",\"0.25\"\r\n"
                                "\"sKi\",\"0.05\"\r\n"
                                "\"sdi\",\"4\"\r\n"
                                "\"sil\",\"60\"\r\n"
                                "\"CheckTelescope\",\"1\"\r\n"
                                "\"PromptTheSky\",0\r\n";
    QCOMPARE(readAll(path), expected);

    Rig other(false);
    CalibrationWindow fresh(other.ctx);
    QVERIFY(fresh.loadParameterFile(path));
    for (const ParamInfo& info : params())
        if (info.form != FileForm::None)
            QCOMPARE(fresh.value(info.param), window.value(info.param));
    QVERIFY(fresh.changed()); // the window now differs from the unit
    QVERIFY(other.prompt->shown.empty());
}

void CalibrationTest::parameterFileInAnotherOrderWithExtraKeys() {
    Rig rig;
    const QString path = rig.dir.filePath(QStringLiteral("hand.dat"));
    writeAll(path, "\"Kd\", \"15\"\n"
                   "\"Colour\",\"blue\"\r\n"
                   "\r\n"
                   "\"Kp\",12.5\r\n"
                   "\"IFMode\",1,\"extra item\"\r\n"
                   "\"IFSet\",\"99\"\r\n" // beyond the spin control: not taken
                   "\"Velocity\",\"fast\"\r\n"
                   "\"date\",\"whenever\"\r\n"
                   "\"sil\",\"7"); // cut off inside the quotation
    CalibrationWindow window(rig.ctx);
    rig.reply(":ifs 4 :v 65536 :sil 60 ");
    QVERIFY(window.loadParameterFile(path));
    QVERIFY(rig.prompt->shown.empty());
    QCOMPARE(window.value(Param::Kd), QStringLiteral("15"));
    QCOMPARE(window.value(Param::Kp), QStringLiteral("12.5"));
    QCOMPARE(window.value(Param::IntFanMode), QStringLiteral("1"));
    QCOMPARE(window.value(Param::IntFanSet), QStringLiteral("4"));
    QCOMPARE(window.value(Param::Velocity), QStringLiteral("1.0000"));
    QCOMPARE(window.value(Param::HeaterILimit), QStringLiteral("60"));
}

void CalibrationTest::malformedFilesLeaveTheWindowAsItWas_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("exists");
    QTest::newRow("missing") << QByteArray() << false;
    QTest::newRow("empty") << QByteArray() << true;
    QTest::newRow("only unknown keys") << QByteArray("\"a\",1\r\n\"date\",\"x\"\r\n") << true;
    QTest::newRow("binary") << QByteArray("\"Kp\",\"5\"\r\n\0\x01\x02", 12) << true;
    QTest::newRow("some other text") << QByteArray("Dear diary,\nit rained.\n") << true;
    QTest::newRow("keys without values")
        << QByteArray("\"Kp\"\r\n\"Kd\",\r\n\"T1\",\"1\"\r\n") << true;
}

void CalibrationTest::malformedFilesLeaveTheWindowAsItWas() {
    QFETCH(QByteArray, content);
    QFETCH(bool, exists);
    Rig rig;
    const QString path = rig.dir.filePath(QStringLiteral("bad.dat"));
    if (exists)
        writeAll(path, content);
    CalibrationWindow window(rig.ctx);
    rig.reply(ParameterReplies);
    QSignalSpy values(&window, &CalibrationWindow::valueChanged);
    QSignalSpy fits(&window, &CalibrationWindow::fitsChanged);

    QVERIFY(!window.loadParameterFile(path));
    QVERIFY(!window.loadCoefficientFile(path));
    QCOMPARE(rig.prompt->shown.size(), std::size_t(2));
    for (const auto& shown : rig.prompt->shown) {
        QCOMPARE(shown.text, QStringLiteral("Error opening file."));
        QCOMPARE(shown.title, QStringLiteral("TEC"));
        QCOMPARE(shown.icon, Prompt::Icon::Warning);
    }
    QCOMPARE(values.count(), 0);
    QCOMPARE(fits.count(), 0);
    QVERIFY(!window.changed());
    QVERIFY(!window.coefficientUploadEnabled());
    QCOMPARE(window.value(Param::Kp), QStringLiteral("30"));
}

void CalibrationTest::coefficientFileLinesAndRoundTrip() {
    Rig rig;
    const QString path = rig.dir.filePath(QStringLiteral("coef.dat"));
    CalibrationWindow window(rig.ctx);
    window.setNow([] { return SavedAt; });
    rig.reply(":t4 2 :t5 0 :t6 10 ");
    window.recordPoint(QStringLiteral("0"));
    rig.reply(":t4 4 :t5 1 :t6 20 ");
    window.recordPoint(QStringLiteral("1"));
    QVERIFY(window.calibrate());
    QVERIFY(window.saveCoefficientFile(path));
    QCOMPARE(readAll(path), QByteArray("\"date\",\"03/07/24\",\"21:05:09\"\r\n"
                                       "\"T1\",\".500000\",\"-1.000000\"\r\n"
                                       "\"T2\",\"1.000000\",\".000000\"\r\n"
                                       "\"T3\",\".100000\",\"-1.000000\"\r\n"));

    Rig other;
    CalibrationWindow fresh(other.ctx);
    QVERIFY(!fresh.coefficientUploadEnabled());
    QVERIFY(fresh.loadCoefficientFile(path));
    QVERIFY(fresh.coefficientUploadEnabled());
    QCOMPARE(fresh.slopeText(0), QStringLiteral(".500000"));
    QCOMPARE(fresh.interceptText(2), QStringLiteral("-1.000000"));
    QCOMPARE(fresh.r2Text(0), QString()); // not in the file
    other.sent();
    auto upload = fresh.uploadCoefficients();
    other.clock.advance(6 * CalibrationWindow::CoefficientPauseMs);
    QVERIFY(upload.isDone());
    QCOMPARE(withoutPolls(other.sent()),
             QByteArray("A0.5000000 B1.0000000 C0.1000000 D-1.0000000 E0.0000000 "
                        "F-1.0000000 "));

    // A hand-edited file with one sensor, bare numbers and an unknown line loads what it has.
    writeAll(path, "\"T2\",0.25,3\r\n\"T9\",1,1\r\n\"T3\",\"x\",\"1\"\r\n");
    QVERIFY(fresh.loadCoefficientFile(path));
    QCOMPARE(fresh.slopeText(1), QStringLiteral(".250000"));
    QCOMPARE(fresh.interceptText(1), QStringLiteral("3.000000"));
    QCOMPARE(fresh.slopeText(2), QStringLiteral(".100000"));
}

void CalibrationTest::savingAsksBeforeReplacingAndReportsFailures() {
    Rig rig;
    CalibrationWindow window(rig.ctx);
    const QString path = rig.dir.filePath(QStringLiteral("keep.dat"));
    writeAll(path, "old contents");

    rig.prompt->answers = {Prompt::Answer::Cancel, Prompt::Answer::Cancel};
    QVERIFY(!window.saveParameterFile(path));
    QVERIFY(!window.saveCoefficientFile(path));
    QCOMPARE(rig.prompt->shown.back().text, QStringLiteral("Replace current file?"));
    QCOMPARE(rig.prompt->shown.back().buttons, Prompt::Buttons::OkCancel);
    QCOMPARE(readAll(path), QByteArray("old contents"));

    rig.prompt->shown.clear();
    QVERIFY(!window.saveParameterFile(rig.dir.filePath(QStringLiteral("no/such/folder.dat"))));
    QVERIFY(!window.saveCoefficientFile(rig.dir.path())); // a folder cannot be replaced
    QCOMPARE(rig.prompt->texts(),
             QStringList({QStringLiteral("Unable to create file."), // no replace question
                          QStringLiteral("Replace current file?"),
                          QStringLiteral("Unable to create file.")}));

    QVERIFY(window.saveParameterFile(path)); // OK replaces
    QVERIFY(readAll(path).startsWith("\"date\","));
}

void CalibrationTest::closingOffersTheUploadAndKeepsTheSettings() {
    Rig rig;
    rig.ctx.settings().stepSize = 0.5625f;
    {
        CalibrationWindow window(rig.ctx);
        QCOMPARE(window.value(Param::StepSize), QStringLiteral("0.5625"));
        window.close(); // nothing changed: no question
        QVERIFY(rig.prompt->shown.empty());
    }
    CalibrationWindow window(rig.ctx);
    rig.reply(ParameterReplies);
    window.edit(Param::StepSize, QStringLiteral("0.5"));
    window.edit(Param::PromptTheSky, QStringLiteral("1"));
    window.edit(Param::ErrorComputer, QStringLiteral("1"));
    rig.sent();
    rig.prompt->answers = {Prompt::Answer::Yes};
    QVERIFY(window.close());
    const auto& asked = rig.prompt->shown.back();
    QCOMPARE(asked.text, QStringLiteral("One or more items have changed.  Would you like to "
                                        "upload changed to the Mivel?"));
    QCOMPARE(asked.buttons, Prompt::Buttons::YesNo);
    QVERIFY(rig.sent().startsWith("}255 [20 "));
    QCOMPARE(rig.ctx.settings().stepSize, 0.5f);
    QVERIFY(rig.ctx.settings().promptTheSky);
    QCOMPARE(rig.ctx.settings().errorMessage, 1);
    const auto stored = rig.store->tree().value(SettingsStore::Hive::LocalMachine, SettingsKeyPath,
                                                QStringLiteral("StepSize"));
    QVERIFY(stored);
    QCOMPARE(stored->type, SettingsStore::Type::String);
    QCOMPARE(stored->data, QByteArray("0.5", 4)); // with its terminating zero

    // Answered No: nothing is sent, the settings are kept all the same.
    CalibrationWindow again(rig.ctx);
    again.edit(Param::StepSize, QStringLiteral("0.75"));
    rig.sent();
    rig.prompt->answers = {Prompt::Answer::No};
    QVERIFY(again.close());
    QCOMPARE(rig.sent(), QByteArray());
    QCOMPARE(rig.ctx.settings().stepSize, 0.75f);
}

void CalibrationTest::closingReportsSettingsFailures() {
    {
        Rig rig;
        rig.store->failCreate(SettingsStore::Hive::LocalMachine, SettingsKeyPath);
        CalibrationWindow window(rig.ctx);
        window.close();
        QCOMPARE(rig.prompt->texts(), QStringList{QStringLiteral("Unable to create key")});
    }
    Rig rig;
    rig.store->failSet(QStringLiteral("StepSize"));
    CalibrationWindow window(rig.ctx);
    window.close();
    QCOMPARE(rig.prompt->texts(), QStringList{QStringLiteral("Unable to read registry")});
}

QTEST_GUILESS_MAIN(CalibrationTest)
#include "test_calibration.moc"
