// Alpaca values, parameters and the error mapping, without a server.

#include "alpaca/AlpacaProtocol.h"
#include "drivers/DriverErrors.h"
#include "link/Serial.h"

#include <QJsonArray>
#include <QTest>

using namespace mivel;
using namespace mivel::alpaca;

class AlpacaProtocolTest : public QObject {
    Q_OBJECT
private slots:
    void objectErrorsMapToAlpacaNumbers_data() {
        QTest::addColumn<qint64>("number");
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("description");
        QTest::addColumn<int>("alpaca");
        auto row = [](const char* d, int alpaca, qint64 number = 0, const char* source = "Mivel") {
            QTest::newRow(d) << number << QString(source) << QString(d) << alpaca;
        };
        // Focuser
        row("No response from focuser", NoResponse, 1, "0");
        row("Serial link not established", NotConnected);
        row("Temperature compensation active, focus movement not allowed.", InvalidOperation);
        row("Temperature compensation coefficient currently unavailable, try again.", ValueNotSet);
        row("Temperature compensation coefficient value out of range.", InvalidValue);
        row("Temperature compensation movement threshold currently unavailable, try again.",
            ValueNotSet);
        row("Temperature compensation movement threshold value out of range.", InvalidValue);
        // Rotator
        row("No response from Mivel", NoResponse, 1, "0");
        row("Rotator not linked", NotConnected, 0, "Vark");
        row("Value out of range.", InvalidValue, 0, "Vark");
        row("PosPositionLimit must be numeric.", InvalidValue, 0, "Vark");
        row("Illegal unwrap value.", InvalidValue, 1, "0");
        row("Illegal wrap limit value.", InvalidValue, 1, "0");
        row("Reset Position Angle out of range", InvalidValue, 0, "Mivel.ROTATOR");
        // Temperature
        row("Fan Mode value out of range.", InvalidValue);
        row("Fan Speed value out of range.", InvalidValue);
        row("Fan Mode is not Manual.", InvalidOperation);
        row("Secondary heater mode is not Manual.", InvalidOperation);
        row("Dew heater 2 Power value out of range.", InvalidValue);
        // Arguments the member cannot take
        row("Type mismatch", InvalidValue, 13);
        row("Overflow", InvalidValue, 6);
        // The serial port object, and others
        row("Timed out waiting for received data.", NoResponse, Serial::ErrorTimeout,
            "ASCOM Helper Serial Port Object");
        row("No such file or directory", PortFailure, Serial::ErrorDevice,
            "ASCOM Helper Serial Port Object");
        row("Something else entirely", UnitFailure, 5, "elsewhere");
        row("SetupDialog is not available: mivel runs without its console windows.", NotImplemented,
            0x400);
    }
    void objectErrorsMapToAlpacaNumbers() {
        QFETCH(qint64, number);
        QFETCH(QString, source);
        QFETCH(QString, description);
        QFETCH(int, alpaca);
        const Error e = fromAutomationError({number, source, description});
        QCOMPARE(e.number, alpaca);
        QCOMPARE(e.message, description); // the member's own words
    }

    void everyErrorOfTheObjectsHasANumber() {
        const QList<int> known{NotImplemented,   InvalidValue, ValueNotSet, NotConnected,
                               InvalidOperation, NoResponse,   PortFailure, UnitFailure};
        for (const DriverError* e : driverErrors())
            QVERIFY2(known.contains(fromAutomationError(e->error).number),
                     qPrintable(e->error.description));
        // Only the last resort is a plain unit failure.
        QVERIFY(fromAutomationError(errors::FanNotManual.error).number != UnitFailure);
    }

    void anErrorWithoutWordsStillSaysSomething() {
        QCOMPARE(fromAutomationError({7, "Mivel", ""}).message, "Error 7 from Mivel");
    }

    void valuesInAlpacaTextForms() {
        QCOMPARE(parseBool("TRUE"), std::optional<bool>(true));
        QCOMPARE(parseBool("false"), std::optional<bool>(false));
        QVERIFY(!parseBool("1"));
        QVERIFY(!parseBool(""));
        QCOMPARE(parseInt("-40000"), std::optional<qint32>(-40000));
        QVERIFY(!parseInt("1.0"));
        QVERIFY(!parseInt("+3"));
        QVERIFY(!parseInt("1,000"));
        QVERIFY(!parseInt("2147483648"));
        QCOMPARE(parseDouble("-12.5"), std::optional<double>(-12.5));
        QCOMPARE(parseDouble("1e2"), std::optional<double>(100));
        QVERIFY(!parseDouble("1,5"));
        QVERIFY(!parseDouble("nan"));
        QVERIFY(!parseDouble("12.5abc"));
        // Text and variant members take the text as it is.
        QCOMPARE(parseAs(QMetaType::QVariant, "abc"), std::optional<QVariant>(QVariant("abc")));
    }

    void formsDecode() {
        const auto pairs = decodeForm("Action=Temp+Comp&Parameters=a%26b%3D1&&Empty&Action=again");
        QCOMPARE(pairs.size(), 3);
        QCOMPARE(pairs[0].second, "Temp Comp");
        QCOMPARE(pairs[1].second, "a&b=1");
        QCOMPARE(pairs[2].first, "Empty");

        const Params put = Params::fromForm("id=3&Value=1");
        QVERIFY(put.find(u"Id").wrongCase);
        QVERIFY(!put.find(u"Id").found);
        QVERIFY(put.find(u"Value").found);
        const Params get = Params::fromQuery("id=3");
        QCOMPARE(get.find(u"Id").value, "3");
        QVERIFY(!get.find(u"Id").wrongCase);
    }

    void jsonValues() {
        QCOMPARE(toJson(QVariant(0.1f)).toDouble(), 0.1); // not 0.10000000149011612
        QCOMPARE(toJson(QVariant(float(-12.34))).toDouble(), -12.34);
        QCOMPARE(toJson(QVariant(qint16(-5))).toInt(), -5);
        QVERIFY(toJson(QVariant(true)).isBool());
        QVERIFY(toJson(QVariant()).isUndefined());
        QCOMPARE(toJson(QVariant(QStringList{"a"})).toArray().size(), 1);

        const QByteArray body = encodeReply(Reply::failure(InvalidValue, "no"), 5, 9);
        QCOMPARE(
            body,
            R"({"ClientTransactionID":5,"ErrorMessage":"no","ErrorNumber":1025,"ServerTransactionID":9})");
    }
};

QTEST_GUILESS_MAIN(AlpacaProtocolTest)
#include "tst_alpaca_protocol.moc"
