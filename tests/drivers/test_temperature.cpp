// The temperature object: linking, the once-a-second reading query, the setters with their
// ranges, modes and units, and the reply filters.

#include "DriverRig.h"

#include "drivers/DriverErrors.h"
#include "drivers/Temperature.h"

#include <QTest>

using namespace mivel;
using namespace mivel::test;

namespace {

// A temperature object on a port that a console opened.
struct TemperatureRig : DriverRig {
    TemperatureRig() { openPortAsConsole(); }
    Connector console{ctx->hub()};
    Temperature t{*ctx};
};

} // namespace

class TemperatureTest : public QObject {
    Q_OBJECT
private slots:
    void linkTakesSevenTicksOrAsksForReadings() {
        TemperatureRig rig;
        const qint64 start = rig.now();
        QCOMPARE(rig.run(rig.t.setConnected(true)), Status(errors::NoResponseFromMivel));
        QCOMPARE(rig.now() - start, Temperature::LinkAttempts * Temperature::LinkTickMs);
        QCOMPARE(rig.sent(), QByteArray("! ! ! ! ! ! ! "));
        QVERIFY(!rig.t.connected());
        rig.device->respond = answerProbe;
        QCOMPARE(rig.run(rig.t.setConnected(true)), Status());
        QVERIFY(rig.t.connected());
        QCOMPARE(rig.sent(), QByteArray("! T "));
        QCOMPARE(rig.run(rig.t.setConnected(false)), Status());
        QVERIFY(!rig.serial().connected());
        rig.device->hangUp(QStringLiteral("gone"));
        rig.settle();
        QCOMPARE(rig.prompt->texts(), QStringList{QStringLiteral("comm error received")});
    }

    void readingsAreQueriedAtMostOnceASecond() {
        TemperatureRig rig;
        rig.device->respond = answering("T ", ":t1 1234 ");
        QCOMPARE(rig.run(rig.t.ambientTemp()), 0.0); // within a second of creation
        rig.advance(1001);
        QCOMPARE(rig.run(rig.t.ambientTemp()), 12.34);
        rig.advance(900);
        QCOMPARE(rig.run(rig.t.fanSpeed()), qint16(0));
        QCOMPARE(rig.count("T "), 1);
        // An ambient reading from anyone's query postpones the next one.
        rig.advance(101);
        rig.deliver(":t1 1500 ");
        QCOMPARE(rig.run(rig.t.ambientTemp()), 15.0);
        QCOMPARE(rig.count("T "), 1);
        // Unanswered: the last value, after half a second.
        rig.device->respond = nullptr;
        rig.advance(1001);
        const qint64 start = rig.now();
        QCOMPARE(rig.run(rig.t.ambientTemp()), 15.0);
        QCOMPARE(rig.now() - start, Temperature::QueryWaitMs);
        QCOMPARE(rig.count("T "), 2);
    }

    void repliesAreScaledHeldOrDropped() {
        TemperatureRig rig;
        rig.deliver(":t1 -1250 :t6 40000 :vr 2.05b :fs 40 :fg 25 :st -55 :d2 20 ");
        rig.deliver(":fs 150 :fg 0 :ss 150 :st 101 :d2 -1 ");
        QCOMPARE(rig.run(rig.t.ambientTemp()), -12.5);
        QCOMPARE(rig.run(rig.t.secondaryTempRaw()), qint16(0)); // beyond 16 bits
        QCOMPARE(rig.ctx->shared().versionText, QStringLiteral("2.05b"));
        QCOMPARE(rig.run(rig.t.fanSpeed()), qint16(40));
        QCOMPARE(rig.run(rig.t.fanAggressiveness()), 2.5f);
        QCOMPARE(rig.run(rig.t.secondaryHeaterPower()), qint16(100)); // held, not dropped
        QCOMPARE(rig.run(rig.t.secondaryHeaterSetpoint()), -5.5f);
        QCOMPARE(rig.run(rig.t.dewHeater2Power()), qint16(20));
        QCOMPARE(rig.sent(), QByteArray()); // reports are stored, never answered with commands
    }

    void fanSetters() {
        TemperatureRig rig;
        rig.deliver(":fm 1 ");
        QCOMPARE(rig.t.setFanSpeed(50), Status(errors::FanNotManual));
        QCOMPARE(rig.t.setFanSpeed(101), Status(errors::FanSpeedOutOfRange));
        QCOMPARE(rig.sent(), QByteArray());
        QCOMPARE(rig.t.setFanMode(0), Status());
        QCOMPARE(rig.t.setFanSpeed(50), Status());
        QCOMPARE(rig.t.setFanMode(2), Status());
        QCOMPARE(rig.t.setFanMode(0), Status()); // manual again, at the stored speed
        QCOMPARE(rig.t.setFanMode(3), Status(errors::FanModeOutOfRange));
        QCOMPARE(rig.t.setFanAggressiveness(0.1f), Status());
        QCOMPARE(rig.t.setFanAggressiveness(0.09f), Status(errors::AggressivenessOutOfRange));
        QCOMPARE(rig.t.setFanDeadband(0.25f), Status());
        QCOMPARE(rig.t.setFanDeadband(10.5f), Status(errors::DeadbandOutOfRange));
        QCOMPARE(rig.sent(), QByteArray("y0 y50 n2 y50  g1  O2.5 "));
    }

    void heaterAndDewSetters() {
        TemperatureRig rig;
        Temperature& t = rig.t;
        QCOMPARE(t.setSecondaryHeaterSetpoint(2.5f), Status());
        QCOMPARE(t.setSecondaryHeaterSetpoint(-10), Status());
        QCOMPARE(t.setSecondaryHeaterSetpoint(1e-5f), Status()); // written out, no exponent
        QCOMPARE(t.setSecondaryHeaterSetpoint(10.5f), Status(errors::SetpointOutOfRange));
        QCOMPARE(t.setSecondaryHeaterPower(30), Status());
        QCOMPARE(t.setSecondaryHeaterPower(-1), Status(errors::HeaterPowerOutOfRange));
        QCOMPARE(t.setSecondaryHeaterMode(1), Status());
        QCOMPARE(t.setSecondaryHeaterPower(40), Status(errors::HeaterNotManual));
        QCOMPARE(t.setSecondaryHeaterMode(0), Status());
        QCOMPARE(t.setSecondaryHeaterMode(-1), Status(errors::HeaterModeOutOfRange));
        QCOMPARE(t.setDewHeater1Power(0), Status());
        QCOMPARE(t.setDewHeater2Power(100), Status());
        QCOMPARE(t.setDewHeater1Power(101), Status(errors::Dew1OutOfRange));
        QCOMPARE(t.setDewHeater2Power(-1), Status(errors::Dew2OutOfRange));
        QCOMPARE(rig.sent(), QByteArray("P2.5 P-10 P0.00001 s30 w1 s30 c0 k100 "));
        // The set point goes out as it is and comes back in tenths.
        rig.deliver(":st 25 ");
        QCOMPARE(rig.run(t.secondaryHeaterSetpoint()), 2.5f);
    }
};

QTEST_GUILESS_MAIN(TemperatureTest)
#include "test_temperature.moc"
