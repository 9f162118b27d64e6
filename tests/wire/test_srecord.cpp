// S-records as the firmware file summary and the simulated loader read them.

#include "wire/SRecord.h"

#include <QTest>

using namespace mivel::wire;

class SRecordTest : public QObject {
    Q_OBJECT
private slots:
    void readsEachKindOfRecord_data() {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<char>("type");
        QTest::addColumn<uint>("address");
        QTest::addColumn<QByteArray>("data");
        QTest::newRow("S0 header")
            << QByteArray("S00600004844521B") << '0' << 0u << QByteArray("HDR");
        QTest::newRow("S1, 16-bit address")
            << QByteArray("S1050000AABB95") << '1' << 0u << QByteArray("\xAA\xBB");
        QTest::newRow("S2, 24-bit address, lower-case hex")
            << QByteArray("S20612345601025a") << '2' << 0x123456u << QByteArray("\x01\x02");
        QTest::newRow("S3, 32-bit address")
            << QByteArray(makeRecord('3', 0x80001000u, "\x7F").c_str()) << '3' << 0x80001000u
            << QByteArray("\x7F");
        QTest::newRow("S9 end") << QByteArray("S9030000FC") << '9' << 0u << QByteArray();
    }
    void readsEachKindOfRecord() {
        QFETCH(QByteArray, line);
        QFETCH(char, type);
        QFETCH(uint, address);
        QFETCH(QByteArray, data);
        const SRecord r = readRecord(line.toStdString());
        QVERIFY2(r.ok(), line.constData());
        QCOMPARE(r.type, type);
        QCOMPARE(r.address, address);
        QCOMPARE(QByteArray::fromStdString(r.data), data);
    }

    void namesTheFirstFault_data() {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<int>("fault");
        QTest::newRow("empty") << QByteArray() << int(RecordFault::NotARecord);
        QTest::newRow("not an S") << QByteArray(":10000000") << int(RecordFault::NotARecord);
        QTest::newRow("S4 does not exist")
            << QByteArray("S4050000AABB95") << int(RecordFault::BadType);
        QTest::newRow("count not hex") << QByteArray("S1G50000AABB95") << int(RecordFault::BadHex);
        QTest::newRow("a data digit not hex")
            << QByteArray("S1050000AAXB95") << int(RecordFault::BadHex);
        QTest::newRow("count says more than the line has")
            << QByteArray("S1060000AABB95") << int(RecordFault::BadLength);
        QTest::newRow("line longer than its count")
            << QByteArray("S1050000AABB9500") << int(RecordFault::BadLength);
        QTest::newRow("count too small for the address")
            << QByteArray("S2030000FC") << int(RecordFault::BadLength);
        QTest::newRow("checksum off by one")
            << QByteArray("S1050000AABB96") << int(RecordFault::BadChecksum);
    }
    void namesTheFirstFault() {
        QFETCH(QByteArray, line);
        QFETCH(int, fault);
        QCOMPARE(int(readRecord(line.toStdString()).fault), fault);
    }

    // What makeRecord writes, readRecord reads back, for every type and the widest data.
    void madeRecordsReadBack() {
        const std::string data(250, '\xE5');
        for (const char type : {'0', '1', '2', '3', '5', '7', '8', '9'}) {
            const int width = addressBytes(type);
            const auto address = std::uint32_t((1ull << (8 * width)) - 2);
            const std::string_view payload(data.data(), std::size_t(254 - width));
            const SRecord r = readRecord(makeRecord(type, address, payload));
            QVERIFY2(r.ok(), &type);
            QCOMPARE(r.address, address);
            QCOMPARE(r.data.size(), payload.size());
        }
        QCOMPARE(QByteArray::fromStdString(makeRecord('9', 0, {})), QByteArray("S9030000FC"));
    }
};

QTEST_APPLESS_MAIN(SRecordTest)
#include "test_srecord.moc"
