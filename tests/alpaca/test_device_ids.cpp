// The devices' UniqueIDs on disk: kept across starts, never lost to a damaged file or a full
// disk.

#include "support/FileSizeLimit.h"

#include "alpaca/DeviceIds.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QUuid>

using namespace mivel;
using namespace mivel::alpaca;

namespace {

const QStringList Types{"Focuser", "Rotator", "Switch"};
const QString FocuserId = QStringLiteral("0b7c1f4e-2d6a-4f0e-9c1b-5a3e7d2f8c61");
const QString RotatorId = QStringLiteral("9e2d4c6b-8a1f-4b3e-a5d7-c9e1f3a5b7d9");

QByteArray readAll(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

} // namespace

class DeviceIdsTest : public QObject {
    Q_OBJECT

private slots:
    void aDamagedFileKeepsWhatCanBeRead_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QStringList>("kept");
        const QByteArray f = "\"Focuser\": \"" + FocuserId.toUtf8() + '"';
        const QByteArray r = "\"Rotator\": \"" + RotatorId.toUtf8() + '"';
        QTest::newRow("cut short")
            << "{\n    " + f + ",\n    " + r + ",\n    \"Swi" << QStringList{"Focuser", "Rotator"};
        QTest::newRow("stray comma") << "{ " + r + ",, }" << QStringList{"Rotator"};
        QTest::newRow("an array") << "[" + f + "]" << QStringList{"Focuser"};
        QTest::newRow("zeros") << QByteArray(40, '\0') << QStringList{};
    }
    void aDamagedFileKeepsWhatCanBeRead() {
        QFETCH(QByteArray, content);
        QFETCH(QStringList, kept);
        QTemporaryDir dir;
        const QString path = QDir(dir.path()).filePath(DeviceIds::fileName());
        {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(content);
        }
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression("device ids file .* is damaged .*A copy of it is"));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("New device ids were made"));
        const DeviceIds ids = DeviceIds::load(dir.path(), Types);
        QVERIFY(ids.problem().isEmpty());
        if (kept.contains("Focuser"))
            QCOMPARE(ids.id("Focuser"), FocuserId);
        if (kept.contains("Rotator"))
            QCOMPARE(ids.id("Rotator"), RotatorId);
        for (const QString& t : Types)
            QVERIFY(!QUuid::fromString(ids.id(t)).isNull());

        // The damaged file is kept beside the repaired one, which the next start reads as is.
        const QStringList copies =
            QDir(dir.path()).entryList({DeviceIds::fileName() + ".damaged-*"}, QDir::Files);
        QCOMPARE(copies.size(), 1);
        QCOMPARE(readAll(QDir(dir.path()).filePath(copies[0])), content);
        const DeviceIds again = DeviceIds::load(dir.path(), Types);
        for (const QString& t : Types)
            QCOMPARE(again.id(t), ids.id(t));
    }

#ifdef Q_OS_UNIX
    void aFullDiskNeitherEmptiesNorLosesTheIds() {
        QTemporaryDir dir;
        const QString path = QDir(dir.path()).filePath(DeviceIds::fileName());
        {
            test::FileSizeLimit full(0);
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression("could not save"));
            const DeviceIds first = DeviceIds::load(dir.path(), {"Focuser"});
            QVERIFY(first.problem().contains("File too large"));
            QVERIFY(!QFile::exists(path)); // not an empty file that the next start trusts
            // Ids that could not be kept come out the same on every start.
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression("could not save"));
            QCOMPARE(DeviceIds::load(dir.path(), {"Focuser"}).id("Focuser"), first.id("Focuser"));
        }
        const QString focuser = DeviceIds::load(dir.path(), {"Focuser"}).id("Focuser");
        const QByteArray saved = readAll(path);
        QVERIFY(saved.contains(focuser.toUtf8()));
        {
            // A device added on a full disk leaves the ids already kept as they were.
            test::FileSizeLimit full(8);
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression("New device ids were made"));
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression("could not save"));
            const DeviceIds more = DeviceIds::load(dir.path(), Types);
            QVERIFY(!more.problem().isEmpty());
            QCOMPARE(more.id("Focuser"), focuser);
            QCOMPARE(readAll(path), saved);
        }
    }
#endif
};

QTEST_GUILESS_MAIN(DeviceIdsTest)
#include "test_device_ids.moc"
