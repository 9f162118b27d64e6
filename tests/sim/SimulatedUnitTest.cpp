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

QByteArray q(Cmd cmd) {
    return command(cmd, Lead::Space);
}
QByteArray q(Cmd cmd, std::int64_t argument) {
    return command(cmd, argument, Lead::Space);
}

// A unit on a manual clock with a receiver listening to it.
struct Bench {
    ManualClock clock;
    SimulatedUnit unit{clock};
    Heard heard;

    Bench() {
        QObject::connect(&unit, &SimulatedUnit::transmit, &unit,
                         [this](const QByteArray& c) { heard(c); });
    }
    void send(const QByteArray& bytes) { unit.receive(bytes); }
    void run(qint64 ms) { clock.advance(ms); }
    // Sends a command and returns what came back to it alone.
    Heard ask(const QByteArray& bytes) {
        heard.clear();
        send(bytes);
        return heard;
    }
    int focus(const char* tag) { return ask(q(Cmd::FocusStatus)).number(tag); }
    int rotator(const char* tag) { return ask(q(Cmd::RotatorStatus)).number(tag); }
    int thermal(const char* tag) { return ask(command(Cmd::Temperatures)).number(tag); }
};

} // namespace

class SimulatedUnitTest : public QObject {
    Q_OBJECT
private slots:
    // --- replies ------------------------------------------------------------------------

    void statusReplies_data() {
        QTest::addColumn<QByteArray>("cmd");
        QTest::addColumn<QString>("tags");
        QTest::newRow("temperatures") << command(Cmd::Temperatures)
                                      << ":t1 :t2 :t3 :t4 :t5 :t6 :t7 :tca :fm :fs :fg :ft :sm "
                                         ":ss :st :d1 :d2";
        // The slopes come before the coefficient, which cannot be read without them.
        QTest::newRow("compensation")
            << q(Cmd::TempCompParams) << ":sl1 :of1 :sl2 :of2 :sl3 :of3 :sl4 :of4 :tcc :tcm :tc";
    }
    void statusReplies() {
        QFETCH(QByteArray, cmd);
        QFETCH(QString, tags);
        Bench b;
        const Heard h = b.ask(cmd);
        QCOMPARE(h.tags().join(' '), tags);
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
        QCOMPARE(b.ask(q(Cmd::RotatorStatus)).bytes, QByteArray(":rs 0 :rt 0 :wr 0 :rh 0 :rrp 0 "));
        // Fourteen working values of the heater loop, then the end of the diagnostic line.
        const Heard d = b.ask(q(Cmd::DiagnosticPoll, 0));
        QCOMPARE(d.tags(), QStringList(15, QStringLiteral(":d")));
        for (std::size_t i = 0; i < 14; ++i)
            QVERIFY(wire::toNumber(d.pairs[i].second).has_value());
        QCOMPARE(d.value(":d"), QStringLiteral("*"));
        // Commands the unit acts on without a word back.
        for (const QByteArray& quiet :
             {q(Cmd::ConsoleStart), q(Cmd::TempCompPrepare), command(Cmd::FocusMove, 10000),
              q(Cmd::MirrorSpacing, 5), command(Cmd::Limits, 3)})
            QCOMPARE(b.ask(quiet).bytes, QByteArray());
    }

    // --- motion -------------------------------------------------------------------------

    void focuserMovesHomesAndHoldsStill() {
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
        QCOMPARE(b.focus(":mc"), 0); // arrived: the motor rests

        b.send(command(Cmd::FocusStep, -500)); // from where it is
        b.run(100);
        b.send(command(Cmd::FocusStop));
        b.run(1000);
        QCOMPARE(b.unit.focusPosition(), 12300);
        QCOMPARE(b.unit.focusTarget(), 12300);
        b.send(command(Cmd::FocusMove, -100)); // the unit keeps to its travel
        QCOMPARE(b.unit.focusTarget(), 0);

        b.send(command(Cmd::ForceMotorOff, 32) + command(Cmd::FocusMove, 11000));
        b.run(2000);
        QCOMPARE(b.focus(":mb"), 1);
        QCOMPARE(b.unit.focusPosition(), 12300);
        b.send(command(Cmd::ForceMotorOff, std::int64_t{0}));
        b.run(1000);
        QCOMPARE(b.unit.focusPosition(), 11000);

        b.unit.placeFocuser(10000, false);
        b.send(command(Cmd::FocusHome));
        b.run(4000);
        QCOMPARE(b.ask(command(Cmd::FocusHomedQuery)).bytes, QByteArray(":h 0 "));
        b.run(1000);
        QCOMPARE(b.ask(command(Cmd::FocusHomedQuery)).bytes, QByteArray(":h 1 "));
        QCOMPARE(b.unit.focusPosition(), 0);
    }

    void rotatorWrapFollowsEveryMove() {
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
        // Absolute: half a turn or more forwards is taken backwards, as the PC's guard counts.
        b.send(command(Cmd::RotatorAbsolute, 37000)); // +36000: backwards
        b.run(10000);
        QCOMPARE(b.unit.wrap(), -108000);
        b.send(command(Cmd::RotatorAbsolute, 50000)); // +13000: forwards
        b.run(10000);
        QCOMPARE(b.unit.rotatorPosition(), 50000);
        QCOMPARE(b.unit.wrap(), -95000);

        b.send(q(Cmd::WrapZero) + q(Cmd::ResetRotatorAngle, 100)); // declares, does not turn
        QCOMPARE(b.unit.rotatorPosition(), 100);
        QCOMPARE(b.unit.wrap(), 0);
        b.send(command(Cmd::RotatorStep, -200));
        b.run(10000);
        QCOMPARE(b.unit.rotatorPosition(), 71900);
        QCOMPARE(b.unit.wrap(), -200);

        b.send(command(Cmd::RotatorStep, 10000));
        b.run(500);
        b.send(command(Cmd::RotatorStep, std::int64_t{0})); // stops
        b.run(1000);
        QCOMPARE(b.unit.rotatorTarget(), 3500); // 71900 + 3600, past the turn
        b.unit.placeRotator(1000, false, 0);
        QCOMPARE(b.ask(command(Cmd::RotatorHomedQuery)).bytes, QByteArray(":rh 0 "));
        b.send(command(Cmd::RotatorHome));
        b.run(1000);
        QCOMPARE(b.unit.rotatorPosition(), 0);
        QCOMPARE(b.unit.wrap(), -1000);
        QCOMPARE(b.ask(command(Cmd::RotatorHomedQuery)).bytes, QByteArray(":rh 1 "));
    }

    // --- temperatures and compensation --------------------------------------------------

    void compensationFollowsTheAir() {
        Bench b;
        b.unit.setNightSwing(0);
        b.unit.setAmbient(50);
        b.unit.placeFocuser(20000, true);
        // -10 counts a degree with the ambient sensor's slope: counts per 1000 raw units.
        b.send(q(Cmd::TempCompCoefficient, -1758) + q(Cmd::TempCompThreshold, 5) +
               q(Cmd::TempCompMode, 1));
        QCOMPARE(b.focus(":tc"), 1);
        b.unit.setAmbient(40);
        b.run(200);
        const int moved = b.unit.focusTarget() - 20000;
        QVERIFY2(std::abs(moved - 100) <= 3, qPrintable(QString::number(moved)));
        // Below the movement threshold, or off, nothing moves.
        b.send(q(Cmd::TempCompThreshold, 50));
        b.unit.setAmbient(39);
        b.run(1000);
        QCOMPARE(b.unit.focusTarget(), 20000 + moved);
        b.send(q(Cmd::TempCompMode, 0));
        b.unit.setAmbient(20);
        b.run(1000);
        QCOMPARE(b.unit.focusTarget(), 20000 + moved);

        // Manual: one correction for each synch.
        b.send(q(Cmd::TempCompMode, 2) + q(Cmd::TempCompThreshold, 5));
        b.unit.setAmbient(10);
        b.run(1000);
        QCOMPARE(b.unit.focusTarget(), 20000 + moved);
        b.send(q(Cmd::TempCompMode, 2));
        const int corrected = b.unit.focusTarget();
        QVERIFY2(std::abs(corrected - 20000 - moved - 100) <= 3,
                 qPrintable(QString::number(corrected)));
        b.send(q(Cmd::TempCompMode, 2));
        QCOMPARE(b.unit.focusTarget(), corrected);
    }

    void temperaturesComeFromRawAndCalibration() {
        Bench b;
        const int raw = b.thermal(":t4");
        QCOMPARE(b.thermal(":tca"), raw);
        // New coefficients change the temperature the unit reports, not what the sensor reads.
        b.send(wire::sensorCoefficient(Cmd::Sensor1Slope, 0.2) +
               wire::sensorCoefficient(Cmd::Sensor1Intercept, -60));
        const Heard l = b.ask(q(Cmd::TempCompParams));
        QCOMPARE(l.number(":sl1"), 20000);
        QCOMPARE(l.number(":of1"), -6000000);
        QCOMPARE(b.thermal(":t4"), raw);
        QCOMPARE(b.thermal(":t1"), raw * 20 - 6000);

        // The night cools; the mirror lags behind the air, and the fan works on the difference.
        const double air = b.unit.temperature(Sensor::Ambient);
        b.run(2 * 3600 * 1000);
        const double cooled = air - b.unit.temperature(Sensor::Ambient);
        QVERIFY2(cooled > 0.5 && cooled < 4, qPrintable(QString::number(cooled)));
        QVERIFY(b.unit.temperature(Sensor::Primary) > b.unit.temperature(Sensor::Ambient));
        QVERIFY(b.unit.fanPower() > 0);
        // A heater on full power warms the secondary mirror above the air.
        b.unit.setNightSwing(0);
        b.unit.setAmbient(50);
        b.send(q(Cmd::HeaterPower, 100));
        b.run(30 * 60 * 1000);
        QVERIFY(b.unit.temperature(Sensor::Secondary) > 54);
    }

    void settingsAreReported() {
        Bench b;
        b.unit.setFocusSpeed(100000);
        const struct {
            QByteArray cmd;
            int (Bench::*query)(const char*);
            const char* tag;
            int value;
        } settings[] = {
            {q(Cmd::FanPower, 30), &Bench::thermal, ":fs", 30},
            {command(Cmd::FanMode, 2), &Bench::thermal, ":fm", 2},
            // The set point is sent in degrees and reported in tenths.
            {command(Cmd::HeaterSetPoint, "2.5", Lead::Space), &Bench::thermal, ":st", 25},
            {q(Cmd::Dew2Power, 30), &Bench::thermal, ":d2", 30},
            // Record flags: 1 recall at power-up, 8 a position recorded.
            {q(Cmd::RecordFocus), &Bench::focus, ":frp", 8},
            {q(Cmd::RecallFocus, 1), &Bench::focus, ":frp", 9},
            {q(Cmd::RecallRotator, 1), &Bench::rotator, ":rrp", 1}};
        for (const auto& s : settings) {
            b.send(s.cmd);
            QCOMPARE((b.*s.query)(s.tag), s.value);
        }
        // Recall on: after a power cycle the focuser goes back to the recorded position.
        b.send(command(Cmd::FocusMove, 15000));
        b.run(1000);
        b.unit.restart();
        b.run(1000);
        QCOMPARE(b.unit.focusPosition(), 10000);
        b.send(q(Cmd::RecallFocus, 0) + command(Cmd::FocusMove, 15000));
        b.run(1000);
        b.unit.restart();
        b.run(1000);
        QCOMPARE(b.unit.focusPosition(), 15000);
    }

    // --- parameters ---------------------------------------------------------------------

    void parameterUploadRoundTrip() {
        Bench b;
        b.unit.placeRotator(500, true);
        // Part of the calibration window's upload: it opens with the internal fan word.
        const QByteArray upload = command(Cmd::InternalFanOther, 255) + command(Cmd::ParamAt, 25) +
                                  command(Cmd::MotorPGain, "55") + command(Cmd::MotorIGain, "2") +
                                  command(Cmd::MotorILimit, "150") +
                                  command(Cmd::Velocity, 131072) +
                                  command(Cmd::DeadbandSettle, 120) +
                                  command(Cmd::HeaterDTime, "12") + command(Cmd::EndUpload);
        QCOMPARE(b.ask(upload).bytes, QByteArray());
        QCOMPARE(b.ask(command(Cmd::ReadParams)).bytes,
                 QByteArray(":p 55 :r 300 :i 2 :l 150 :g 4 :v 131072 :c 655 :fo 25 :fp 50 "
                            ":ifo 0 :ifa 255 :ifs 20 :ifh 2 :ac 255 :db 0 :dbt 120 :dbs 5 "
                            ":eh 255 "));
        QCOMPARE(b.ask(command(Cmd::ReadMoreParams)).value(":sdi"), QStringLiteral("12"));

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
        const Heard g = b.ask(command(Cmd::ReadParams));
        QCOMPARE(g.number(":ifo"), 255);
        QCOMPARE(g.number(":ifa"), 0);
    }

    // " E" and " F" with whole numbers are mirror spacing and threshold; with a decimal point
    // they are sensor intercepts.
    void wordsSharedWithSensorCoefficients() {
        Bench b;
        const auto before = b.unit.calibration(Sensor::Primary);
        b.send(q(Cmd::MirrorSpacing, 1234) + q(Cmd::TempCompThreshold, 7));
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
        b.heard.clear();
        // The PC goes straight on; the unit holds it all until the erase is done.
        b.send(command(Cmd::LoaderErase) + command(Cmd::LoaderProgram) + "S1050000AABBCC");
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
        QCOMPARE(b.ask(command(Cmd::Probe)).bytes, QByteArray(":! 1 "));
    }

    void loaderFaults_data() {
        QTest::addColumn<int>("fault");
        QTest::addColumn<char>("status");
        QTest::newRow("no programming voltage") << 0 << SimulatedUnit::NoProgrammingVoltage;
        QTest::newRow("erase failure") << 1 << SimulatedUnit::EraseFailed;
        QTest::newRow("missing acknowledgement") << 2 << SimulatedUnit::LoaderReady;
        QTest::newRow("late acknowledgement") << 3 << SimulatedUnit::LoaderReady;
    }
    void loaderFaults() {
        QFETCH(int, fault);
        QFETCH(char, status);
        Bench b;
        b.unit.setNoProgrammingVoltage(fault == 0);
        b.unit.setEraseFailure(fault == 1);
        b.unit.setAckMissing(fault == 2);
        b.unit.setAckDelayMs(fault == 3 ? 6000 : 0);
        b.send(command(Cmd::LoaderEnter));
        b.heard.clear();
        b.send(command(Cmd::LoaderErase));
        b.run(1000);
        QCOMPARE(b.heard.bytes, QByteArray(":x ") + status + ' ');
        b.heard.clear();
        b.send(command(Cmd::LoaderProgram) + "S1050000AABBCC");
        b.run(5999);
        QCOMPARE(b.heard.bytes, QByteArray());
        b.run(10000);
        QCOMPARE(b.heard.bytes, QByteArray(fault == 3 ? "* " : ""));
    }

    // --- line faults and pacing ---------------------------------------------------------

    void silentOrHungUpUnit() {
        Bench b;
        b.unit.setSilent(true); // acts, but says nothing
        b.send(q(Cmd::FocusStatus) + command(Cmd::FocusMove, 10100));
        b.run(1000);
        QCOMPARE(b.heard.bytes, QByteArray());
        QCOMPARE(b.unit.focusPosition(), 10100);
        b.unit.setSilent(false);
        b.unit.setHungUp(true); // neither hears nor acts
        b.unit.clearReceived();
        b.send(command(Cmd::FocusMove, 11000) + command(Cmd::Probe));
        b.run(1000);
        QCOMPARE(b.heard.bytes, QByteArray());
        QCOMPARE(b.unit.focusTarget(), 10100);
        QCOMPARE(b.unit.receivedBytes(), QByteArray("b11000 ! "));
    }

    void splitOrNoisyRepliesKeepTheirBytes() {
        Bench clean;
        const QByteArray reply = clean.ask(command(Cmd::Temperatures)).bytes;
        Bench split;
        split.unit.setSplitReplies(true);
        const Heard h = split.ask(command(Cmd::Temperatures));
        QCOMPARE(h.bytes, reply);
        QVERIFY(h.chunks > 5);
        // Noise is added, never taken away: the clean reply is still there in order.
        Bench noisy;
        noisy.unit.setGarbage(true);
        const QByteArray bytes = noisy.ask(command(Cmd::Temperatures)).bytes;
        QVERIFY(bytes.size() > reply.size());
        qsizetype at = 0;
        for (const char c : reply) {
            at = bytes.indexOf(c, at) + 1;
            QVERIFY(at > 0);
        }
    }

    void focusErrors() {
        Bench b;
        b.send(command(Cmd::FocusMove, 12000));
        b.unit.setFocusError(1); // position error: reported, the motor runs on
        QCOMPARE(b.focus(":e"), 1);
        b.run(500);
        QCOMPARE(b.unit.focusPosition(), 11000);
        b.unit.setFocusError(2); // over-current: the motor is turned off
        QCOMPARE(b.focus(":e"), 2);
        QCOMPARE(b.focus(":mo"), 0);
        b.run(500);
        QCOMPARE(b.unit.focusPosition(), 11000);
        b.unit.setFocusError(0);
        QVERIFY(!b.ask(q(Cmd::FocusStatus)).has(":e"));
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
