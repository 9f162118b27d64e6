// The calibration window: recording points and fitting them, the coefficient upload, the
// controller parameters read from the unit and uploaded in the unit's order, the two files with
// their exact lines, malformed files, and what closing keeps.

#include "TempCompRig.h"
#include "support/FileSizeLimit.h"

#include "tempcomp/CalibrationWindow.h"
#include "tempcomp/HeaterLoopUpload.h"

#include <QRegularExpression>
#include <QTest>

using namespace mivel;
using namespace mivel::tempcomp;
using namespace mivel::test;

namespace {

const QString PortClosed = QStringLiteral("Error:  The communications port is not open.");
const QDateTime SavedAt(QDate(2024, 3, 7), QTime(21, 5, 9));

// What was sent apart from the window's reading polls.
QByteArray withoutPolls(QByteArray sent) {
    return sent.replace(" T ", "");
}

// Replies of a unit with every controller parameter set.
const QByteArray ParameterReplies =
    ":sl1 1250 :of1 -4000000 :sl2 1300 :of2 -4100000 :sl3 1350 :of3 -4200000 :sl4 1400 "
    ":of4 -4300000 :p 30 :r 200 :g 5 :i 2 :l 100 :v 131072 :c 32768 :fo 12 :fp 40 :ifo 0 "
    ":ifa 255 :ifs 20 :ifh 3 :ac 1 :db 1 :dbt 300 :dbs 8 :eh 0 :skp 150 :skd 25 :ski 5 "
    ":sdi 4 :sil 60 ";

// Two points on the lines reference = 0.5 x - 1, x and 0.1 x - 1 of the three sensors.
void fitTwoPoints(TempCompRig& rig, CalibrationWindow& window) {
    rig.reply(":t4 2 :t5 0 :t6 10 ");
    QVERIFY(window.recordPoint(QStringLiteral("0")));
    rig.reply(":t4 4 :t5 1 :t6 20 ");
    QVERIFY(window.recordPoint(QStringLiteral("1")));
    QVERIFY(window.calibrate());
    rig.sent();
}

} // namespace

class CalibrationTest : public QObject {
    Q_OBJECT
private slots:
    void openingReadsParametersAndPollsReadings() {
        TempCompRig rig;
        CalibrationWindow window(*rig.ctx);
        QCOMPARE(rig.sent(), QByteArray("l G <  T "));
        rig.clock.advance(CalibrationWindow::ReadingPollMs);
        QCOMPARE(rig.sent(), QByteArray(" T "));
        rig.ctx->hub().serial()->setConnected(false);
        rig.clock.advance(CalibrationWindow::ReadingPollMs);
        QCOMPARE(rig.sent(), QByteArray());

        TempCompRig closed(false);
        CalibrationWindow quiet(*closed.ctx);
        QCOMPARE(closed.sent(), QByteArray());
    }

    void recordingAndFittingPoints() {
        TempCompRig rig;
        CalibrationWindow window(*rig.ctx);
        rig.reply(":t4 2 :t5 0 ");
        QVERIFY(!window.canRecordPoint()); // a reading is still missing
        rig.reply(":t6 9 ");
        QVERIFY(!window.recordPoint(QStringLiteral("sixty")));
        QCOMPARE(rig.lastShown().text, QStringLiteral("Invalid reference temperature."));
        QVERIFY(window.recordPoint(QStringLiteral(" 0 ")));

        QVERIFY(!window.calibrate());
        QCOMPARE(rig.lastShown().text, QStringLiteral("Error:  A minimum of two points is required "
                                                      "to calculate the coefficients."));
        QCOMPARE(rig.lastShown().title, QStringLiteral("Mivel"));
        QVERIFY(!window.coefficientUploadEnabled());

        // Sensor 0: reference = 0.5 x - 1; sensor 1: reference = 2 x; sensor 2 not a line.
        rig.reply(":t4 4 :t5 0.5 :t6 10 ");
        QVERIFY(window.recordPoint(QStringLiteral("1")));
        rig.reply(":t4 6 :t5 1 :t6 12 ");
        QVERIFY(window.recordPoint(QStringLiteral("2")));
        QVERIFY(window.calibrate());
        QVERIFY(window.coefficientUploadEnabled());
        QCOMPARE(window.coefficientNote(), QString());
        QCOMPARE(window.slopeText(0), QStringLiteral(".500000"));
        QCOMPARE(window.interceptText(0), QStringLiteral("-1.000000"));
        QCOMPARE(window.r2Text(0), QStringLiteral("1.000000"));
        QCOMPARE(window.slopeText(1), QStringLiteral("2.000000"));
        QCOMPARE(window.interceptText(1), QStringLiteral(".000000"));
        QCOMPARE(window.slopeText(2), QStringLiteral(".642857")); // (9, 0), (10, 1), (12, 2)

        // The table's last row, then a Record that says why it records nothing more.
        QCOMPARE(window.recordNote(), QString());
        for (int i = 3; i < PointTable::Capacity; ++i)
            QVERIFY(window.recordPoint(QString::number(i)));
        QVERIFY(!window.canRecordPoint());
        const QString full = QStringLiteral(
            "101 points recorded, as many as the table holds.  Clear Points to start again.");
        QCOMPARE(window.recordNote(), full);
        rig.prompt->shown.clear();
        QVERIFY(!window.recordPoint(QStringLiteral("5")));
        QCOMPARE(rig.prompt->texts(), QStringList{full});
        QCOMPARE(window.points().count(), 101);

        // Clearing the points takes their coefficients with them.
        window.clearPoints();
        QCOMPARE(window.points().count(), 0);
        QVERIFY(!window.coefficientUploadEnabled());
        QVERIFY(!window.fit(0));
        QCOMPARE(window.slopeText(0), QString());
        QCOMPARE(window.recordNote(), QString());
        auto refused = window.uploadCoefficients();
        QVERIFY(refused.isDone() && !refused.result());
    }

    void coefficientUploadPausesBetweenCommands() {
        TempCompRig rig;
        CalibrationWindow window(*rig.ctx);
        fitTwoPoints(rig, window);

        rig.ctx->hub().serial()->setConnected(false);
        auto refused = window.uploadCoefficients();
        QVERIFY(refused.isDone() && !refused.result());
        QCOMPARE(rig.lastShown().text, PortClosed);
        QCOMPARE(rig.lastShown().title, QStringLiteral("Vark"));
        rig.ctx->hub().serial()->setConnected(true);
        QCOMPARE(withoutPolls(rig.sent()), QByteArray());

        auto upload = window.uploadCoefficients();
        QCOMPARE(rig.lastShown().text, QStringLiteral("Upload new coefficients to the Mivel?"));
        QCOMPARE(withoutPolls(rig.sent()), QByteArray("A0.5000000 "));
        for (const char* next :
             {"B1.0000000 ", "C0.1000000 ", "D-1.0000000 ", "E0.0000000 ", "F-1.0000000 "}) {
            rig.clock.advance(CalibrationWindow::CoefficientPauseMs - 1);
            QCOMPARE(withoutPolls(rig.sent()), QByteArray());
            rig.clock.advance(1);
            QCOMPARE(withoutPolls(rig.sent()), QByteArray(next));
        }
        rig.clock.advance(CalibrationWindow::CoefficientPauseMs);
        QVERIFY(upload.isDone() && upload.result());

        // Closing the window during the pauses does not cut the upload short: a unit with new
        // slopes and old intercepts would report every temperature wrong.
        std::optional<Task<bool>> behind;
        {
            CalibrationWindow other(*rig.ctx);
            fitTwoPoints(rig, other);
            behind = other.uploadCoefficients();
            QCOMPARE(withoutPolls(rig.sent()), QByteArray("A0.5000000 "));
        }
        rig.clock.advance(10 * CalibrationWindow::CoefficientPauseMs);
        QCOMPARE(withoutPolls(rig.sent()), QByteArray("B1.0000000 C0.1000000 D-1.0000000 "
                                                      "E0.0000000 F-1.0000000 "));
        QVERIFY(behind->isDone() && behind->result());

        // A port that closes during the upload stops it, and the user hears how far it got.
        auto cut = window.uploadCoefficients();
        rig.sent();
        rig.clock.advance(CalibrationWindow::CoefficientPauseMs);
        rig.ctx->hub().serial()->setConnected(false);
        rig.clock.advance(CalibrationWindow::CoefficientPauseMs);
        QVERIFY(cut.isDone() && !cut.result());
        QCOMPARE(rig.lastShown().text,
                 QStringLiteral("The coefficient upload stopped after 2 of 6 commands: the "
                                "communications port closed.  Upload the coefficients again."));
        QVERIFY(window.coefficientUploadEnabled()); // and it can be tried again
        QVERIFY(!window.coefficientUploadRunning());
    }

    // A slope the unit would hold as 0 makes that sensor read one fixed temperature: such
    // coefficients are refused for upload, with the reason, whether fitted or loaded.
    void zeroSlopeIsNotUploaded() {
        TempCompRig rig;
        CalibrationWindow window(*rig.ctx);
        rig.reply(":t4 2 :t5 0 :t6 10 ");
        QVERIFY(window.recordPoint(QStringLiteral("0")));
        rig.reply(":t4 4 :t5 1 :t6 10 "); // the secondary sensor's reading never changed
        QVERIFY(window.recordPoint(QStringLiteral("1")));
        rig.prompt->shown.clear();
        QVERIFY(window.calibrate());
        QCOMPARE(window.slopeText(2), QStringLiteral(".000000"));
        const QString secondary = QStringLiteral(
            "The Secondary sensor's slope is 0: the unit would report one fixed temperature "
            "whatever the sensor reads, so these coefficients are not uploaded.  Record points "
            "over a range of temperatures in which every sensor's reading changes.");
        QCOMPARE(rig.prompt->texts(), QStringList{secondary});
        QCOMPARE(window.coefficientNote(), secondary);
        QVERIFY(!window.coefficientUploadEnabled());
        rig.sent();
        auto refused = window.uploadCoefficients();
        QVERIFY(refused.isDone() && !refused.result());
        QCOMPARE(rig.lastShown().text, secondary);
        rig.clock.advance(10 * CalibrationWindow::CoefficientPauseMs);
        QCOMPARE(withoutPolls(rig.sent()), QByteArray());

        // A file's slope so small that the unit rounds it to 0, and a fresh window's sensors
        // that the file leaves without any slope, are refused alike.
        const QString path = rig.path("coef.dat");
        QVERIFY(writeAll(path, "\"T1\",\".000004\",\"-40\"\r\n\"T2\",\".02\",\"-30\"\r\n"));
        TempCompRig other;
        CalibrationWindow fresh(*other.ctx);
        QVERIFY(fresh.loadCoefficientFile(path));
        QVERIFY(!fresh.coefficientUploadEnabled());
        QVERIFY(fresh.coefficientNote().startsWith(
            QStringLiteral("The slopes of the Ambient and Secondary sensors are 0: ")));
        QVERIFY(writeAll(path, "\"T1\",\".00001\",\"-40\"\r\n\"T3\",\"-.03\",\"-20\"\r\n"));
        QVERIFY(fresh.loadCoefficientFile(path));
        QVERIFY(fresh.coefficientUploadEnabled());
        QCOMPARE(fresh.coefficientNote(), QString());
    }

    // A sum that overflows is the floating-point error: no coefficients are left to upload.
    void overflowRaisesTheError() {
        TempCompRig rig;
        CalibrationWindow window(*rig.ctx);
        fitTwoPoints(rig, window);
        QVERIFY(window.coefficientUploadEnabled());
        rig.reply(":t4 6 :t5 2 :t6 30 ");
        QVERIFY(window.recordPoint(QStringLiteral("1e300")));
        rig.prompt->shown.clear();
        QVERIFY(!window.calibrate());
        QCOMPARE(rig.prompt->texts(), QStringList{QStringLiteral("Error number: 6 Overflow")});
        QCOMPARE(rig.lastShown().title, QStringLiteral("Mivel"));
        QVERIFY(!window.coefficientUploadEnabled());
        for (int sensor = 0; sensor < CalibrationWindow::SensorCount; ++sensor) {
            QVERIFY(!window.fit(sensor));
            QCOMPARE(window.slopeText(sensor), QString());
        }
        QVERIFY(!window.coefficientNote().isEmpty());
        auto refused = window.uploadCoefficients();
        QVERIFY(refused.isDone() && !refused.result());
        QCOMPARE(withoutPolls(rig.sent()), QByteArray());
    }

    void parameterRepliesFillTheWindow() {
        TempCompRig rig;
        CalibrationWindow window(*rig.ctx);
        rig.reply(ParameterReplies);
        // One parameter of each scaling, and the two dead band replies that cross over.
        const std::pair<Param, const char*> expected[] = {{Param::AmbSlope, "0.01250"},
                                                          {Param::ElectIntercept, "-43.00000"},
                                                          {Param::Kd, "200"},
                                                          {Param::Velocity, "2.0000"},
                                                          {Param::Acceleration, "0.5000"},
                                                          {Param::IntFanMode, "2"},
                                                          {Param::AutoCurrent, "1"},
                                                          {Param::DeadbandSettle, "300"},
                                                          {Param::Deadband, "8"},
                                                          {Param::HeaterKp, "1.50"},
                                                          {Param::HeaterDerivTime, "4"},
                                                          {Param::FanPulsePower, "40"}};
        for (const auto& [param, text] : expected)
            QCOMPARE(window.value(param), QString::fromLatin1(text));
        QVERIFY(!window.changed()); // what the unit reports is not an edit

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

    void editsRefuseWhatTheParameterCannotTake() {
        TempCompRig rig;
        CalibrationWindow window(*rig.ctx);
        rig.reply(ParameterReplies);
        QVERIFY(!window.edit(Param::Kp, QStringLiteral("3O")));
        QCOMPARE(rig.lastShown().text, QStringLiteral("Invalid proportional gain."));
        QCOMPARE(window.value(Param::Kp), QStringLiteral("30"));
        const std::pair<Param, const char*> refused[] = {{Param::AmbSlope, ""},
                                                         {Param::IntFanSet, "32"},
                                                         {Param::IntFanSet, "2.5"},
                                                         {Param::IntFanMode, "3"},
                                                         {Param::StepSize, "fast"}};
        for (const auto& [param, text] : refused)
            QVERIFY(!window.edit(param, QString::fromLatin1(text)));
        QVERIFY(!window.changed());
        QVERIFY(!window.parameterUploadEnabled());

        QVERIFY(window.edit(Param::Kp, QStringLiteral(" 35 ")));
        QCOMPARE(window.value(Param::Kp), QStringLiteral("35"));
        QVERIFY(window.changed());
        QVERIFY(window.parameterUploadEnabled());
    }

    void parameterUploadInTheUnitsOrder() {
        TempCompRig rig;
        CalibrationWindow window(*rig.ctx);
        rig.reply(ParameterReplies);
        QVERIFY(window.edit(Param::Deadband, QStringLiteral("8.5")));
        QVERIFY(window.edit(Param::HeaterDerivTime, QStringLiteral(" 4.5 ")));
        rig.sent();
        QVERIFY(window.uploadParameters());
        QCOMPARE(rig.lastShown().text, QStringLiteral("Upload changes to Mivel?"));
        QCOMPARE(rig.sent(), QByteArray("}255 [20 ]3 @12 z40 p30 d200 e5 i2 j100 v131072 a32768 "
                                        " N255  K0  X255 Y8.5 W300 L150 ^25 ?4.5 #5 ~60 u"));
        QVERIFY(!window.parameterUploadEnabled());
        QVERIFY(!window.changed());

        rig.prompt->answers = {Prompt::Answer::Cancel};
        QVERIFY(!window.uploadParameters());
        rig.ctx->hub().serial()->setConnected(false);
        QVERIFY(!window.uploadParameters());
        QCOMPARE(rig.lastShown().text, PortClosed);
        QCOMPARE(rig.lastShown().title, QStringLiteral("Vark"));
        QCOMPARE(rig.sent(), QByteArray());
    }

    void parameterUploadLeavesOutWhatIsNotANumber() {
        TempCompRig rig;
        CalibrationWindow window(*rig.ctx);
        rig.sent();
        // Nothing read from the unit: the text boxes are empty and the spin controls at their
        // least.
        window.edit(Param::Kp, QStringLiteral("12"));
        window.edit(Param::Kd, QStringLiteral("1.5E-5"));    // the unit reads no exponent
        window.edit(Param::HeaterKp, QStringLiteral("400")); // 40000 does not fit 16 bits
        window.edit(Param::HeaterKd, QStringLiteral("-327.68"));
        window.edit(Param::Velocity, QStringLiteral("1.00001")); // rounded down
        window.edit(Param::Acceleration, QStringLiteral("40000"));
        window.uploadParameters();
        QCOMPARE(rig.sent(),
                 QByteArray("{0 [0 ]0 @0 z0 p12 d0.000015 v65536  N0  K0  X0 W0 ^-32768 u"));
        // Each value left out is named, with the reason.
        QCOMPARE(rig.lastShown().text, QStringLiteral("Not uploaded, so the Mivel keeps its own "
                                                      "values:\n\n"
                                                      "derivative setting: no value\n"
                                                      "integral gain: no value\n"
                                                      "integral limit: no value\n"
                                                      "acceleration: \"40000\" is more than the "
                                                      "unit can hold\n"
                                                      "dead band: no value\n"
                                                      "heater proportional gain: \"400\" is more "
                                                      "than the unit can hold\n"
                                                      "heater derivative time: no value\n"
                                                      "heater integral gain: no value\n"
                                                      "heater integral limit: no value"));
        QCOMPARE(rig.lastShown().icon, Prompt::Icon::Warning);

        // Everything there: nothing to say after the upload.
        rig.reply(ParameterReplies);
        rig.prompt->shown.clear();
        window.uploadParameters();
        QCOMPARE(rig.prompt->texts(), QStringList{QStringLiteral("Upload changes to Mivel?")});
    }

    // What the unit reported goes back as the unit holds it, whatever the display rounds; an
    // edited value goes as typed.
    void parametersReadGoBackUnchanged() {
        TempCompRig rig;
        CalibrationWindow window(*rig.ctx);
        rig.reply(ParameterReplies);
        rig.reply(":v 650 :c 32769 ");
        QCOMPARE(window.value(Param::Velocity), QStringLiteral("0.0099"));
        QCOMPARE(window.value(Param::Acceleration), QStringLiteral("0.5000"));
        QVERIFY(window.edit(Param::Kp, QStringLiteral("31")));
        rig.sent();
        QVERIFY(window.uploadParameters());
        const QByteArray sent = rig.sent();
        QVERIFY2(sent.contains(" p31 ") && sent.contains(" v650 a32769 "), sent.constData());

        // Edited, the window's text is what goes; typed back to what the unit reported, the
        // unit's own value goes again.
        QVERIFY(window.edit(Param::Velocity, QStringLiteral("0.0100")));
        QVERIFY(window.uploadParameters());
        QVERIFY(rig.sent().contains(" v655 a32769 "));
        QVERIFY(window.edit(Param::Velocity, QStringLiteral("0.0099")));
        QVERIFY(window.uploadParameters());
        QVERIFY(rig.sent().contains(" v650 a32769 "));
        // A new report replaces the old.
        rig.reply(":v 700 ");
        QCOMPARE(window.value(Param::Velocity), QStringLiteral("0.0107"));
        QVERIFY(window.edit(Param::Kp, QStringLiteral("32")));
        QVERIFY(window.uploadParameters());
        QVERIFY(rig.sent().contains(" v700 a32769 "));
    }

    void heaterLoopCommands_data() {
        QTest::addColumn<QStringList>("values");
        QTest::addColumn<QByteArray>("sent");
        QTest::newRow("all") << QStringList{"1.5", "0.25", "4", "0.05", "60"}
                             << QByteArray("L150 ^25 ?4 #5 ~60 ");
        QTest::newRow("rounding halves to even")
            << QStringList{"0.125", "0.135", "4", "0", "60"} << QByteArray("L12 ^14 ?4 #0 ~60 ");
        QTest::newRow("texts sent trimmed, not scaled")
            << QStringList{"1", "1", " 2.50 ", "1", "60"}
            << QByteArray("L100 ^100 ?2.50 #100 ~60 ");
        QTest::newRow("exponents written out") << QStringList{"1", "1", "2.5e-5", "1", "1E2"}
                                               << QByteArray("L100 ^100 ?0.000025 #100 ~100 ");
        QTest::newRow("not numbers skipped")
            << QStringList{"x", "", "four", "0.05", "6O"} << QByteArray("#5 ");
        QTest::newRow("beyond 16 bits skipped")
            << QStringList{"327.67", "327.68", "1", "-327.69", "1"} << QByteArray("L32767 ?1 ~1 ");
    }

    void heaterLoopCommands() {
        QFETCH(QStringList, values);
        QFETCH(QByteArray, sent);
        QByteArray commands;
        for (const auto& command :
             tempcomp::heaterLoopCommands({values[0], values[1], values[2], values[3], values[4]}))
            commands += command.value_or(QByteArray());
        QCOMPARE(commands, sent);
    }

    void parameterFileLinesAndRoundTrip() {
        TempCompRig rig;
        const QString path = rig.path("params.dat");
        CalibrationWindow window(*rig.ctx);
        window.setNow([] { return SavedAt; });
        rig.reply(ParameterReplies);
        window.edit(Param::Deadband, QStringLiteral("8.5"));
        window.edit(Param::CheckTelescope, QStringLiteral("1"));
        QVERIFY(window.saveParameterFile(path));
        // The file's lines, each ended here by ";".
        const QByteArray expected =
            R"("date","03/07/24 21:05:09";"TAmbS","0.01250";"TAmbI","-40.00000";)"
            R"("TPrimS","0.01300";"TPrimI","-41.00000";"TSecS","0.01350";"TSecI","-42.00000";)"
            R"("TElectS","0.01400";"TElectI","-43.00000";"IFMode",2;"IFSet","20";"IFHyst","3";)"
            R"("CFThreshold","12";"CFPulse","40";"Kp","30";"Kd","200";"Deriv","5";"Ki","2";)"
            R"("il","100";"Velocity","2.0000";"Acc","0.5000";"OverCurrent",1;"StopDeadband",1;)"
            R"("Deadband",8.5;"DeadbandTime",300;"ErrorComputer",0;"errorMivel",0;"sKp","1.50";)"
            R"("sKd","0.25";"sKi","0.05";"sdi","4";"sil","60";"CheckTelescope","1";)"
            R"("PromptTheSky",0;)";
        QCOMPARE(readAll(path), QByteArray(expected).replace(';', "\r\n"));

        TempCompRig other(false);
        CalibrationWindow fresh(*other.ctx);
        QVERIFY(fresh.loadParameterFile(path));
        for (const ParamInfo& info : params())
            if (info.form != FileForm::None)
                QCOMPARE(fresh.value(info.param), window.value(info.param));
        QVERIFY(fresh.changed()); // the window now differs from the unit
        QVERIFY(other.prompt->shown.empty());
    }

    void parameterFileInAnotherOrderWithExtraKeys() {
        TempCompRig rig;
        const QString path = rig.path("hand.dat");
        QVERIFY(writeAll(path, "\"Kd\", \"15\"\n"
                               "\"Colour\",\"blue\"\r\n"
                               "\r\n"
                               "\"Kp\",12.5\r\n"
                               "\"IFMode\",1,\"extra item\"\r\n"
                               "\"IFSet\",\"99\"\r\n" // beyond the spin control: not taken
                               "\"Velocity\",\"fast\"\r\n"
                               "\"date\",\"whenever\"\r\n"
                               "\"sil\",\"7")); // cut off inside the quotation
        CalibrationWindow window(*rig.ctx);
        rig.reply(":ifs 4 :v 65536 :sil 60 ");
        QVERIFY(window.loadParameterFile(path));
        // What was not taken is named with the reason; unknown keys are ignored.
        QCOMPARE(rig.prompt->texts(),
                 QStringList{QStringLiteral("Some items of the file were not loaded; those "
                                            "parameters keep their values:\n\n"
                                            "IFSet: \"99\" is not a whole number from 0 to 31\n"
                                            "Velocity: \"fast\" is not a number\n"
                                            "sil: no value")});
        QCOMPARE(rig.lastShown().title, QStringLiteral("TEC"));
        QCOMPARE(window.value(Param::Kd), QStringLiteral("15"));
        QCOMPARE(window.value(Param::Kp), QStringLiteral("12.5"));
        QCOMPARE(window.value(Param::IntFanMode), QStringLiteral("1"));
        QCOMPARE(window.value(Param::IntFanSet), QStringLiteral("4"));
        QCOMPARE(window.value(Param::Velocity), QStringLiteral("1.0000"));
        QCOMPARE(window.value(Param::HeaterILimit), QStringLiteral("60"));
    }

    void malformedFilesLeaveTheWindowAsItWas_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<bool>("exists");
        QTest::addColumn<QStringList>("messages"); // parameter file, then coefficient file
        const QString noParams = QStringLiteral("No parameters were loaded from the file.");
        const QString noCoefs = QStringLiteral("No coefficients were loaded from the file.");
        QTest::newRow("missing") << QByteArray() << false
                                 << QStringList(2, QStringLiteral("Error opening file."));
        QTest::newRow("empty") << QByteArray() << true
                               << QStringList(2, QStringLiteral("The file is empty."));
        QTest::newRow("only unknown keys") << QByteArray("\"a\",1\r\n\"date\",\"x\"\r\n") << true
                                           << QStringList{noParams + "\n\nUnknown keys: \"a\"",
                                                          noCoefs + "\n\nUnknown keys: \"a\""};
        QTest::newRow("binary") << QByteArray("\"Kp\",\"5\"\r\n\0\x01\x02", 12) << true
                                << QStringList{"The file is not a parameter file: it is not text.",
                                               "The file is not a coefficient file: it is not "
                                               "text."};
        QTest::newRow("some other text")
            << QByteArray("Dear diary,\nit rained.\n") << true
            << QStringList{noParams + "\n\nUnknown keys: \"Dear diary\", \"it rained.\"",
                           noCoefs + "\n\nUnknown keys: \"Dear diary\", \"it rained.\""};
        QTest::newRow("keys without values")
            << QByteArray("\"Kp\"\r\n\"Kd\",\r\n\"T1\",\"1\"\r\n\"T2\",\"1\",\"x\"\r\n") << true
            << QStringList{noParams + "\n\nKp: no value\nKd: no value\n"
                                      "Unknown keys: \"T1\", \"T2\"",
                           noCoefs + "\n\nT1: intercept no value\nT2: intercept \"x\" is not a "
                                     "number\nUnknown keys: \"Kp\", \"Kd\""};
    }

    void malformedFilesLeaveTheWindowAsItWas() {
        QFETCH(QByteArray, content);
        QFETCH(bool, exists);
        QFETCH(QStringList, messages);
        TempCompRig rig;
        const QString path = rig.path("bad.dat");
        if (exists)
            QVERIFY(writeAll(path, content));
        CalibrationWindow window(*rig.ctx);
        rig.reply(ParameterReplies);
        QVERIFY(!window.loadParameterFile(path));
        QVERIFY(!window.loadCoefficientFile(path));
        QCOMPARE(rig.prompt->texts(), messages);
        QCOMPARE(rig.lastShown().title, QStringLiteral("TEC"));
        QVERIFY(!window.changed());
        QVERIFY(!window.coefficientUploadEnabled());
        QCOMPARE(window.value(Param::Kp), QStringLiteral("30"));
    }

    void coefficientFileLinesAndRoundTrip() {
        TempCompRig rig;
        const QString path = rig.path("coef.dat");
        CalibrationWindow window(*rig.ctx);
        window.setNow([] { return SavedAt; });
        fitTwoPoints(rig, window);
        QVERIFY(window.saveCoefficientFile(path));
        QCOMPARE(readAll(path), QByteArray("\"date\",\"03/07/24\",\"21:05:09\"\r\n"
                                           "\"T1\",\".500000\",\"-1.000000\"\r\n"
                                           "\"T2\",\"1.000000\",\".000000\"\r\n"
                                           "\"T3\",\".100000\",\"-1.000000\"\r\n"));

        TempCompRig other;
        CalibrationWindow fresh(*other.ctx);
        QVERIFY(fresh.loadCoefficientFile(path));
        QVERIFY(fresh.coefficientUploadEnabled());
        QCOMPARE(fresh.interceptText(2), QStringLiteral("-1.000000"));
        QCOMPARE(fresh.r2Text(0), QString()); // not in the file

        // A hand-edited file with one sensor, bare numbers and an unknown line loads what it has.
        QVERIFY(writeAll(path, "\"T2\",0.25,3\r\n\"T9\",1,1\r\n\"T3\",\"x\",\"1\"\r\n"));
        QVERIFY(fresh.loadCoefficientFile(path));
        QCOMPARE(fresh.slopeText(1), QStringLiteral(".250000"));
        QCOMPARE(fresh.interceptText(1), QStringLiteral("3.000000"));
        QCOMPARE(fresh.slopeText(2), QStringLiteral(".100000"));
    }

    // A name without an extension is saved with ".dat", so the open dialog's filter shows it;
    // another extension, or a file already there, is kept as chosen.
    void savingAddsTheDataExtension() {
        TempCompRig rig;
        CalibrationWindow window(*rig.ctx);
        QVERIFY(window.saveParameterFile(rig.path("night")));
        QVERIFY(readAll(rig.path("night.dat")).startsWith("\"date\","));
        QVERIFY(!QFile::exists(rig.path("night")));
        fitTwoPoints(rig, window);
        QVERIFY(window.saveCoefficientFile(rig.path("coef")));
        QVERIFY(window.loadCoefficientFile(rig.path("coef.dat")));
        QVERIFY(window.saveCoefficientFile(rig.path("coef.txt")));
        QVERIFY(QFile::exists(rig.path("coef.txt")));
        QVERIFY(writeAll(rig.path("plain"), "old"));
        QVERIFY(window.saveParameterFile(rig.path("plain"))); // replaced, after the question
        QCOMPARE(rig.lastShown().text, QStringLiteral("Replace current file?"));
        QVERIFY(readAll(rig.path("plain")).startsWith("\"date\","));
        QVERIFY(!QFile::exists(rig.path("plain.dat")));
    }

    void savingAsksBeforeReplacingAndReportsFailures() {
        TempCompRig rig;
        CalibrationWindow window(*rig.ctx);
        const QString path = rig.path("keep.dat");
        QVERIFY(writeAll(path, "old contents"));
        rig.prompt->answers = {Prompt::Answer::Cancel, Prompt::Answer::Cancel};
        QVERIFY(!window.saveParameterFile(path));
        QVERIFY(!window.saveCoefficientFile(path));
        QCOMPARE(rig.lastShown().text, QStringLiteral("Replace current file?"));
        QCOMPARE(readAll(path), QByteArray("old contents"));

        rig.prompt->shown.clear();
        QVERIFY(!window.saveParameterFile(rig.path("no/such/folder.dat")));
        QVERIFY(!window.saveCoefficientFile(rig.dir.path())); // a folder cannot be replaced
        QCOMPARE(rig.prompt->texts(),
                 QStringList({QStringLiteral("Unable to create file."), // no replace question
                              QStringLiteral("Replace current file?"),
                              QStringLiteral("Unable to create file.")}));
#ifdef Q_OS_UNIX
        {
            // A full disk: the old file stays whole and the user hears of it.
            test::FileSizeLimit full(4);
            rig.prompt->shown.clear();
            rig.prompt->answers = {Prompt::Answer::Ok};
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression("could not save"));
            QVERIFY(!window.saveParameterFile(path));
            QCOMPARE(rig.prompt->texts().last(), QStringLiteral("Unable to create file."));
            QCOMPARE(readAll(path), QByteArray("old contents"));
        }
#endif
        rig.prompt->answers = {Prompt::Answer::Ok};
        QVERIFY(window.saveParameterFile(path)); // OK replaces
        QVERIFY(readAll(path).startsWith("\"date\","));
    }

    void closingOffersTheUploadAndKeepsTheSettings() {
        TempCompRig rig;
        rig.ctx->settings().stepSize = 0.5625f;
        {
            CalibrationWindow window(*rig.ctx);
            QCOMPARE(window.value(Param::StepSize), QStringLiteral("0.5625"));
            window.close(); // nothing changed: no question
            QVERIFY(rig.prompt->shown.empty());
        }
        CalibrationWindow window(*rig.ctx);
        rig.reply(ParameterReplies);
        window.edit(Param::StepSize, QStringLiteral("0.5"));
        window.edit(Param::PromptTheSky, QStringLiteral("1"));
        window.edit(Param::ErrorComputer, QStringLiteral("1"));
        rig.sent();
        QVERIFY(window.close());
        QCOMPARE(rig.lastShown().text, QStringLiteral("One or more items have changed.  Would you "
                                                      "like to upload changed to the Mivel?"));
        QCOMPARE(rig.lastShown().buttons, Prompt::Buttons::YesNo);
        QVERIFY(rig.sent().startsWith("}255 [20 "));
        QCOMPARE(rig.ctx->settings().stepSize, 0.5f);
        QVERIFY(rig.ctx->settings().promptTheSky);
        QCOMPARE(rig.ctx->settings().errorMessage, 1);
        const auto stored = rig.store->tree().value(SettingsStore::Hive::LocalMachine,
                                                    SettingsKeyPath, QStringLiteral("StepSize"));
        QVERIFY(stored);
        QCOMPARE(stored->type, SettingsStore::Type::String);
        QCOMPARE(stored->data, QByteArray("0.5", 4)); // with its terminating zero

        // Answered No: nothing is sent, the settings are kept all the same.
        CalibrationWindow again(*rig.ctx);
        again.edit(Param::StepSize, QStringLiteral("0.75"));
        rig.sent();
        rig.prompt->answers = {Prompt::Answer::No};
        QVERIFY(again.close());
        QCOMPARE(rig.sent(), QByteArray());
        QCOMPARE(rig.ctx->settings().stepSize, 0.75f);
    }

    // The options keep the type they are stored with: the text "0" stays text, a number stays
    // a number. The wrap-limit reversal is one of them.
    void closingKeepsTheSettingsTypes() {
        TempCompRig rig;
        using T = SettingsStore::Type;
        const auto stored = [&](const char* name) {
            return rig.store->tree().value(SettingsStore::Hive::LocalMachine, SettingsKeyPath,
                                           QLatin1String(name));
        };
        const auto put = [&](const char* name, T type, const QByteArray& data) {
            rig.store->tree().put(SettingsStore::Hive::LocalMachine, SettingsKeyPath,
                                  QLatin1String(name), type, data);
        };
        put("ErrorMessage", T::String, QByteArray("0", 2));
        put("CheckTelescope", T::String, QByteArray("0", 2));
        put("PromptTheSky", T::Dword, QByteArray(4, '\0'));
        rig.ctx->settings().autoReverse = false;
        CalibrationWindow window(*rig.ctx);
        QCOMPARE(window.value(Param::AutoReverse), QStringLiteral("0"));
        window.edit(Param::ErrorComputer, QStringLiteral("1"));
        window.edit(Param::CheckTelescope, QStringLiteral("1"));
        window.edit(Param::PromptTheSky, QStringLiteral("1"));
        window.edit(Param::AutoReverse, QStringLiteral("1"));
        rig.prompt->answers = {Prompt::Answer::No};
        window.close();
        QCOMPARE(stored("ErrorMessage")->type, T::String);
        QCOMPARE(stored("ErrorMessage")->data, QByteArray("1", 2));
        QCOMPARE(stored("CheckTelescope")->type, T::String);
        QCOMPARE(stored("CheckTelescope")->data, QByteArray("1", 2));
        QCOMPARE(stored("PromptTheSky")->type, T::Dword);
        QCOMPARE(stored("PromptTheSky")->data, QByteArray("\x01\0\0\0", 4));
        QCOMPARE(stored("AutoReverse")->type, T::Dword); // not stored before: as the table says
        QVERIFY(rig.ctx->settings().autoReverse);
        QVERIFY(rig.ctx->settings().checkTelescope);
        QCOMPARE(rig.ctx->settings().errorMessage, 1);
    }

    void closingReportsSettingsFailures() {
        {
            TempCompRig rig;
            rig.store->failCreate(SettingsStore::Hive::LocalMachine, SettingsKeyPath);
            CalibrationWindow(*rig.ctx).close();
            QCOMPARE(rig.prompt->texts(), QStringList{QStringLiteral("Unable to create key")});
        }
        TempCompRig rig;
        rig.store->failSet(QStringLiteral("StepSize"));
        CalibrationWindow(*rig.ctx).close();
        QCOMPARE(rig.prompt->texts(), QStringList{QStringLiteral("Unable to read registry")});
    }
};

QTEST_GUILESS_MAIN(CalibrationTest)
#include "test_calibration.moc"
