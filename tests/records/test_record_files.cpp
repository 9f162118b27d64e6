// The stored-position files, byte for byte: what the lists write is read back by a reader
// written here from the layout alone, and files written by hand (older writers, foreign files,
// garbage) are read as far as they hold records. Saving into a folder that cannot be written
// loses nothing already on disk.

#include "support/FileSizeLimit.h"
#include "support/ScriptedPrompt.h"

#include "records/RecordList.h"
#include "records/StoredPositions.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <bit>
#include <cstring>

using namespace mivel;
using namespace mivel::records;

namespace {

// The layout, read without the product's code: description 50 bytes, position as four bytes
// least significant first, temperature as the bits of an IEEE single, least significant first.
struct SlotSeen {
    QByteArray description;
    qint32 position;
    float temperature;
    QByteArray filler;
};

quint32 littleEndian(const QByteArray& bytes, int at) {
    quint32 v = 0;
    for (int i = 3; i >= 0; --i)
        v = (v << 8) | quint8(bytes[at + i]);
    return v;
}

std::vector<SlotSeen> readSlots(const QByteArray& file, int slotBytes, bool temperature) {
    std::vector<SlotSeen> seen;
    for (int at = 0; at + slotBytes <= file.size(); at += slotBytes) {
        const int fields = temperature ? 58 : 54;
        seen.push_back({file.mid(at, 50), qint32(littleEndian(file, at + 50)),
                        temperature ? std::bit_cast<float>(littleEndian(file, at + 54)) : 0.0f,
                        file.mid(at + fields, slotBytes - fields)});
    }
    return seen;
}

QByteArray readAll(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void writeAll(const QString& path, const QByteArray& data) {
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    QCOMPARE(f.write(data), data.size());
}

QByteArray padded(const char* text) {
    return QByteArray(text).leftJustified(50, ' ');
}

// A slot built by hand: fields, then `filler` bytes of zeros (fewer for a slot cut short).
QByteArray focusSlot(const char* text, qint32 position, float temperature, int filler = 50) {
    QByteArray slot = padded(text);
    const quint32 p = quint32(position), t = std::bit_cast<quint32>(temperature);
    for (int i = 0; i < 4; ++i)
        slot += char((p >> (8 * i)) & 0xFF);
    for (int i = 0; i < 4; ++i)
        slot += char((t >> (8 * i)) & 0xFF);
    return slot + QByteArray(filler, '\0');
}

} // namespace

class RecordFilesTest : public QObject {
    Q_OBJECT
private slots:
    void focusAndRotatorFilesByteForByte() {
        QTemporaryDir dir;
        RecordList focus(RecordKind::Focus, dir.path());
        QVERIFY(!focus.save(1, {QStringLiteral("  Moon, prime focus "), 12500, 45.6f}, true));
        QVERIFY(!focus.save(2, {QStringLiteral("Inside"), -3, -12.25f}, true));
        const QByteArray file = readAll(dir.filePath(QStringLiteral("vark.dat")));
        QCOMPARE(file.size(), 2 * 108);
        const auto seen = readSlots(file, 108, true);
        QCOMPARE(seen[0].description, padded("Moon, prime focus")); // trimmed, blank-padded
        QCOMPARE(seen[0].position, 12500);
        QCOMPARE(seen[0].temperature, 45.6f);
        QCOMPARE(seen[0].filler, QByteArray(50, '\0'));
        QCOMPARE(seen[1].position, -3);
        QCOMPARE(seen[1].temperature, -12.25f);
        // The bytes themselves, for one slot: nothing between the fields.
        QCOMPARE(file.mid(108 + 50, 8), QByteArray::fromHex("fdffffff000044c1"));

        RecordList rotator(RecordKind::Rotator, dir.path());
        QVERIFY(!rotator.save(1, {QStringLiteral("North up"), 72000, 99}, true));
        const QByteArray rotatorFile = readAll(dir.filePath(QStringLiteral("VarkRotator.dat")));
        QCOMPARE(rotatorFile.size(), 104);
        const auto rotatorSlots = readSlots(rotatorFile, 104, false);
        QCOMPARE(rotatorSlots[0].description, padded("North up"));
        QCOMPARE(rotatorSlots[0].position, 72000);
        QCOMPARE(rotatorSlots[0].filler, QByteArray(50, '\0')); // no temperature in a rotator slot
    }

    void descriptionsAreCutTo50SingleByteCharacters() {
        QTemporaryDir dir;
        RecordList focus(RecordKind::Focus, dir.path());
        const QString sixty = QString(QLatin1Char('x')).repeated(45) + QStringLiteral("0123456789");
        QVERIFY(!focus.save(1, {sixty, 1, 0}, true));
        QVERIFY(!focus.save(2, {QStringLiteral("Crépuscule ☾"), 2, 0}, true));
        const auto seen = readSlots(readAll(focus.dataPath()), 108, true);
        QCOMPARE(seen[0].description, sixty.left(50).toLatin1());
        QCOMPARE(focus.record(1)->description,
                 sixty.left(50)); // the array holds what the file does
        // A character with no single-byte form is stored as "?"; the others keep their byte.
        QCOMPARE(seen[1].description, padded("Cr\xe9puscule ?"));
        QCOMPARE(focus.record(2)->description, QStringLiteral("Crépuscule ?"));
    }

    void filesOfOlderWritersAndOtherSpellingsLoad() {
        QTemporaryDir dir;
        // The last slot ends right after its fields; a slot skipped by a write beyond the end
        // is zeros, an empty record. The name is spelled in capitals.
        writeAll(dir.filePath(QStringLiteral("VARK.DAT")), focusSlot("First", 100, 40.5f) +
                                                               QByteArray(108, '\0') +
                                                               focusSlot("Third", 300, 38, 0));
        RecordList focus(RecordKind::Focus, dir.path());
        QCOMPARE(focus.load(), QString());
        QCOMPARE(focus.count(), 3);
        QCOMPARE(*focus.record(1), (StoredPosition{QStringLiteral("First"), 100, 40.5f}));
        QCOMPARE(*focus.record(2), StoredPosition{});
        QCOMPARE(*focus.record(3), (StoredPosition{QStringLiteral("Third"), 300, 38}));
        // Saving writes into the file under the name it has, not a second file.
        QVERIFY(!focus.save(2, {QStringLiteral("Second"), 200, 39}, false));
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{"VARK.DAT"});

        writeAll(dir.filePath(QStringLiteral("varkrotator.dat")),
                 padded("Rot") + QByteArray("\x10\x27\0\0", 4));
        RecordList rotator(RecordKind::Rotator, dir.path());
        QCOMPARE(rotator.load(), QString());
        QCOMPARE(*rotator.record(1), (StoredPosition{QStringLiteral("Rot"), 10000, 0}));
    }

    void badFilesLoadTheirWholeSlotsAndSaySo_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<int>("loaded");
        QTest::addColumn<QString>("problem");
        const QByteArray two = focusSlot("A", 1, 1) + focusSlot("B", 2, 2);
        QTest::newRow("empty: an empty list") << QByteArray() << 0 << QString();
        QTest::newRow("odd length")
            << two + "xyz" << 2 << "record 3 is cut short after 3 of its 58 bytes";
        QTest::newRow("last slot cut inside its fields")
            << two + focusSlot("C", 3, 3).left(57) << 2
            << "record 3 is cut short after 57 of its 58 bytes";
        QTest::newRow("a text file") << QByteArray("Time,Ambient\r\n").repeated(20) << 0
                                     << "record 1 does not hold a stored position";
        QByteArray nan = focusSlot("N", 3, std::numeric_limits<float>::quiet_NaN());
        QTest::newRow("garbage after two records")
            << two + nan + focusSlot("D", 4, 4) << 2 << "record 3 does not hold a stored position";
        QByteArray png = QByteArray::fromHex("89504e470d0a1a0a") + QByteArray(200, 'x');
        QTest::newRow("a picture") << png << 0 << "record 1 does not hold a stored position";
    }
    void badFilesLoadTheirWholeSlotsAndSaySo() {
        QFETCH(QByteArray, content);
        QFETCH(int, loaded);
        QFETCH(QString, problem);
        QTemporaryDir dir;
        writeAll(dir.filePath(QStringLiteral("vark.dat")), content);
        StoredPositions positions(dir.path());
        test::ScriptedPrompt prompt;
        positions.load(prompt);
        QCOMPARE(positions.focus().count(), loaded);
        if (problem.isEmpty()) {
            QVERIFY(prompt.shown.empty());
            return;
        }
        QCOMPARE(prompt.shown.size(), size_t(1));
        QCOMPARE(prompt.shown[0].title, QStringLiteral("Vark"));
        QVERIFY2(prompt.shown[0].text.contains(problem), qPrintable(prompt.shown[0].text));
        QVERIFY(prompt.shown[0].text.contains(QStringLiteral("The %1 records").arg(loaded)));
    }

    void aFolderThatCannotBeWrittenLosesNothing() {
        QTemporaryDir dir;
        const QByteArray before = focusSlot("Kept", 7, 7) + focusSlot("Also", 8, 8);
        writeAll(dir.filePath(QStringLiteral("vark.dat")), before);
        RecordList focus(RecordKind::Focus, dir.path());
        focus.load();
        {
            // A full disk: the rewrite fails, and the old file stays whole.
            test::FileSizeLimit full(64);
            QVERIFY(full.active());
            const Status removed = focus.remove(2); // record 1 is to be written again
            QVERIFY(removed);
            QCOMPARE(removed->number, 75);
        }
        QCOMPARE(readAll(dir.filePath(QStringLiteral("vark.dat"))), before);
        QCOMPARE(focus.count(), 2); // nothing deleted
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{"vark.dat"});

        // A data folder that is not a folder at all.
        writeAll(dir.filePath(QStringLiteral("notafolder")), "x");
        RecordList nowhere(RecordKind::Rotator, dir.filePath(QStringLiteral("notafolder")));
        const Status saved = nowhere.save(1, {QStringLiteral("Lost"), 1, 0}, true);
        QVERIFY(saved);
        QCOMPARE(saved->number, 75);
        QCOMPARE(nowhere.count(), 1); // the array keeps it for a later save
    }

    void theDeleteRewriteKeepsItsOldShape() {
        QTemporaryDir dir;
        RecordList focus(RecordKind::Focus, dir.path());
        for (int r = 1; r <= 3; ++r)
            QVERIFY(!focus.save(r, {QStringLiteral("R%1").arg(r), r * 100, float(r)}, true));
        // A temporary file left by an older rewrite goes first.
        writeAll(dir.filePath(QStringLiteral("VARK.tmp")), "old");

        QVERIFY(!focus.remove(2));
        // Records 1 to the new count of the old file except 2: record 3 is left out of the
        // file, while the array still holds it.
        auto seen = readSlots(readAll(focus.dataPath()), 108, true);
        QCOMPARE(seen.size(), size_t(1));
        QCOMPARE(seen[0].description, padded("R1"));
        QCOMPARE(focus.count(), 2);
        QCOMPARE(focus.record(2)->description, QStringLiteral("R3"));
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{"vark.dat"});

        // Deleting the last record keeps every other one.
        RecordList again(RecordKind::Focus, dir.path());
        for (int r = 1; r <= 3; ++r)
            QVERIFY(!again.save(r, {QStringLiteral("S%1").arg(r), r, 0}, r > again.count()));
        QVERIFY(!again.remove(3));
        seen = readSlots(readAll(again.dataPath()), 108, true);
        QCOMPARE(seen.size(), size_t(2));
        QCOMPARE(seen[0].description, padded("S1"));
        QCOMPARE(seen[1].description, padded("S2"));
    }

    void scriptsReadTheListsAsJson() {
        QTemporaryDir dir;
        StoredPositions positions(dir.path());
        QCOMPARE(recordsJson(positions.focus()), QStringLiteral("[]"));
        QVERIFY(!positions.focus().save(1, {QStringLiteral("Moon \"M\""), 12500, 45.6f}, true));
        QVERIFY(!positions.rotator().save(1, {QStringLiteral("North"), 9000, 0}, true));
        QCOMPARE(recordsJson(positions.focus()),
                 QStringLiteral("[{\"Description\":\"Moon \\\"M\\\"\",\"Position\":12500,"
                                "\"Temperature\":45.6}]"));
        QCOMPARE(recordsJson(positions.rotator()),
                 QStringLiteral("[{\"Description\":\"North\",\"Position\":9000}]"));
        QCOMPARE(recordJson(positions.rotator(), 2), QString());
        QCOMPARE(recallItems(positions.focus()), (QStringList{"<new>", "Moon \"M\""}));
    }
};

QTEST_GUILESS_MAIN(RecordFilesTest)
#include "test_record_files.moc"
