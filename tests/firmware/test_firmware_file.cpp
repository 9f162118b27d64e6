// The firmware file as the upload reads it (lines, the 16-bit count) and as the file page
// summarises it.

#include "FlashRig.h"

#include "firmware/FirmwareFile.h"
#include "firmware/FirmwareSummary.h"
#include "firmware/FlashTexts.h"

#include <QTemporaryDir>
#include <QTest>

using namespace mivel;
using namespace mivel::firmware;

class FirmwareFileTest : public QObject {
    Q_OBJECT
    QTemporaryDir dir;
    QString path(const char* name) const { return dir.filePath(QLatin1String(name)); }
    QString write(const char* name, const QByteArray& content) {
        QFile f(path(name));
        f.open(QIODevice::WriteOnly);
        f.write(content);
        return path(name);
    }

private slots:
    // Lines come without their line ends, whatever the ends are, and a last line without one
    // still counts; the file reads as "ended" at its S9 or at its last line.
    void linesAsTheyStand() {
        FirmwareFile file;
        QVERIFY(!file.open(write("mixed.s19", "S0030000FC\r\nS1050000AABB95\nS9030000FC")));
        QCOMPARE(file.lineCount(), qint16(3));
        QCOMPARE(*file.nextLine(), QByteArray("S0030000FC"));
        QCOMPARE(*file.nextLine(), QByteArray("S1050000AABB95"));
        QVERIFY(!file.endRecordSeen());
        QCOMPARE(*file.nextLine(), QByteArray("S9030000FC"));
        QVERIFY(file.endRecordSeen());
        QVERIFY(!file.nextLine().ok()); // nothing more: a read failure

        QVERIFY(!file.open(write("empty.s19", "")));
        QCOMPARE(file.lineCount(), qint16(0));
        QVERIFY(!file.nextLine().ok());
    }

    // The count is 16-bit: 32767 lines are fine, one more cannot be counted.
    void lineCountLimit() {
        FirmwareFile file;
        const QByteArray line = "S9030000FC\r\n";
        QVERIFY(!file.open(write("max.s19", line.repeated(FirmwareFile::MaxLines))));
        QCOMPARE(file.lineCount(), qint16(32767));
        const Status over = file.open(write("over.s19", line.repeated(FirmwareFile::MaxLines + 1)));
        QVERIFY(over);
        QVERIFY2(over->description.contains("32767"), qPrintable(over->description));
        QVERIFY(file.open(path("missing.s19")));
        QVERIFY(file.open(QString()));
    }

    void summaryTellsWhatTheFileHolds() {
        const QByteArrayList good = test::firmwareLines(10); // S0, 8 × 16 bytes, S9
        QVERIFY(test::writeFile(path("good.s19"), good));
        const Result<FirmwareSummary> s = summariseFirmware(path("good.s19"));
        QVERIFY(s.ok());
        QCOMPARE(s.value().records, 10);
        QCOMPARE(s.value().dataBytes, qint64(128));
        QCOMPARE(s.value().lowAddress, 0x8000u);
        QCOMPARE(s.value().highAddress, 0x807Fu);
        QVERIFY(s.value().allGood() && s.value().terminated);
        QCOMPARE(describeFirmware(s.value()),
                 QStringLiteral("10 records, 128 data bytes at 0x8000 to "
                                "0x807F.\nEvery record's checksum is right."));

        QByteArrayList bad = good;
        bad[4][bad[4].size() - 1] = bad[4].endsWith('0') ? '1' : '0';
        bad.removeLast();
        QVERIFY(test::writeFile(path("bad.s19"), bad));
        const Result<FirmwareSummary> b = summariseFirmware(path("bad.s19"));
        QCOMPARE(b.value().badRecords, 1);
        QCOMPARE(b.value().firstBadLine, 5);
        QCOMPARE(b.value().dataBytes, qint64(112)); // the damaged record's bytes are not counted
        const QString words = describeFirmware(b.value());
        QVERIFY2(words.contains("1 of the lines are damaged") && words.contains("line 5") &&
                     words.contains("no end record"),
                 qPrintable(words));

        const Result<FirmwareSummary> text = summariseFirmware(write("notes.s19", "hello\n"));
        QVERIFY(describeFirmware(text.value()).contains("not a firmware file"));
        QVERIFY(!summariseFirmware(path("missing.s19")).ok());
    }

    void errorPageAndProgressTexts() {
        QCOMPARE(errorPageText(6),
                 QStringLiteral("The firmware upload was terminated with an error code: 6\n\n"
                                "TIMED OUT WAITING FOR PROGRAM HANDSHAKE\n\n"
                                "Please reboot the Vark Mivel by temporarily removing power and "
                                "try uploading the firmware again.  This error can be caused by "
                                "a corrupt firmware file."));
        for (int code = 1; code <= 6; ++code)
            QVERIFY(!failureText(code).titleLine.isEmpty() && !failureText(code).advice.isEmpty());
        QVERIFY(failureText(7).titleLine.isEmpty());
        QCOMPARE(progressText(3, 10, -1), QStringLiteral("Line 3 of 10"));
        QCOMPARE(progressText(3, 10, 59'001), QStringLiteral("Line 3 of 10, about 1 min 0 s left"));
        QCOMPARE(progressText(9, 10, 400), QStringLiteral("Line 9 of 10, about 1 s left"));
    }
};

QTEST_GUILESS_MAIN(FirmwareFileTest)
#include "test_firmware_file.moc"
