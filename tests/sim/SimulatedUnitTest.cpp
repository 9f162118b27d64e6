#include "Heard.h"

#include "sim/SimulatedUnit.h"

#include "link/Commands.h"
#include "link/Numbers.h"
#include "link/Replies.h"

#include <QTest>

#include <cmath>

using namespace mivel;
using sim::Sensor;
using sim::SimulatedUnit;
using wire::Cmd;
using wire::command;
using wire::Lead;

namespace {

// A unit on a manual clock with a receiver listening to it.
struct Bench {
    ManualClock clock;
    SimulatedUnit unit{clock};
    Heard heard;
    int transmits = 0;

    Bench() {
        QObject::connect(&unit, &SimulatedUnit::transmit, &unit, [this](const QByteArray& c) {
            ++transmits;
            heard(c);
        });
    }
    void send(const QByteArray& bytes) { unit.receive(bytes); }
    void run(qint64 ms) { clock.advance(ms); }
    // Sends a command and returns what came back to it alone.
    Heard ask(const QByteArray& bytes) {
        heard.clear();
        send(bytes);
        return heard;
    }
};

QByteArray q(Cmd cmd) {
    return command(cmd, Lead::Space);
}
QByteArray q(Cmd cmd, std::int64_t argument) {
    return command(cmd, argument, Lead::Space);
}

QStringList tagList(std::initializer_list<const char*> tags) {
    QStringList out;
    for (const char* t : tags)
        out << QString::fromLatin1(t);
    return out;
}

} // namespace

class SimulatedUnitTest : public QObject {
    Q_OBJECT
private slots:
    // --- replies ------------------------------------------------------------------------

    void statusReplies_data() {
        QTest::addColumn<QByteArray>("cmd");
        QTest::addColumn<QStringList>("tags");
        QTest::newRow("focus") << q(Cmd::FocusStatus)
                               << tagList({":s", ":a", ":h", ":mc", ":mo", ":mb", ":tc", ":frp"});
        QTest::newRow("temperatures")
            << command(Cmd::Temperatures)
            << tagList({":t1", ":t2", ":t3", ":t4", ":t5", ":t6", ":t7", ":tca", ":fm", ":fs",
                        ":fg", ":ft", ":sm", ":ss", ":st", ":d1", ":d2"});
        QTest::newRow("rotator") << q(Cmd::RotatorStatus)
                                 << tagList({":rs", ":rt", ":wr", ":rh", ":rrp"});
        // The slopes come before the coefficient, which cannot be read without them.
        QTest::newRow("compensation") << q(Cmd::TempCompParams)
                                      << tagList({":sl1", ":of1", ":sl2", ":of2", ":sl3", ":of3",
                                                  ":sl4", ":of4", ":tcc", ":tcm", ":tc"});
        QTest::newRow("focus homed") << command(Cmd::FocusHomedQuery) << tagList({":h"});
        QTest::newRow("rotator homed") << command(Cmd::RotatorHomedQuery) << tagList({":rh"});
        QTest::newRow("parameters")
            << command(Cmd::ReadParams)
            << tagList({":p", ":r", ":i", ":l", ":g", ":v", ":c", ":fo", ":fp", ":ifo", ":ifa",
                        ":ifs", ":ifh", ":ac", ":db", ":dbt", ":dbs", ":eh"});
        QTest::newRow("more parameters")
            << command(Cmd::ReadMoreParams) << tagList({":skp", ":skd", ":ski", ":sdi", ":sil"});
        QTest::newRow("probe") << command(Cmd::Probe, Lead::Space) << tagList({":!"});
        QTest::newRow("version") << command(Cmd::Version) << tagList({":vr"});
    }
    void statusReplies() {
        QFETCH(QByteArray, cmd);
        QFETCH(QStringList, tags);
        Bench b;
        const Heard h = b.ask(cmd);
        QCOMPARE(h.tags(), tags);
        QVERIFY(h.bytes.endsWith(' '));
        // Every tag is one the program knows, and its value is of the kind it expects.
        for (const auto& [tag, value] : h.pairs) {
            const wire::TagInfo* info = wire::findTag(tag);
            QVERIFY2(info, tag.c_str());
            if (info->kind == wire::ValueKind::Number)
                QVERIFY2(wire::toNumber(value).has_value(), (tag + " " + value).c_str());
        }
    }

    void exactReplies() {
        Bench b;
        QCOMPARE(b.ask(command(Cmd::Probe)).bytes, QByteArray(":! 1 "));
        QCOMPARE(b.ask(command(Cmd::Version)).bytes, QByteArray(":vr 3.02 "));
        QCOMPARE(b.ask(q(Cmd::FocusStatus)).bytes,
                 QByteArray(":s 10000 :a 10000 :h 0 :mc 0 :mo 0 :mb 0 :tc 0 :frp 0 "));
        QCOMPARE(b.ask(q(Cmd::RotatorStatus)).bytes, QByteArray(":rs 0 :rt 0 :wr 0 :rh 0 :rrp 0 "));
        b.unit.setVersionText("4.1b");
        QCOMPARE(b.ask("V ").value(":vr"), QStringLiteral("4.1b"));
        // Commands the unit acts on without a word back.
        for (const QByteArray& quiet :
             {q(Cmd::ConsoleStart), q(Cmd::TempCompPrepare), command(Cmd::FocusMove, 10000),
              q(Cmd::MirrorSpacing, 5), command(Cmd::Limits, 3)})
            QCOMPARE(b.ask(quiet).bytes, QByteArray());
    }

    void diagnosticRecord() {
        Bench b;
        const Heard h = b.ask(command(Cmd::DiagnosticPoll, std::int64_t{0}, Lead::Space));
        QCOMPARE(h.pairs.size(), std::size_t(15));
        for (std::size_t i = 0; i < 14; ++i) {
            QCOMPARE(h.pairs[i].first, std::string(":d"));
            QVERIFY(wire::toNumber(h.pairs[i].second).has_value());
        }
        QCOMPARE(h.pairs.back(), std::make_pair(std::string(":d"), std::string("*")));
    }

    // However the PC's bytes are cut into chunks, the unit does the same.
    void splitInputAtEveryByte() {
        const QByteArray script =
            q(Cmd::FocusStatus) + command(Cmd::FocusMove, 12500) + command(Cmd::FocusHome) +
            command(Cmd::FocusStop) + command(Cmd::ForceMotorOff, 32) + q(Cmd::RecordFocus) +
            q(Cmd::RecallFocus, 1) + q(Cmd::RotatorMove, -72000) +
            command(Cmd::RotatorAbsolute, 36000) + q(Cmd::WrapZero) +
            q(Cmd::ResetRotatorAngle, 100) + q(Cmd::TempCompPrepare) + q(Cmd::MirrorSpacing, 1234) +
            wire::sensorCoefficient(Cmd::Sensor2Intercept, -58.3) + q(Cmd::TempCompThreshold, 7) +
            command(Cmd::InternalFanOn, 255) + command(Cmd::MotorPGain, "55") +
            command(Cmd::MotorILimit, 150) + command(Cmd::EndUpload) + q(Cmd::RotatorStatus) +
            q(Cmd::TempCompParams) + command(Cmd::ReadParams) + "  ";
        Bench whole;
        whole.send(script);
        const auto sameAsWhole = [&](const Bench& b) {
            return b.heard.bytes == whole.heard.bytes &&
                   b.unit.focusTarget() == whole.unit.focusTarget() &&
                   b.unit.rotatorTarget() == whole.unit.rotatorTarget() &&
                   b.unit.mirrorSpacing() == whole.unit.mirrorSpacing() &&
                   b.unit.tempCompThreshold() == whole.unit.tempCompThreshold() &&
                   b.unit.parameter(wire::Tag::ParamL) == whole.unit.parameter(wire::Tag::ParamL);
        };
        QCOMPARE(whole.unit.parameter(wire::Tag::ParamL), QByteArray("150"));
        QVERIFY(!whole.unit.uploading());
        for (qsizetype cut = 1; cut < script.size(); ++cut) {
            Bench b;
            b.send(script.left(cut));
            b.send(script.mid(cut));
            QVERIFY2(sameAsWhole(b), qPrintable(QStringLiteral("cut at %1").arg(cut)));
        }
        Bench bytewise;
        for (const char byte : script)
            bytewise.send(QByteArray(1, byte));
        QVERIFY(sameAsWhole(bytewise));
        QCOMPARE(bytewise.unit.receivedBytes(), script);
    }

    // --- focuser ------------------------------------------------------------------------

    void focuserMovesAtItsSpeed() {
        Bench b;
        b.unit.placeFocuser(10000, true);
        b.send(command(Cmd::FocusMove, 12500));
        b.run(1000);
        Heard h = b.ask(q(Cmd::FocusStatus));
        QCOMPARE(h.number(":s"), 12500);
        QCOMPARE(h.number(":a"), 12000);
        QCOMPARE(h.number(":mo"), 1);
        QVERIFY(h.number(":mc") > 0);
        b.run(250);
        h = b.ask(q(Cmd::FocusStatus));
        QCOMPARE(h.number(":a"), 12500);
        QCOMPARE(h.number(":mo"), 0);
        QCOMPARE(h.number(":mc"), 0);

        b.send(command(Cmd::FocusStep, -500)); // from where it is
        b.run(100);
        QCOMPARE(b.unit.focusPosition(), 12300);
        b.send(command(Cmd::FocusStop));
        b.run(1000);
        QCOMPARE(b.unit.focusPosition(), 12300);
        QCOMPARE(b.unit.focusTarget(), 12300);
        // The unit keeps to its travel.
        b.send(command(Cmd::FocusMove, -100));
        QCOMPARE(b.unit.focusTarget(), 0);
        b.send(command(Cmd::FocusMove, 99999));
        QCOMPARE(b.unit.focusTarget(), sim::FocusDrive::DefaultTravel);
    }

    void homingRunsToZero() {
        Bench b;
        b.unit.placeFocuser(10000, false);
        b.send(command(Cmd::FocusHome));
        b.run(4000);
        QCOMPARE(b.ask(command(Cmd::FocusHomedQuery)).bytes, QByteArray(":h 0 "));
        b.run(1000);
        QCOMPARE(b.ask(command(Cmd::FocusHomedQuery)).bytes, QByteArray(":h 1 "));
        QCOMPARE(b.unit.focusPosition(), 0);
    }

    void forcedOffMotorHoldsStill() {
        Bench b;
        b.send(command(Cmd::ForceMotorOff, 32));
        QCOMPARE(b.ask(q(Cmd::FocusStatus)).number(":mb"), 1);
        b.send(command(Cmd::FocusMove, 11000));
        b.run(2000);
        QCOMPARE(b.unit.focusPosition(), 10000);
        b.send(command(Cmd::ForceMotorOff, std::int64_t{0}));
        b.run(500);
        QCOMPARE(b.unit.focusPosition(), 11000);
        QCOMPARE(b.ask(q(Cmd::FocusStatus)).number(":mb"), 0);
    }

    // --- rotator ------------------------------------------------------------------------

    void wrapFollowsEveryMove() {
        Bench b;
        b.unit.setRotatorSpeed(7200); // a turn in 10 s
        b.unit.placeRotator(1000, true);
        b.send(q(Cmd::RotatorMove, -72000)); // a whole turn back ends where it started
        b.run(5000);
        Heard h = b.ask(q(Cmd::RotatorStatus));
        QCOMPARE(h.number(":rs"), 1000);
        QCOMPARE(h.number(":rt"), 37000);
        QCOMPARE(h.number(":wr"), -36000);
        b.run(5000);
        QCOMPARE(b.unit.rotatorPosition(), 1000);
        QCOMPARE(b.unit.wrap(), -72000);
        QVERIFY(!b.unit.rotatorMoving());

        b.send(command(Cmd::RotatorStep, 36000));
        b.run(10000);
        QCOMPARE(b.unit.rotatorPosition(), 37000);
        QCOMPARE(b.unit.wrap(), -36000);
        // Absolute: half a turn or more forwards is taken backwards, as the PC's guard counts.
        b.send(command(Cmd::RotatorAbsolute, 1000)); // -36000: backwards as it stands
        b.run(10000);
        QCOMPARE(b.unit.wrap(), -72000);
        b.send(command(Cmd::RotatorAbsolute, 50000)); // +49000 folds to -23000
        b.run(10000);
        QCOMPARE(b.unit.rotatorPosition(), 50000);
        QCOMPARE(b.unit.wrap(), -95000);

        b.send(q(Cmd::WrapZero));
        QCOMPARE(b.unit.wrap(), 0);
        b.send(q(Cmd::ResetRotatorAngle, 100)); // declares, does not turn
        QCOMPARE(b.unit.rotatorPosition(), 100);
        QCOMPARE(b.unit.wrap(), 0);
        b.send(command(Cmd::RotatorStep, -200));
        b.run(10000);
        QCOMPARE(b.unit.rotatorPosition(), 71900);
        QCOMPARE(b.unit.wrap(), -200);
    }

    void rotatorStopsAndHomes() {
        Bench b;
        b.unit.setRotatorSpeed(7200);
        b.unit.placeRotator(70000, false);
        b.send(command(Cmd::RotatorStep, 10000));
        b.run(500);
        b.send(command(Cmd::RotatorStep, std::int64_t{0}));
        b.run(1000);
        QCOMPARE(b.unit.rotatorPosition(), 1600); // 70000 + 3600, past the turn
        QCOMPARE(b.unit.rotatorTarget(), 1600);
        QCOMPARE(b.unit.wrap(), 3600);
        QCOMPARE(b.ask(command(Cmd::RotatorHomedQuery)).bytes, QByteArray(":rh 0 "));
        b.send(command(Cmd::RotatorHome));
        b.run(1000);
        QCOMPARE(b.unit.rotatorPosition(), 0);
        QCOMPARE(b.unit.wrap(), 2000);
        QCOMPARE(b.ask(command(Cmd::RotatorHomedQuery)).bytes, QByteArray(":rh 1 "));
    }

    // --- temperature compensation -------------------------------------------------------

    void automaticCompensationFollowsTheAir() {
        Bench b;
        b.unit.setNightSwing(0);
        b.unit.setAmbient(50);
        b.unit.placeFocuser(20000, true);
        // -10 counts a degree with the ambient sensor's slope: counts per 1000 raw units.
        b.send(q(Cmd::TempCompCoefficient, -1758) + q(Cmd::TempCompThreshold, 5) +
               q(Cmd::TempCompMode, 1));
        QCOMPARE(b.ask(q(Cmd::FocusStatus)).number(":tc"), 1);
        const int raw50 = b.unit.rawReading(Sensor::Ambient);
        b.unit.setAmbient(40);
        b.run(200);
        const int raw40 = b.unit.rawReading(Sensor::Ambient);
        const int moved = b.unit.focusTarget() - 20000;
        QCOMPARE(moved, int(std::lround((raw40 - raw50) * -1758 / 1000.0)));
        QVERIFY2(std::abs(moved - 100) <= 3, qPrintable(QString::number(moved)));
        b.run(1000);
        QCOMPARE(b.ask(q(Cmd::FocusStatus)).number(":a"), 20000 + moved);

        // Below the movement threshold nothing moves.
        b.send(q(Cmd::TempCompThreshold, 50));
        b.unit.setAmbient(39);
        b.run(1000);
        QCOMPARE(b.unit.focusTarget(), 20000 + moved);
        // Off: the air may do what it likes.
        b.send(q(Cmd::TempCompMode, 0));
        b.unit.setAmbient(20);
        b.run(1000);
        QCOMPARE(b.unit.focusTarget(), 20000 + moved);
    }

    void manualCompensationMovesOncePerSynch() {
        Bench b;
        b.unit.setNightSwing(0);
        b.unit.setAmbient(50);
        b.unit.placeFocuser(20000, true);
        b.send(q(Cmd::TempCompCoefficient, -1758) + q(Cmd::TempCompMode, 2));
        b.unit.setAmbient(40);
        b.run(1000);
        QCOMPARE(b.unit.focusTarget(), 20000);
        b.send(q(Cmd::TempCompMode, 2));
        const int corrected = b.unit.focusTarget();
        QVERIFY(corrected > 20090 && corrected < 20110);
        b.run(1000);
        b.send(q(Cmd::TempCompMode, 2));
        QCOMPARE(b.unit.focusTarget(), corrected);
        const Heard h = b.ask(q(Cmd::TempCompParams));
        QCOMPARE(h.number(":tc"), 2);
        QCOMPARE(h.number(":tcc"), -1758);
    }

    // --- temperatures, fan and heaters --------------------------------------------------

    void temperaturesComeFromRawAndCalibration() {
        Bench b;
        const auto reportedFromRaw = [](const Heard& t, const Heard& l) {
            return int(std::lround((double(t.number(":t4")) * l.number(":sl1") + l.number(":of1")) /
                                   1000.0));
        };
        Heard t = b.ask(command(Cmd::Temperatures));
        Heard l = b.ask(q(Cmd::TempCompParams));
        QCOMPARE(t.number(":t1"), reportedFromRaw(t, l));
        QCOMPARE(t.number(":tca"), t.number(":t4"));
        const int raw = t.number(":t4");

        // New coefficients change the temperature the unit reports, not what the sensor reads.
        b.send(wire::sensorCoefficient(Cmd::Sensor1Slope, 0.2) +
               wire::sensorCoefficient(Cmd::Sensor1Intercept, -60));
        t = b.ask(command(Cmd::Temperatures));
        l = b.ask(q(Cmd::TempCompParams));
        QCOMPARE(l.number(":sl1"), 20000);
        QCOMPARE(l.number(":of1"), -6000000);
        QCOMPARE(t.number(":t4"), raw);
        QCOMPARE(t.number(":t1"), raw * 20 - 6000);
    }

    void theNightCools() {
        Bench b;
        const double air = b.unit.temperature(Sensor::Ambient);
        b.run(2 * 3600 * 1000);
        const double cooled = air - b.unit.temperature(Sensor::Ambient);
        QVERIFY2(cooled > 0.5 && cooled < 4, qPrintable(QString::number(cooled)));
        // The mirror lags behind the air, and the fan works on the difference.
        QVERIFY(b.unit.temperature(Sensor::Primary) > b.unit.temperature(Sensor::Ambient));
        QVERIFY(b.unit.fanPower() > 0);
        QVERIFY(b.unit.temperature(Sensor::Electronics) > b.unit.temperature(Sensor::Ambient));
    }

    void fanAndHeaterCommands() {
        Bench b;
        b.send(q(Cmd::FanPower, 30) + q(Cmd::FanGain, 50) + q(Cmd::FanDeadBand, 20) +
               q(Cmd::HeaterPower, 40) + q(Cmd::HeaterSetPoint, 0) +
               command(Cmd::HeaterSetPoint, "2.5", Lead::Space) + q(Cmd::Dew1Power, 20) +
               q(Cmd::Dew2Power, 30));
        Heard t = b.ask(command(Cmd::Temperatures));
        QCOMPARE(t.number(":fm"), 0);
        QCOMPARE(t.number(":fs"), 30);
        QCOMPARE(t.number(":fg"), 50);
        QCOMPARE(t.number(":ft"), 20);
        QCOMPARE(t.number(":sm"), 0);
        QCOMPARE(t.number(":ss"), 40);
        QCOMPARE(t.number(":st"), 25); // sent in degrees, reported in tenths
        QCOMPARE(t.number(":d1"), 20);
        QCOMPARE(t.number(":d2"), 30);
        b.send(command(Cmd::FanMode, 2) + command(Cmd::HeaterMode, 1));
        t = b.ask(command(Cmd::Temperatures));
        QCOMPARE(t.number(":fm"), 2);
        QCOMPARE(t.number(":sm"), 1);

        // A heater on full power warms the secondary mirror above the air.
        b.unit.setNightSwing(0);
        b.unit.setAmbient(50);
        b.send(q(Cmd::HeaterPower, 100));
        b.run(30 * 60 * 1000);
        QVERIFY(b.unit.temperature(Sensor::Secondary) > 54);
    }

    // --- records and parameters ---------------------------------------------------------

    void recordAndRecallFlags() {
        Bench b;
        b.unit.setFocusSpeed(100000);
        const auto frp = [&] { return b.ask(q(Cmd::FocusStatus)).number(":frp"); };
        const auto rrp = [&] { return b.ask(q(Cmd::RotatorStatus)).number(":rrp"); };
        b.send(q(Cmd::RecordFocus));
        QCOMPARE(frp(), 8);
        b.send(q(Cmd::RecallFocus, 1));
        QCOMPARE(frp(), 9);
        b.send(q(Cmd::RecallFocus, 0));
        QCOMPARE(frp(), 8);
        b.send(q(Cmd::RecallRotator, 1));
        QCOMPARE(rrp(), 1);
        b.send(q(Cmd::RecordRotator));
        QCOMPARE(rrp(), 9);
        // Recall on: after a power cycle the focuser goes back to the recorded position.
        b.send(q(Cmd::RecallFocus, 1) + command(Cmd::FocusMove, 15000));
        b.run(1000);
        b.unit.restart();
        b.run(1000);
        QCOMPARE(b.unit.focusPosition(), 10000);
    }

    void parameterUploadRoundTrip() {
        Bench b;
        b.unit.placeRotator(500, true);
        // The calibration window's upload, in its order.
        const QByteArray upload =
            command(Cmd::InternalFanOther, 255) + command(Cmd::InternalFanSet, 21) +
            command(Cmd::InternalFanHyst, 3) + command(Cmd::ParamAt, 25) +
            command(Cmd::ParamZ, 60) + command(Cmd::MotorPGain, "55") +
            command(Cmd::MotorDGain, "310") + command(Cmd::MotorDeriv, "5") +
            command(Cmd::MotorIGain, "2") + command(Cmd::MotorILimit, "150") +
            command(Cmd::Velocity, 131072) + command(Cmd::Acceleration, 1000) +
            command(Cmd::AutoCurrent, std::int64_t{0}, Lead::Space) +
            command(Cmd::ErrorHandheld, 255, Lead::Space) +
            command(Cmd::DeadbandOn, 255, Lead::Space) + command(Cmd::Deadband, "7") +
            command(Cmd::DeadbandSettle, 120) + command(Cmd::HeaterPGain, 450) +
            command(Cmd::HeaterDGain, 90) + command(Cmd::HeaterDTime, "12") +
            command(Cmd::HeaterIGain, 15) + command(Cmd::HeaterILimit, "60") +
            command(Cmd::EndUpload);
        QCOMPARE(b.ask(upload).bytes, QByteArray());
        Heard g = b.ask(command(Cmd::ReadParams));
        const QStringList expected{"55", "310", "2",  "150", "5", "131072", "1000", "25", "60",
                                   "0",  "255", "21", "3",   "0", "255",    "120",  "7",  "255"};
        QStringList values;
        for (const auto& [tag, value] : g.pairs)
            values << QString::fromStdString(value);
        QCOMPARE(values, expected);
        Heard more = b.ask(command(Cmd::ReadMoreParams));
        QCOMPARE(more.bytes, QByteArray(":skp 450 :skd 90 :ski 15 :sdi 12 :sil 60 "));

        // Inside the upload "j", "i", "v", "p" were parameters; the rotator was left alone.
        b.run(1000);
        QCOMPARE(b.unit.rotatorPosition(), 500);
        QCOMPARE(b.unit.rotatorRecordFlags(), 0);
        // After it they are rotator commands again.
        b.send(q(Cmd::RotatorMove, 100));
        b.run(1000);
        QCOMPARE(b.unit.rotatorPosition(), 600);

        // The internal fan's two words clear each other.
        b.send(command(Cmd::InternalFanOn, 255) + command(Cmd::EndUpload));
        g = b.ask(command(Cmd::ReadParams));
        QCOMPARE(g.number(":ifo"), 255);
        QCOMPARE(g.number(":ifa"), 0);
    }

    // " E" and " F" with whole numbers are mirror spacing and threshold; with a decimal point
    // they are sensor intercepts.
    void wordsSharedWithSensorCoefficients() {
        Bench b;
        b.send(q(Cmd::MirrorSpacing, 1234) + q(Cmd::TempCompThreshold, 7));
        const auto before = b.unit.calibration(Sensor::Primary);
        QCOMPARE(b.unit.mirrorSpacing(), 1234);
        QCOMPARE(b.unit.tempCompThreshold(), 7);
        QCOMPARE(b.unit.calibration(Sensor::Primary).offset, before.offset);
        b.send(wire::sensorCoefficient(Cmd::Sensor2Intercept, -57.5) +
               wire::sensorCoefficient(Cmd::Sensor3Intercept, -57));
        QCOMPARE(b.unit.calibration(Sensor::Primary).offset, -5750000);
        QCOMPARE(b.unit.calibration(Sensor::Secondary).offset, -5700000);
        QCOMPARE(b.unit.mirrorSpacing(), 1234);
        QCOMPARE(b.unit.tempCompThreshold(), 7);
    }

    // --- firmware loader ----------------------------------------------------------------

    void loaderTakesTheFirmware() {
        Bench b;
        const QByteArray ready = QByteArray(":x ") + SimulatedUnit::LoaderReady + ' ';
        QCOMPARE(b.ask(command(Cmd::LoaderEnter)).bytes, ready);
        QCOMPARE(b.unit.loaderState(), SimulatedUnit::LoaderState::Ready);
        b.heard.clear();
        // The PC goes straight on; the unit holds it all until the erase is done.
        b.send(command(Cmd::LoaderErase) + command(Cmd::LoaderProgram) + "S1050000AABBCC");
        QCOMPARE(b.heard.bytes, QByteArray());
        b.run(999);
        QCOMPARE(b.heard.bytes, QByteArray());
        b.run(1);
        QCOMPARE(b.heard.bytes, ready + "* ");
        b.heard.clear();
        b.send("S1050002DDEEFF");
        QCOMPARE(b.heard.bytes, QByteArray("* "));
        b.send("S9030000FC");
        QCOMPARE(b.unit.programmedRecords(),
                 (QByteArrayList{"S1050000AABBCC", "S1050002DDEEFF", "S9030000FC"}));
        // The termination record ends the upload and the unit runs normally again.
        QCOMPARE(b.unit.loaderState(), SimulatedUnit::LoaderState::Off);
        QCOMPARE(b.ask(command(Cmd::Probe)).bytes, QByteArray(":! 1 "));
    }

    void loaderFaults_data() {
        QTest::addColumn<int>("fault");
        QTest::addColumn<char>("status");
        QTest::addColumn<bool>("acknowledged");
        QTest::newRow("no programming voltage")
            << 0 << SimulatedUnit::NoProgrammingVoltage << false;
        QTest::newRow("erase failure") << 1 << SimulatedUnit::EraseFailed << false;
        QTest::newRow("missing acknowledgement") << 2 << SimulatedUnit::LoaderReady << false;
    }
    void loaderFaults() {
        QFETCH(int, fault);
        QFETCH(char, status);
        QFETCH(bool, acknowledged);
        Bench b;
        b.unit.setNoProgrammingVoltage(fault == 0);
        b.unit.setEraseFailure(fault == 1);
        b.unit.setAckMissing(fault == 2);
        b.send(command(Cmd::LoaderEnter));
        b.heard.clear();
        b.send(command(Cmd::LoaderErase));
        b.run(1000);
        QCOMPARE(b.heard.bytes, QByteArray(":x ") + status + ' ');
        QCOMPARE(b.heard.pairs.front().second.front(), status);
        b.heard.clear();
        b.send(command(Cmd::LoaderProgram) + "S1050000AABBCC");
        b.run(10000);
        QCOMPARE(b.heard.bytes.contains('*'), acknowledged);
    }

    void lateAcknowledgement() {
        Bench b;
        b.unit.setAckDelayMs(6000);
        b.unit.setEraseDurationMs(0);
        b.send(command(Cmd::LoaderEnter) + command(Cmd::LoaderErase));
        b.run(0);
        b.heard.clear();
        b.send(command(Cmd::LoaderProgram) + "S1050000AABBCC");
        b.run(5999);
        QCOMPARE(b.heard.bytes, QByteArray());
        b.run(1);
        QCOMPARE(b.heard.bytes, QByteArray("* "));
    }

    // --- line faults and pacing ---------------------------------------------------------

    void silentUnitStillActs() {
        Bench b;
        b.unit.setSilent(true);
        b.send(q(Cmd::FocusStatus) + command(Cmd::FocusMove, 10100));
        b.run(1000);
        QCOMPARE(b.heard.bytes, QByteArray());
        QCOMPARE(b.unit.focusPosition(), 10100);
    }

    void splitRepliesKeepTheirBytes() {
        Bench clean;
        const QByteArray reply = clean.ask(command(Cmd::Temperatures)).bytes;
        Bench b;
        b.unit.setSplitReplies(true);
        const Heard h = b.ask(command(Cmd::Temperatures));
        QCOMPARE(h.bytes, reply);
        QVERIFY(h.chunks > 5);
        QCOMPARE(h.tags(), clean.heard.tags());
    }

    void garbageIsMixedIn() {
        Bench clean;
        const QByteArray reply = clean.ask(q(Cmd::FocusStatus)).bytes;
        Bench b;
        b.unit.setGarbage(true);
        const QByteArray noisy = b.ask(q(Cmd::FocusStatus)).bytes;
        QVERIFY(noisy.size() > reply.size());
        // Noise is added, never taken away: the clean reply is still there in order.
        qsizetype at = 0;
        for (const char c : reply) {
            at = noisy.indexOf(c, at);
            QVERIFY(at >= 0);
            ++at;
        }
    }

    void focusErrors() {
        Bench b;
        b.send(command(Cmd::FocusMove, 12000));
        b.unit.setFocusError(1); // position error: reported, the motor runs on
        QCOMPARE(b.ask(q(Cmd::FocusStatus)).number(":e"), 1);
        b.run(500);
        QCOMPARE(b.unit.focusPosition(), 11000);
        b.unit.setFocusError(2); // over-current: the motor is turned off
        const Heard h = b.ask(q(Cmd::FocusStatus));
        QCOMPARE(h.number(":e"), 2);
        QCOMPARE(h.number(":mo"), 0);
        b.run(500);
        QCOMPARE(b.unit.focusPosition(), 11000);
        b.unit.setFocusError(0);
        QVERIFY(!b.ask(q(Cmd::FocusStatus)).has(":e"));
    }

    void hungUpUnitHearsNothing() {
        Bench b;
        int changes = 0;
        QObject::connect(&b.unit, &SimulatedUnit::hungUpChanged, [&] { ++changes; });
        b.unit.setHungUp(true);
        b.unit.setHungUp(true);
        QCOMPARE(changes, 1);
        b.send(command(Cmd::FocusMove, 11000) + command(Cmd::Probe));
        b.run(1000);
        QCOMPARE(b.heard.bytes, QByteArray());
        QCOMPARE(b.unit.focusTarget(), 10000);
        QCOMPARE(b.unit.receivedBytes(), QByteArray("b11000 ! "));
        b.unit.clearReceived();
        QCOMPARE(b.unit.receivedBytes(), QByteArray());
    }

    void pacingAtLineSpeed() {
        Bench clean;
        const QByteArray reply = clean.ask(q(Cmd::FocusStatus)).bytes;
        Bench b;
        b.unit.setPacing(sim::OutputLine::LineMsPerChar);
        b.send(q(Cmd::FocusStatus));
        QCOMPARE(b.heard.bytes.size(), 0);
        b.run(10);
        QCOMPARE(b.heard.bytes, reply.left(9)); // 10 ms / 1.04 ms
        b.run(qint64(reply.size() * sim::OutputLine::LineMsPerChar));
        QCOMPARE(b.heard.bytes, reply);
    }
};

QTEST_GUILESS_MAIN(SimulatedUnitTest)
#include "SimulatedUnitTest.moc"
