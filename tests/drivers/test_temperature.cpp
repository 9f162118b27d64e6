// The temperature object: linking, the once-a-second reading query, the setters with their
// ranges, modes and units, and the reply filters.

#include "DriverRig.h"

#include "drivers/DriverErrors.h"
#include "drivers/Temperature.h"

#include <QTest>

using namespace mivel;
using namespace mivel::test;

using Sent = QList<QByteArray>;

namespace {

struct TemperatureRig : DriverRig {
    TemperatureRig() { openPortAsConsole(); }
    Connector console{ctx->hub()};
    Temperature temperature{*ctx};
};

} // namespace

class TemperatureTest : public QObject {
    Q_OBJECT
private slots:
    void linkTakesSevenTicksOrAsksForReadings();
    void readingsAreQueriedAtMostOnceASecond();
    void readingsFromTheReply();
    void replyRangesHoldOrDrop();
    void fanSetters();
    void heaterSetters();
    void dewHeaters();
    void portTroubleIsReported();
};

void TemperatureTest::linkTakesSevenTicksOrAsksForReadings() {
    TemperatureRig rig;
    const qint64 start = rig.now();
    QCOMPARE(rig.run(rig.temperature.setConnected(true)),
             Status(errors::NoResponseFromMivel.error));
    QCOMPARE(rig.now() - start, Temperature::LinkAttempts * Temperature::LinkTickMs);
    QCOMPARE(rig.unit->sent, Sent(7, "! "));
    QVERIFY(!rig.temperature.connected());

    rig.unit->sent.clear();
    rig.unit->respond = answerProbe;
    QCOMPARE(rig.run(rig.temperature.setConnected(true)), Status());
    QVERIFY(rig.temperature.connected());
    QCOMPARE(rig.unit->sent, (Sent{"! ", "T "}));
    QCOMPARE(rig.run(rig.temperature.setConnected(false)), Status());
    QVERIFY(!rig.serial().connected());
}

void TemperatureTest::readingsAreQueriedAtMostOnceASecond() {
    TemperatureRig rig;
    rig.unit->respond = [](const QByteArray& c) {
        return c == "T " ? QByteArray(":t1 1234 ") : QByteArray();
    };
    QCOMPARE(rig.run(rig.temperature.ambientTemp()), 0.0); // within a second of creation
    rig.advance(1001);
    QCOMPARE(rig.run(rig.temperature.ambientTemp()), 12.34);
    rig.advance(900);
    QCOMPARE(rig.run(rig.temperature.fanSpeed()), qint16(0));
    QCOMPARE(rig.unit->count("T "), 1);

    // An ambient reading from anyone's query postpones the next one.
    rig.advance(101);
    rig.deliver(":t1 1500 ");
    QCOMPARE(rig.run(rig.temperature.ambientTemp()), 15.0);
    QCOMPARE(rig.unit->count("T "), 1);

    // Unanswered: the last value, after half a second.
    rig.unit->respond = nullptr;
    rig.advance(1001);
    const qint64 start = rig.now();
    QCOMPARE(rig.run(rig.temperature.ambientTemp()), 15.0);
    QCOMPARE(rig.now() - start, Temperature::QueryWaitMs);
    QCOMPARE(rig.unit->count("T "), 2);
}

void TemperatureTest::readingsFromTheReply() {
    TemperatureRig rig;
    rig.deliver(":t1 -1250 :t2 500 :t3 -1 :t7 9050 :t4 812 :t5 -3 :t6 40000 :vr 2.05b ");
    QCOMPARE(rig.run(rig.temperature.ambientTemp()), -12.5);
    QCOMPARE(rig.run(rig.temperature.primaryTemp()), 5.0);
    QCOMPARE(rig.run(rig.temperature.secondaryTemp()), -0.01);
    QCOMPARE(rig.run(rig.temperature.electronicTemp()), 90.5);
    QCOMPARE(rig.run(rig.temperature.ambientTempRaw()), qint16(812));
    QCOMPARE(rig.run(rig.temperature.primaryTempRaw()), qint16(-3));
    QCOMPARE(rig.run(rig.temperature.secondaryTempRaw()), qint16(0)); // beyond 16 bits
    QCOMPARE(rig.ctx->shared().versionText, QStringLiteral("2.05b"));
    QCOMPARE(rig.temperature.temperatureUnits(), qint16(1));
}

void TemperatureTest::replyRangesHoldOrDrop() {
    TemperatureRig rig;
    rig.deliver(":fm 2 :fs 40 :fg 25 :ft 5 :sm 1 :ss 30 :st -55 :d1 10 :d2 20 ");
    rig.deliver(":fm 3 :fs 150 :fg 0 :ft 101 :sm -1 :ss 150 :st 101 :d1 120 :d2 -1 ");
    QCOMPARE(rig.run(rig.temperature.fanMode()), qint16(2));
    QCOMPARE(rig.run(rig.temperature.fanSpeed()), qint16(40));
    QCOMPARE(rig.run(rig.temperature.fanAggressiveness()), 2.5f);
    QCOMPARE(rig.run(rig.temperature.fanDeadband()), 0.5f);
    QCOMPARE(rig.run(rig.temperature.secondaryHeaterMode()), qint16(1));
    QCOMPARE(rig.run(rig.temperature.secondaryHeaterPower()), qint16(100));
    QCOMPARE(rig.run(rig.temperature.secondaryHeaterSetpoint()), -5.5f);
    QCOMPARE(rig.run(rig.temperature.dewHeater1Power()), qint16(100));
    QCOMPARE(rig.run(rig.temperature.dewHeater2Power()), qint16(20));
    QVERIFY(rig.unit->sent.isEmpty()); // reports are stored, never answered with commands
}

void TemperatureTest::fanSetters() {
    TemperatureRig rig;
    rig.deliver(":fm 1 ");
    QCOMPARE(rig.temperature.setFanSpeed(50), Status(errors::FanNotManual.error));
    QCOMPARE(rig.temperature.setFanSpeed(101), Status(errors::FanSpeedOutOfRange.error));
    QVERIFY(rig.unit->sent.isEmpty());
    QCOMPARE(rig.temperature.setFanMode(0), Status());
    QCOMPARE(rig.temperature.setFanSpeed(50), Status());
    QCOMPARE(rig.temperature.setFanMode(2), Status());
    QCOMPARE(rig.temperature.setFanMode(0), Status()); // manual again, at the stored speed
    QCOMPARE(rig.temperature.setFanMode(3), Status(errors::FanModeOutOfRange.error));
    QCOMPARE(rig.temperature.setFanAggressiveness(0.1f), Status());
    QCOMPARE(rig.temperature.setFanAggressiveness(10), Status());
    QCOMPARE(rig.temperature.setFanAggressiveness(0.09f),
             Status(errors::AggressivenessOutOfRange.error));
    QCOMPARE(rig.temperature.setFanDeadband(0.5f), Status());
    QCOMPARE(rig.temperature.setFanDeadband(0.25f), Status());
    QCOMPARE(rig.temperature.setFanDeadband(10.5f), Status(errors::DeadbandOutOfRange.error));
    QCOMPARE(rig.unit->sent,
             (Sent{"y0 ", "y50 ", "n2 ", "y50 ", " g1 ", " g100 ", " O5 ", " O2.5 "}));
}

void TemperatureTest::heaterSetters() {
    TemperatureRig rig;
    QCOMPARE(rig.temperature.setSecondaryHeaterSetpoint(2.5f), Status());
    QCOMPARE(rig.temperature.setSecondaryHeaterSetpoint(-10), Status());
    QCOMPARE(rig.temperature.setSecondaryHeaterSetpoint(10.5f),
             Status(errors::SetpointOutOfRange.error));
    QCOMPARE(rig.temperature.setSecondaryHeaterPower(30), Status());
    QCOMPARE(rig.temperature.setSecondaryHeaterPower(-1),
             Status(errors::HeaterPowerOutOfRange.error));
    QCOMPARE(rig.temperature.setSecondaryHeaterMode(1), Status());
    QCOMPARE(rig.temperature.setSecondaryHeaterPower(40), Status(errors::HeaterNotManual.error));
    QCOMPARE(rig.temperature.setSecondaryHeaterMode(0), Status());
    QCOMPARE(rig.temperature.setSecondaryHeaterMode(-1),
             Status(errors::HeaterModeOutOfRange.error));
    QCOMPARE(rig.unit->sent, (Sent{"P2.5 ", "P-10 ", "s30 ", "w1 ", "s30 "}));

    // The set point goes out as it is and comes back in tenths.
    rig.deliver(":st 25 ");
    QCOMPARE(rig.run(rig.temperature.secondaryHeaterSetpoint()), 2.5f);
}

void TemperatureTest::dewHeaters() {
    TemperatureRig rig;
    QCOMPARE(rig.temperature.setDewHeater1Power(0), Status());
    QCOMPARE(rig.temperature.setDewHeater2Power(100), Status());
    QCOMPARE(rig.temperature.setDewHeater1Power(101), Status(errors::Dew1OutOfRange.error));
    QCOMPARE(rig.temperature.setDewHeater2Power(-1), Status(errors::Dew2OutOfRange.error));
    QCOMPARE(rig.unit->sent, (Sent{"c0 ", "k100 "}));
    QCOMPARE(rig.run(rig.temperature.dewHeater2Power()), qint16(100));
}

void TemperatureTest::portTroubleIsReported() {
    TemperatureRig rig;
    rig.unit->hangUp(QStringLiteral("gone"));
    rig.settle();
    QCOMPARE(rig.prompt->texts(), QStringList{QStringLiteral("comm error received")});
}

QTEST_GUILESS_MAIN(TemperatureTest)
#include "test_temperature.moc"
