// The device reply body, written without the JSON classes: byte for byte what QJsonDocument
// writes of the same object, for every kind of value a member returns and every text an error
// can carry.

#include "alpaca/AlpacaProtocol.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <cmath>
#include <limits>

using namespace mivel::alpaca;

namespace {

// The body as the JSON classes make it: the reference the direct writing must match.
QByteArray throughQJson(const Reply& reply, quint32 client, quint32 server) {
    QJsonObject o;
    if (!reply.value.isUndefined())
        o.insert(QStringLiteral("Value"), reply.value);
    o.insert(QStringLiteral("ClientTransactionID"), qint64(client));
    o.insert(QStringLiteral("ServerTransactionID"), qint64(server));
    o.insert(QStringLiteral("ErrorNumber"), reply.errorNumber);
    o.insert(QStringLiteral("ErrorMessage"), reply.errorMessage);
    return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

QString awkwardText(int which) {
    switch (which) {
    case 0:
        return {};
    case 1:
        return QStringLiteral("No response from Mivel");
    case 2:
        return QStringLiteral("say \"hi\" C:\\dir/file");
    case 3:
        return QStringLiteral("tab\tline\nreturn\r\bform\f");
    case 4:
        return QString(QChar(0x01)) + QChar(0x1f) + QChar(0x7f) + QChar(0x80);
    case 5:
        return QStringLiteral("Temperatur 12,5 °C, ü, 温度, \U0001F321");
    default:
        return QString(QChar(0xD800)) + u'x' + QChar(0xDC00); // lone surrogates
    }
}
constexpr int AwkwardTexts = 7;

} // namespace

class AlpacaProtocolTest : public QObject {
    Q_OBJECT
private slots:
    void replyBodyIsWhatTheJsonWriterWrites_data() {
        QTest::addColumn<QVariant>("value");
        const double inf = std::numeric_limits<double>::infinity();
        QTest::newRow("none") << QVariant();
        QTest::newRow("true") << QVariant(true);
        QTest::newRow("false") << QVariant(false);
        QTest::newRow("int") << QVariant(12500);
        QTest::newRow("negative int") << QVariant(-2147483647 - 1);
        QTest::newRow("short") << QVariant::fromValue<short>(-3);
        QTest::newRow("long long") << QVariant(123456789012345678LL);
        QTest::newRow("million as double") << QVariant(1e6);
        QTest::newRow("integral double") << QVariant(12500.0);
        QTest::newRow("double") << QVariant(-12.5);
        QTest::newRow("tenth") << QVariant(0.1);
        QTest::newRow("single") << QVariant(0.1f);
        QTest::newRow("single third") << QVariant(1.0f / 3);
        QTest::newRow("tiny") << QVariant(1e-7);
        QTest::newRow("huge") << QVariant(1e21);
        QTest::newRow("2^53+") << QVariant(9007199254740993.0);
        QTest::newRow("minus zero") << QVariant(-0.0);
        QTest::newRow("nan") << QVariant(std::nan(""));
        QTest::newRow("infinity") << QVariant(-inf);
        for (int i = 0; i < AwkwardTexts; ++i)
            QTest::addRow("text %d", i) << QVariant(awkwardText(i));
        QTest::newRow("names") << QVariant(QStringList{"move", "say \"x\"", awkwardText(5)});
        QTest::newRow("list") << QVariant(QVariantList{1, 2.5, true, QStringLiteral("a")});
    }
    void replyBodyIsWhatTheJsonWriterWrites() {
        QFETCH(QVariant, value);
        mivel::CallResult result;
        result.value = value;
        const Reply ok = Reply::fromCall(result);
        QCOMPARE(encodeReply(ok, 7, 1), throughQJson(ok, 7, 1));
        // The same value beside each error text, at the ends of the transaction ids' range.
        for (int i = 0; i < AwkwardTexts; ++i) {
            Reply failed = ok;
            failed.errorNumber = 0x500 + i;
            failed.errorMessage = awkwardText(i);
            QCOMPARE(encodeReply(failed, 0, 4294967295u), throughQJson(failed, 0, 4294967295u));
        }
    }
};

QTEST_APPLESS_MAIN(AlpacaProtocolTest)
#include "test_alpaca_protocol.moc"
