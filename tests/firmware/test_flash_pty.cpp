// The firmware upgrade end to end: the wizard's upload on the program's real serial port,
// against the simulated unit's loader on a pseudo-terminal, with every way it can end.

#include "FlashRig.h"

#include "firmware/FlashTexts.h"
#include "firmware/FlashWizard.h"

#include <QPointer>
#include <QTest>

using namespace mivel;
using namespace mivel::firmware;
using mivel::test::FlashRig;

namespace {

struct Upgrade {
    FlashRig rig;
    std::unique_ptr<FlashWizard> wizard;
    QString file;

    bool start(const QByteArrayList& lines) {
        file = rig.path("Vark.s19");
        return test::writeFile(file, lines) && rig.start();
    }
    // Through the pages as the observer goes, then the upload to its end.
    void run(qint64 limitMs = 60'000) {
        wizard = std::make_unique<FlashWizard>(rig.ctx->hub(), rig.ctx->prompt());
        wizard->next();
        wizard->setFileName(file);
        wizard->next();
        wizard->next();
        rig.runUntil([this] { return !wizard->uploading(); }, limitMs);
    }
    QByteArray heardByUnit() const { return rig.unit.receivedBytes(); }
};

} // namespace

class FlashPtyTest : public QObject {
    Q_OBJECT
private slots:
    // Every line goes out as it stands, without its line end, after "x ", "E" and "P"; each is
    // acknowledged; the last one ends the upload and the console hears the port again.
    void uploadSendsTheFileAsItStands() {
        Upgrade u;
        const QByteArrayList lines = test::firmwareLines(40);
        QVERIFY(u.start(lines));
        u.run();
        QVERIFY(!u.rig.stalled);
        QCOMPARE(u.wizard->step(), int(FlashWizard::Success));
        QCOMPARE(u.wizard->errorCode(), 0);
        QCOMPARE(u.heardByUnit(), QByteArray("x EP") + lines.join());
        QCOMPARE(u.rig.unit.programmedRecords(), lines);
        QCOMPARE(u.wizard->progress(), 100);
        QCOMPARE(u.wizard->upload()->linesSent(), qint16(40));
        QVERIFY(u.wizard->upload()->endRecordSeen());
        QVERIFY(!u.rig.ctx->hub().firmwareTransfer());
        // Nothing of the loader's reached the console but the last line's acknowledgement, which
        // the upload does not wait for.
        u.rig.run(10);
        QCOMPARE(u.rig.consoleHeard, QByteArray("* "));
        QCOMPARE(u.rig.prompt->beeps, 1);
        QVERIFY(u.wizard->flags().wizardClosed);
        QVERIFY(!u.wizard->flags().loaderAnswered);
        // The unit runs its new program: it answers the console again, and the console hears it.
        u.rig.serial().transmit(QByteArray("! "));
        u.rig.run(20);
        QVERIFY(u.rig.consoleHeard.contains(":!"));
    }

    // A one-line file completes without waiting for any acknowledgement.
    void oneLineFileNeedsNoAcknowledgement() {
        Upgrade u;
        u.rig.unit.setAckMissing(true);
        QVERIFY(u.start(test::firmwareLines(1)));
        u.run();
        QCOMPARE(u.wizard->step(), int(FlashWizard::Success));
        QCOMPARE(u.heardByUnit(), QByteArray("x EPS9030000FC"));
    }

    // A loader that answers only after the first attempt's second is over is found by the
    // second "x ".
    void lateLoaderAnswersTheSecondAttempt() {
        Upgrade u;
        u.rig.unit.setLoaderReplyDelayMs(1500);
        QVERIFY(u.start(test::firmwareLines(3)));
        u.run();
        QCOMPARE(u.wizard->step(), int(FlashWizard::Success));
        QVERIFY(u.heardByUnit().startsWith("x x E"));
    }

    // The console closes (and the wizard with it) while the upload runs: the upload goes on to
    // its end, so that the unit is not left half programmed, and then goes away.
    void uploadOutlivesItsWizard() {
        Upgrade u;
        const QByteArrayList lines = test::firmwareLines(30);
        QVERIFY(u.start(lines));
        u.wizard = std::make_unique<FlashWizard>(u.rig.ctx->hub(), u.rig.ctx->prompt());
        u.wizard->next();
        u.wizard->setFileName(u.file);
        u.wizard->next();
        u.wizard->next();
        QVERIFY(u.rig.runUntil([&] { return u.wizard->upload()->linesSent() >= 5; }, 10'000));
        QPointer<QObject> upload(const_cast<FlashUpload*>(u.wizard->upload()));
        u.wizard.reset();
        QVERIFY(u.rig.runUntil([&] { return upload.isNull(); }, 10'000));
        QCOMPARE(u.rig.unit.programmedRecords(), lines);
        QVERIFY(!u.rig.ctx->hub().firmwareTransfer());
    }

    void everyFailureEndsOnItsErrorPage_data() {
        QTest::addColumn<int>("fault");
        QTest::addColumn<int>("code");
        QTest::addColumn<int>("linesSent");
        QTest::newRow("1 no answer to x") << 0 << 1 << 0;
        QTest::newRow("2 no programming voltage") << 1 << 2 << 0;
        QTest::newRow("3 erase fails") << 2 << 3 << 0;
        QTest::newRow("4 file gone") << 3 << 4 << 0;
        QTest::newRow("4 more than 32767 lines") << 4 << 4 << 0;
        QTest::newRow("5 line hung up before the first line") << 5 << 5 << 0;
        QTest::newRow("6 no acknowledgement") << 6 << 6 << 1;
        QTest::newRow("6 acknowledgement after 5 s") << 7 << 6 << 1;
        QTest::newRow("6 third line refused (bad checksum)") << 8 << 6 << 3;
    }
    void everyFailureEndsOnItsErrorPage() {
        QFETCH(int, fault);
        QFETCH(int, code);
        QFETCH(int, linesSent);
        Upgrade u;
        sim::SimulatedUnit& unit = u.rig.unit;
        unit.setSilent(fault == 0);
        unit.setNoProgrammingVoltage(fault == 1);
        unit.setEraseFailure(fault == 2);
        unit.setHangUpAfterRecords(fault == 5 ? 0 : -1);
        unit.setAckMissing(fault == 6);
        unit.setAckDelayMs(fault == 7 ? FlashUpload::HandshakeMs + 1 : 0);
        QByteArrayList lines = test::firmwareLines(6);
        if (fault == 8)
            lines[2][lines[2].size() - 1] = lines[2].endsWith('0') ? '1' : '0';
        if (fault == 4)
            lines = QByteArrayList(FirmwareFile::MaxLines + 1, "S9030000FC");
        QVERIFY(u.start(lines));
        if (fault == 3)
            QVERIFY(QFile::remove(u.file));
        u.run();
        QVERIFY(!u.rig.stalled);

        QCOMPARE(u.wizard->step(), int(FlashWizard::ErrorPage));
        QCOMPARE(u.wizard->errorCode(), code);
        QCOMPARE(u.wizard->title(), QStringLiteral("Error Encountered"));
        QCOMPARE(u.wizard->instructions(), errorPageText(code));
        QCOMPARE(u.wizard->upload()->linesSent(), qint16(linesSent));
        QVERIFY(u.wizard->controls().finish && !u.wizard->controls().cancel);
        // The consoles stay deaf to the port until the program starts again.
        QVERIFY(u.rig.ctx->hub().firmwareTransfer());
        QVERIFY(u.rig.consoleHeard.isEmpty());
        const QStringList boxes = u.rig.prompt->texts();
        QCOMPARE(boxes, code == 1 ? QStringList{text::NoResponseBox} : QStringList{});
        if (code == 1)
            QCOMPARE(u.heardByUnit(), QByteArray("x x "));
        if (code == 2 || code == 3)
            QVERIFY(!u.heardByUnit().contains('P'));
        if (code == 6 && fault != 8)
            QCOMPARE(unit.programmedRecords().size(), 1);
    }

    // The loader answers after the wizard has given up: the reply changes neither flag.
    void loaderReplyAfterTheWizardEndedChangesNothing() {
        Upgrade u;
        u.rig.unit.setLoaderReplyDelayMs(2500);
        QVERIFY(u.start(test::firmwareLines(3)));
        u.run();
        QCOMPARE(u.wizard->errorCode(), 1);
        u.rig.run(1000);
        QCOMPARE(u.rig.heard, u.rig.unitSent); // the late ":x" did come
        LoaderFlags& flags = u.wizard->flags();
        const qint16 status = flags.loaderStatus;
        flags.onLoaderReply(3); // as the console's parser hands it over
        QVERIFY(flags.wizardClosed);
        QVERIFY(!flags.loaderAnswered);
        QCOMPARE(flags.loaderStatus, status);
    }
};

QTEST_GUILESS_MAIN(FlashPtyTest)
#include "test_flash_pty.moc"
