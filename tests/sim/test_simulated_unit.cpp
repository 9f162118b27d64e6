#include "Heard.h"

#include "sim/SimulatedUnit.h"

#include "sim/UnitWords.h"

#include <QTest>

#include <cmath>

using namespace mivel;
using sim::Sensor;
using sim::SimulatedUnit;

namespace {

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
    int focus(const char* tag) { return ask(" Q ").number(tag); }
    int rotator(const char* tag) { return ask(" R ").number(tag); }
    int thermal(const char* tag) { return ask("T ").number(tag); }
};

} // namespace

class SimulatedUnitTest : public QObject {
    Q_OBJECT
private slots:
    // --- replies ------------------------------------------------------------------------

    void statusReplies_data() {
        QTest::addColumn<QByteArray>("cmd");
        QTest::addColumn<QString>("tags");
        QTest::newRow("temperatures") << QByteArray("T ")
                                      << ":t1 :t2 :t3 :t4 :t5 :t6 :t7 :tca :fm :fs :fg :ft :sm "
                                         ":ss :st :d1 :d2";
        // The coefficient comes before the slope it is scaled by: a receiver that does not yet
        // know the slope cannot read the coefficient of this reply.
        QTest::newRow("compensation")
            << QByteArray(" l ") << ":tcc :tcm :tc :sl1 :of1 :sl2 :of2 :sl3 :of3 :sl4 :of4";
        // Both positions three times over, so a receiver can count three actual positions.
        QTest::newRow("focuser") << QByteArray(" Q ")
                                 << ":s :a :h :mc :s :a :mo :mb :tc :frp :s :a";
        QTest::newRow("rotator") << QByteArray(" R ") << ":rs :rt :wr :rh :rrp";
        QTest::newRow("heater loop") << QByteArray("< ") << ":skp :skd :ski :sdi :sil";
    }
    void statusReplies() {
        QFETCH(QByteArray, cmd);
        QFETCH(QString, tags);
        Bench b;
        const Heard h = b.ask(cmd);
        QCOMPARE(h.tags().join(' '), tags);
        // Every value is a number in plain decimal.
        for (const auto& [tag, value] : h.pairs)
            QVERIFY2(sim::plainDecimal(value).has_value(), (tag + " " + value).c_str());
    }

    void exactReplies() {
        Bench b;
        QCOMPARE(b.ask("! ").bytes, QByteArray(":! 1 "));
        QCOMPARE(b.ask("V ").bytes, QByteArray(":vr 3.02 "));
        QCOMPARE(b.ask(" R ").bytes, QByteArray(":rs 0 :rt 0 :wr 0 :rh 0 :rrp 0 "));
        // Fourteen working values of the heater loop, then the end of the diagnostic line.
        const Heard d = b.ask(" d0 ");
        QCOMPARE(d.tags(), QStringList(15, QStringLiteral(":d")));
        for (std::size_t i = 0; i < 14; ++i)
            QVERIFY(sim::plainDecimal(d.pairs[i].second).has_value());
        QCOMPARE(d.value(":d"), QStringLiteral("*"));
        // Commands the unit acts on without a word back.
        for (const QByteArray& quiet :
             {QByteArray(" J "), QByteArray(" :V "), QByteArray("b10000 "), QByteArray(" E5 "),
              QByteArray("t3 ")})
            QCOMPARE(b.ask(quiet).bytes, QByteArray());
    }

    // --- motion -------------------------------------------------------------------------

    void focuserMovesHomesAndHoldsStill() {
        Bench b;
        b.unit.placeFocuser(10000, true);
        b.send("b12500 ");
        b.run(1000);
        Heard h = b.ask(" Q ");
        QCOMPARE(h.number(":s"), 12500);
        QCOMPARE(h.number(":a"), 12000);
        QCOMPARE(h.number(":mo"), 1);
        QVERIFY(h.number(":mc") > 0);
        b.run(250);
        QCOMPARE(b.focus(":mc"), 0); // arrived: the motor rests

        b.send("m-500 "); // from where it is
        b.run(100);
        b.send("S ");
        b.run(1000);
        QCOMPARE(b.unit.focusPosition(), 12300);
        QCOMPARE(b.unit.focusTarget(), 12300);
        b.send("b-100 "); // the unit keeps to its travel
        QCOMPARE(b.unit.focusTarget(), 0);

        b.send("U32 b11000 ");
        b.run(2000);
        QCOMPARE(b.focus(":mb"), 1);
        QCOMPARE(b.unit.focusPosition(), 12300);
        b.send("U0 ");
        b.run(1000);
        QCOMPARE(b.unit.focusPosition(), 11000);

        b.unit.placeFocuser(10000, false);
        b.send("h");
        b.run(4000);
        QCOMPARE(b.ask("o ").bytes, QByteArray(":h 0 "));
        b.run(1000);
        QCOMPARE(b.ask("o ").bytes, QByteArray(":h 1 "));
        QCOMPARE(b.unit.focusPosition(), 0);
    }

    void rotatorWrapFollowsEveryMove() {
        Bench b;
        b.unit.setRotatorSpeed(7200); // a turn in 10 s
        b.unit.placeRotator(1000, true);
        b.send(" j-72000 "); // a whole turn back ends where it started
        b.run(5000);
        Heard h = b.ask(" R ");
        QCOMPARE(h.number(":rs"), 1000);
        QCOMPARE(h.number(":rt"), 37000);
        QCOMPARE(h.number(":wr"), -36000);
        b.run(5000);
        QCOMPARE(b.unit.rotatorPosition(), 1000);
        QCOMPARE(b.unit.wrap(), -72000);
        // Absolute: half a turn or more forwards is taken backwards, as the PC's guard counts.
        b.send("|37000 "); // +36000: backwards
        b.run(10000);
        QCOMPARE(b.unit.wrap(), -108000);
        b.send("|50000 "); // +13000: forwards
        b.run(10000);
        QCOMPARE(b.unit.rotatorPosition(), 50000);
        QCOMPARE(b.unit.wrap(), -95000);

        b.send(" i  p100 "); // declares, does not turn
        QCOMPARE(b.unit.rotatorPosition(), 100);
        QCOMPARE(b.unit.wrap(), 0);
        b.send("q-200 ");
        b.run(10000);
        QCOMPARE(b.unit.rotatorPosition(), 71900);
        QCOMPARE(b.unit.wrap(), -200);

        b.send("q10000 ");
        b.run(500);
        b.send("q0 "); // stops
        b.run(1000);
        QCOMPARE(b.unit.rotatorTarget(), 3500); // 71900 + 3600, past the turn
        b.unit.placeRotator(1000, false, 0);
        QCOMPARE(b.ask("H ").bytes, QByteArray(":rh 0 "));
        b.send("r ");
        b.run(1000);
        QCOMPARE(b.unit.rotatorPosition(), 0);
        QCOMPARE(b.unit.wrap(), -1000);
        QCOMPARE(b.ask("H ").bytes, QByteArray(":rh 1 "));
    }

    // Homing finds the home mark from anywhere, the mark itself included.
    void rotatorHomesFromWhereverItIs_data() {
        QTest::addColumn<int>("angle");
        QTest::newRow("at home already") << 0;
        QTest::newRow("just past it") << 1;
        QTest::newRow("just before it") << 71999;
    }
    void rotatorHomesFromWhereverItIs() {
        QFETCH(int, angle);
        Bench b;
        b.unit.setRotatorSpeed(72000); // a turn a second
        b.unit.placeRotator(angle, false);
        b.send("r ");
        b.run(1000);
        QCOMPARE(b.ask("H ").bytes, QByteArray(":rh 1 "));
        QCOMPARE(b.rotator(":rt"), 0);
    }

    // --- temperatures and compensation --------------------------------------------------

    void compensationFollowsTheAir() {
        Bench b;
        b.unit.setNightSwing(0);
        b.unit.setAmbient(50);
        b.unit.placeFocuser(20000, true);
        // -10 counts a degree with the ambient sensor's slope: counts per 1000 raw units.
        b.send(" =-1758  F5  +1 ");
        QCOMPARE(b.focus(":tc"), 1);
        b.unit.setAmbient(40);
        b.run(200);
        const int moved = b.unit.focusTarget() - 20000;
        QVERIFY2(std::abs(moved - 100) <= 3, qPrintable(QString::number(moved)));
        // Below the movement threshold, or off, nothing moves.
        b.send(" F50 ");
        b.unit.setAmbient(39);
        b.run(1000);
        QCOMPARE(b.unit.focusTarget(), 20000 + moved);
        b.send(" +0 ");
        b.unit.setAmbient(20);
        b.run(1000);
        QCOMPARE(b.unit.focusTarget(), 20000 + moved);

        // Manual: one correction for each synch.
        b.send(" +2  F5 ");
        b.unit.setAmbient(10);
        b.run(1000);
        QCOMPARE(b.unit.focusTarget(), 20000 + moved);
        b.send(" +2 ");
        const int corrected = b.unit.focusTarget();
        QVERIFY2(std::abs(corrected - 20000 - moved - 100) <= 3,
                 qPrintable(QString::number(corrected)));
        b.send(" +2 ");
        QCOMPARE(b.unit.focusTarget(), corrected);
    }

    void temperaturesComeFromRawAndCalibration() {
        Bench b;
        const int raw = b.thermal(":t4");
        QCOMPARE(b.thermal(":tca"), raw);
        // New coefficients change the temperature the unit reports, not what the sensor reads.
        b.send("A0.2000000 D-60.0000000 ");
        const Heard l = b.ask(" l ");
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
        b.send(" s100 ");
        b.run(30 * 60 * 1000);
        QVERIFY(b.unit.temperature(Sensor::Secondary) > 54);
    }

    // Sped up, the night reaches in a minute what it reaches in an hour at the clock's pace,
    // fan and mirror lag included; the focuser keeps its real speed.
    void thermalSpeedRunsTheNightFaster() {
        Bench real;
        Bench fast;
        fast.unit.setThermalSpeed(60);
        real.unit.placeFocuser(10000, true);
        fast.unit.placeFocuser(10000, true);
        real.send("b11000 ");
        fast.send("b11000 ");
        const int rawBefore = fast.unit.rawReading(Sensor::Ambient);
        real.run(60 * 1000);
        fast.run(60 * 1000);
        QCOMPARE(fast.unit.focusPosition(), real.unit.focusPosition());
        QVERIFY(fast.unit.rawReading(Sensor::Ambient) < rawBefore);
        real.run(59 * 60 * 1000);
        QCOMPARE(fast.unit.temperature(Sensor::Ambient), real.unit.temperature(Sensor::Ambient));
        // The fan and heater loops act once a tick, so the mirrors differ a little.
        for (Sensor s : {Sensor::Primary, Sensor::Secondary})
            QVERIFY2(
                std::abs(fast.unit.temperature(s) - real.unit.temperature(s)) < 0.05,
                qPrintable(QString::number(fast.unit.temperature(s) - real.unit.temperature(s))));
    }

    void settingsAreReported() {
        Bench b;
        b.unit.setFocusSpeed(100000);
        const struct {
            QByteArray cmd;
            int (Bench::*query)(const char*);
            const char* tag;
            int value;
        } settings[] = {{QByteArray(" y30 "), &Bench::thermal, ":fs", 30},
                        {QByteArray("n2 "), &Bench::thermal, ":fm", 2},
                        // The set point is sent in degrees and reported in tenths.
                        {QByteArray(" P2.5 "), &Bench::thermal, ":st", 25},
                        {QByteArray(" k30 "), &Bench::thermal, ":d2", 30},
                        // Record flags: 1 recall at power-up, 8 a position recorded.
                        {QByteArray(" f "), &Bench::focus, ":frp", 8},
                        {QByteArray(" `1 "), &Bench::focus, ":frp", 9},
                        {QByteArray(" /1 "), &Bench::rotator, ":rrp", 1}};
        for (const auto& s : settings) {
            b.send(s.cmd);
            QCOMPARE((b.*s.query)(s.tag), s.value);
        }
        // Recall on: after a power cycle the focuser goes back to the recorded position.
        b.send("b15000 ");
        b.run(1000);
        b.unit.restart();
        b.run(1000);
        QCOMPARE(b.unit.focusPosition(), 10000);
        b.send(" `0 b15000 ");
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
        const QByteArray upload = QByteArray("}255 @25 p55 i2 j150 v131072 W120 ?12 u");
        QCOMPARE(b.ask(upload).bytes, QByteArray());
        QCOMPARE(b.ask("G ").bytes,
                 QByteArray(":p 55 :r 300 :i 2 :l 150 :g 4 :v 131072 :c 655 :fo 25 :fp 50 "
                            ":ifo 0 :ifa 255 :ifs 20 :ifh 2 :ac 255 :db 0 :dbt 120 :dbs 5 "
                            ":eh 255 "));
        QCOMPARE(b.ask("< ").value(":sdi"), QStringLiteral("12"));

        // Inside the upload "j", "i", "v", "p" were parameters; the rotator was left alone.
        b.run(1000);
        QCOMPARE(b.unit.rotatorPosition(), 500);
        QCOMPARE(b.unit.rotatorRecordFlags(), 0);
        // After it they are rotator commands again.
        b.send(" j100 ");
        b.run(1000);
        QCOMPARE(b.unit.rotatorPosition(), 600);
        // The internal fan's two words clear each other.
        b.send("{255 u");
        const Heard g = b.ask("G ");
        QCOMPARE(g.number(":ifo"), 255);
        QCOMPARE(g.number(":ifa"), 0);
    }

    // An upload cut short does not keep the unit in upload mode: the next command that is not
    // part of an upload ends it, and so does a pause in the middle of one.
    void interruptedUploadIsLeft() {
        Bench b;
        b.unit.placeRotator(500, true);
        b.send("}255 p55 i2 ");
        QVERIFY(b.unit.uploading());
        b.send(" R ");
        QVERIFY(!b.unit.uploading());
        b.send(" j100 ");
        b.run(1000);
        QCOMPARE(b.unit.rotatorPosition(), 600);

        // The PC stops half way through a word; a program started later moves the rotator.
        b.send("}255 p56 j15");
        b.run(SimulatedUnit::UploadQuietMs - 1);
        QVERIFY(b.unit.uploading());
        b.run(1);
        QVERIFY(!b.unit.uploading());
        b.send(" j100 ");
        b.run(1000);
        QCOMPARE(b.unit.rotatorPosition(), 700);
        QCOMPARE(b.unit.parameter(":p"), QByteArray("56"));
        QCOMPARE(b.unit.parameter(":l"), QByteArray("100"));

        // An upload that arrives in pieces, each soon after the last, is read whole.
        b.send("}255 p57 ");
        b.run(SimulatedUnit::UploadQuietMs / 2);
        b.send("j150 u");
        b.run(1000);
        QCOMPARE(b.unit.rotatorPosition(), 700);
        QCOMPARE(b.unit.parameter(":l"), QByteArray("150"));
    }

    // The unit reads plain decimal numbers only; a command it cannot read changes nothing.
    void onlyPlainDecimalArguments() {
        Bench b;
        b.unit.placeFocuser(11000, true);
        b.send(" P2.5 y30 ");
        const auto calibration = b.unit.calibration(Sensor::Ambient);
        b.send(" P1e-05 y+40 b1e4 b12000x A2e-1 D.5e1 ");
        b.send("}255 p5E1 i 150 u"); // "i" with no number, then a stray "150"
        b.run(1000);
        QCOMPARE(b.unit.heaterSetPoint(), 25);
        QCOMPARE(b.unit.fanPower(), 30);
        QCOMPARE(b.unit.focusTarget(), 11000);
        QCOMPARE(b.unit.calibration(Sensor::Ambient).slope, calibration.slope);
        QCOMPARE(b.unit.calibration(Sensor::Ambient).offset, calibration.offset);
        QCOMPARE(b.unit.parameter(":p"), QByteArray("40"));
        QCOMPARE(b.unit.parameter(":i"), QByteArray("1"));
        // The same values written plainly are taken.
        b.send(" P0.00001 y40 b12000 D-0.5 }255 p50 u");
        b.run(1000);
        QCOMPARE(b.unit.heaterSetPoint(), 0);
        QCOMPARE(b.unit.fanPower(), 40);
        QCOMPARE(b.unit.focusPosition(), 12000);
        QCOMPARE(b.unit.calibration(Sensor::Ambient).offset, -50000);
        QCOMPARE(b.unit.parameter(":p"), QByteArray("50"));
    }

    void plainDecimal_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("numeric");
        QTest::addColumn<double>("value");
        QTest::newRow("whole") << QByteArray("12500") << true << 12500.0;
        QTest::newRow("negative") << QByteArray("-72000") << true << -72000.0;
        QTest::newRow("fraction") << QByteArray("-57.5000000") << true << -57.5;
        QTest::newRow("no leading digit") << QByteArray(".5") << true << 0.5;
        QTest::newRow("exponent") << QByteArray("1e-05") << false << 0.0;
        QTest::newRow("upper-case exponent") << QByteArray("5E1") << false << 0.0;
        QTest::newRow("plus sign") << QByteArray("+40") << false << 0.0;
        QTest::newRow("two points") << QByteArray("1.2.3") << false << 0.0;
        QTest::newRow("sign alone") << QByteArray("-") << false << 0.0;
        QTest::newRow("empty") << QByteArray() << false << 0.0;
        QTest::newRow("not a number") << QByteArray("nan") << false << 0.0;
        QTest::newRow("trailing text") << QByteArray("12x") << false << 0.0;
    }
    void plainDecimal() {
        QFETCH(QByteArray, text);
        QFETCH(bool, numeric);
        QFETCH(double, value);
        const auto read = sim::plainDecimal(std::string_view(text.constData(), text.size()));
        QCOMPARE(read.has_value(), numeric);
        if (numeric)
            QCOMPARE(*read, value);
    }

    // " E" and " F" with whole numbers are mirror spacing and threshold; with a decimal point
    // they are sensor intercepts.
    void wordsSharedWithSensorCoefficients() {
        Bench b;
        const auto before = b.unit.calibration(Sensor::Primary);
        b.send(" E1234  F7 ");
        QCOMPARE(b.unit.calibration(Sensor::Primary).offset, before.offset);
        b.send("E-57.5000000 F-57.0000000 ");
        QCOMPARE(b.unit.calibration(Sensor::Primary).offset, -5750000);
        QCOMPARE(b.unit.calibration(Sensor::Secondary).offset, -5700000);
        QCOMPARE(b.unit.mirrorSpacing(), 1234);
        QCOMPARE(b.unit.tempCompThreshold(), 7);
    }

    // --- firmware loader ----------------------------------------------------------------

    void loaderTakesTheFirmware() {
        Bench b;
        const QByteArray ready = QByteArray(":x ") + SimulatedUnit::LoaderReady + ' ';
        QCOMPARE(b.ask("x ").bytes, ready);
        b.heard.clear();
        // The PC goes straight on; the unit holds it all until the erase is done.
        b.send(QByteArray("EP") + "S1050000AABB95");
        b.run(999);
        QCOMPARE(b.heard.bytes, QByteArray());
        b.run(1);
        QCOMPARE(b.heard.bytes, ready + "* ");
        b.heard.clear();
        b.send("S1050002DDEE2D");
        QCOMPARE(b.heard.bytes, QByteArray("* "));
        b.send("S9030000FC");
        QCOMPARE(b.unit.programmedRecords(),
                 (QByteArrayList{"S1050000AABB95", "S1050002DDEE2D", "S9030000FC"}));
        // The termination record ends the upload and the unit runs normally again.
        QCOMPARE(b.ask("! ").bytes, QByteArray(":! 1 "));
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
        b.send("x ");
        b.heard.clear();
        b.send("E");
        b.run(1000);
        QCOMPARE(b.heard.bytes, QByteArray(":x ") + status + ' ');
        b.heard.clear();
        b.send(QByteArray("P") + "S1050000AABB95");
        b.run(5999);
        QCOMPARE(b.heard.bytes, QByteArray());
        b.run(10000);
        QCOMPARE(b.heard.bytes, QByteArray(fault == 3 ? "* " : ""));
    }

    // The loader checks each record: one with a bad checksum, length or type is not
    // acknowledged, and neither is anything after it.
    void loaderRefusesABadRecord_data() {
        QTest::addColumn<QByteArray>("bad");
        QTest::newRow("checksum") << QByteArray("S1050002DDEE2E");
        QTest::newRow("type S4") << QByteArray("S4050002DDEE2D");
        QTest::newRow("too short for its address") << QByteArray("S1020000");
        QTest::newRow("not hex") << QByteArray("S1050002DDXE2D");
    }
    void loaderRefusesABadRecord() {
        QFETCH(QByteArray, bad);
        Bench b;
        b.unit.setEraseDurationMs(0);
        b.send("x EP");
        b.run(1);
        b.heard.clear();
        b.send("S1050000AABB95");
        QCOMPARE(b.heard.bytes, QByteArray("* "));
        b.send(bad + "S1050004DDEE2B");
        b.run(10000);
        QCOMPARE(b.heard.bytes, QByteArray("* "));
        QCOMPARE(b.unit.programmedRecords(), QByteArrayList{"S1050000AABB95"});
        QCOMPARE(b.unit.refusedRecords(), QByteArrayList{bad});
    }

    void loaderAnswersLateOrHangsUp() {
        Bench late;
        late.unit.setLoaderReplyDelayMs(1500);
        late.send("x ");
        late.run(1499);
        QCOMPARE(late.heard.bytes, QByteArray());
        late.run(1);
        QCOMPARE(late.heard.bytes, QByteArray(":x ") + SimulatedUnit::LoaderReady + ' ');

        // Told to hang up after two records: it acknowledges them, then drops the line.
        Bench cut;
        cut.unit.setEraseDurationMs(0);
        cut.unit.setHangUpAfterRecords(2);
        cut.send("x EP");
        cut.run(1);
        cut.heard.clear();
        cut.send("S1050000AABB95S1050002DDEE2D");
        QCOMPARE(cut.heard.bytes, QByteArray("* * "));
        QVERIFY(cut.unit.hungUp());
        // With 0 it drops the line as soon as it is told to program.
        Bench atOnce;
        atOnce.unit.setHangUpAfterRecords(0);
        atOnce.unit.setEraseDurationMs(0);
        atOnce.send("x E");
        atOnce.run(1);
        QVERIFY(!atOnce.unit.hungUp());
        atOnce.send("P");
        QVERIFY(atOnce.unit.hungUp());
    }

    // With the line paced towards the unit, a record is whole (and acknowledged) only when its
    // last character has come down the line: 14 characters at 1.04 ms each.
    void pacedInputTakesTheLinesTime() {
        Bench b;
        b.unit.setEraseDurationMs(0);
        b.unit.setInputPacing(sim::OutputLine::LineMsPerChar);
        b.send("x EP");
        b.run(10);
        b.heard.clear();
        b.send("S1050000AABB95");
        b.run(14);
        QCOMPARE(b.heard.bytes, QByteArray());
        b.run(2);
        QCOMPARE(b.heard.bytes, QByteArray("* "));
        QCOMPARE(b.unit.receivedBytes().right(14), QByteArray("S1050000AABB95"));
    }

    // --- line faults and pacing ---------------------------------------------------------

    void silentOrHungUpUnit() {
        Bench b;
        b.unit.setSilent(true); // acts, but says nothing
        b.send(" Q b10100 ");
        b.run(1000);
        QCOMPARE(b.heard.bytes, QByteArray());
        QCOMPARE(b.unit.focusPosition(), 10100);
        b.unit.setSilent(false);
        b.unit.setHungUp(true); // neither hears nor acts
        b.unit.clearReceived();
        b.send("b11000 ! ");
        b.run(1000);
        QCOMPARE(b.heard.bytes, QByteArray());
        QCOMPARE(b.unit.focusTarget(), 10100);
        QCOMPARE(b.unit.receivedBytes(), QByteArray("b11000 ! "));
    }

    void splitOrNoisyRepliesKeepTheirBytes() {
        Bench clean;
        const QByteArray reply = clean.ask("T ").bytes;
        Bench split;
        split.unit.setSplitReplies(true);
        const Heard h = split.ask("T ");
        QCOMPARE(h.bytes, reply);
        QVERIFY(h.chunks > 5);
        // Noise is added, never taken away: the clean reply is still there in order.
        Bench noisy;
        noisy.unit.setGarbage(true);
        const QByteArray bytes = noisy.ask("T ").bytes;
        QVERIFY(bytes.size() > reply.size());
        qsizetype at = 0;
        for (const char c : reply) {
            at = bytes.indexOf(c, at) + 1;
            QVERIFY(at > 0);
        }
    }

    void focusErrors() {
        Bench b;
        b.send("b12000 ");
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
        QVERIFY(!b.ask(" Q ").has(":e"));
    }

    void pacingAtLineSpeed() {
        Bench clean;
        const QByteArray reply = clean.ask(" Q ").bytes;
        Bench b;
        b.unit.setPacing(sim::OutputLine::LineMsPerChar);
        b.send(" Q ");
        QCOMPARE(b.heard.bytes.size(), 0);
        b.run(10);
        QCOMPARE(b.heard.bytes, reply.left(9)); // 10 ms / 1.04 ms
        b.run(qint64(reply.size() * sim::OutputLine::LineMsPerChar));
        QCOMPARE(b.heard.bytes, reply);
    }
};

QTEST_GUILESS_MAIN(SimulatedUnitTest)
#include "test_simulated_unit.moc"
