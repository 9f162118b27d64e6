// frmFlash, the firmware upgrade wizard's window: its pages as the observer sees them, the file
// box's case rule, Browse, Cancel, and a window that stays while the upload runs. With
// MIVEL_SCREENSHOTS set to a folder, every page is saved there as a PNG.

#include "FlashRig.h"

#include "firmware/FlashTexts.h"
#include "firmware/ui/FlashWindow.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>

using namespace mivel;
using namespace mivel::firmware;
using mivel::test::FlashRig;

namespace {

struct WindowRig {
    FlashRig rig;
    FlashWindow window{rig.ctx->hub(), rig.ctx->prompt()};

    WindowRig() {
        window.resize(560, 360);
        window.QDialog::show();
    }
    template <class T = QWidget> T* find(const char* name) {
        auto* w = window.findChild<T*>(QLatin1String(name));
        if (!w)
            qWarning() << "no widget" << name;
        return w;
    }
    QString text(const char* label) { return find<QLabel>(label)->text(); }
    bool enabled(const char* name) { return find(name)->isEnabled(); }
    void click(const char* button) { QTest::mouseClick(find<QPushButton>(button), Qt::LeftButton); }
    // The buttons' states as one string: B N C F for back, next, cancel, finish; lower case
    // when disabled.
    QString buttons() {
        QString out;
        for (const auto& [name, letter] :
             {std::pair{"cmdBack", 'b'}, {"cmdNext", 'n'}, {"cmdCancel", 'c'}, {"cmdFinish", 'f'}})
            out += enabled(name) ? QChar(letter).toUpper() : QChar(letter);
        return out;
    }
    void shoot(const char* name) {
        const QString folder = qEnvironmentVariable("MIVEL_SCREENSHOTS");
        if (folder.isEmpty())
            return;
        QDir().mkpath(folder);
        QApplication::processEvents();
        window.grab().save(QDir(folder).filePath(QLatin1String(name)));
    }
};

} // namespace

class FlashWindowTest : public QObject {
    Q_OBJECT
private slots:
    void pagesOneToTwoAndBack() {
        WindowRig w;
        QCOMPARE(w.text("lblStep"), QStringLiteral("Welcome to the Firmware Upgrade Wizard"));
        QCOMPARE(w.text("lblInstructions"), pageText(0).text);
        QVERIFY(w.text("lblInstructions").contains(text::DownloadPage));
        QCOMPARE(w.buttons(), QStringLiteral("bNCf"));
        QVERIFY(!w.enabled("txtFileName") && !w.enabled("cmdBrowse"));
        QVERIFY(w.find("ProgBar1")->isHidden());
        w.shoot("flash-0-welcome.png");

        w.click("cmdNext");
        QCOMPARE(w.text("lblStep"), QStringLiteral("Choose Firmware File"));
        QCOMPARE(w.buttons(), QStringLiteral("BnCf")); // an empty box keeps Next off
        QVERIFY(w.enabled("txtFileName") && w.enabled("cmdBrowse"));

        // Only a lower-case ".s19" does, as typed.
        auto* box = w.find<QLineEdit>("txtFileName");
        const QString upper = w.rig.path("VARK.S19");
        QVERIFY(test::writeFile(upper, test::firmwareLines(4)));
        QTest::keyClicks(box, upper);
        QVERIFY(!w.enabled("cmdNext"));
        box->clear();
        const QString lower = w.rig.path("Vark.s19");
        QVERIFY(test::writeFile(lower, test::firmwareLines(4)));
        QTest::keyClicks(box, lower);
        QVERIFY(w.enabled("cmdNext"));
        QCOMPARE(w.text("lblFileInfo"), QStringLiteral("4 records, 32 data bytes at 0x8000 to "
                                                       "0x801F.\nEvery record's checksum is "
                                                       "right."));
        QVERIFY(w.find("lblFileInfo")->isVisible());
        w.shoot("flash-1-choose-file.png");

        w.click("cmdNext");
        QCOMPARE(w.text("lblStep"), QStringLiteral("Complete Upgrade"));
        QVERIFY(w.text("lblInstructions").endsWith("\nTo continue press 'Next'"));
        QCOMPARE(w.buttons(), QStringLiteral("BNCf"));
        // Leaving page 1 locks the file in.
        QVERIFY(!w.enabled("txtFileName") && !w.enabled("cmdBrowse"));
        QVERIFY(w.find("lblFileInfo")->isHidden());
        w.shoot("flash-2-ready.png");
        w.click("cmdBack");
        QCOMPARE(w.text("lblStep"), QStringLiteral("Choose Firmware File"));
        QVERIFY(w.enabled("txtFileName") && w.enabled("cmdNext"));
    }

    void browseOffersTheFilterAndCancelAsks() {
        WindowRig w;
        w.click("cmdNext");
        w.window.setFileChooser([&] { return w.rig.path("chosen.s19"); });
        w.click("cmdBrowse");
        QCOMPARE(w.find<QLineEdit>("txtFileName")->text(), w.rig.path("chosen.s19"));
        w.window.setFileChooser([] { return QString(); }); // the observer gave up
        w.click("cmdBrowse");
        QCOMPARE(w.find<QLineEdit>("txtFileName")->text(), w.rig.path("chosen.s19"));

        w.rig.prompt->answers = {Prompt::Answer::Cancel, Prompt::Answer::Ok};
        w.click("cmdCancel");
        QVERIFY(w.window.isVisible());
        w.click("cmdCancel");
        QVERIFY(!w.window.isVisible());
        QCOMPARE(w.rig.prompt->shown.size(), std::size_t(2));
        const auto& asked = w.rig.prompt->shown.front();
        QCOMPARE(asked.text, QStringLiteral("Cancel firmware upgrade?"));
        QCOMPARE(asked.title, QStringLiteral("Vark"));
        QCOMPARE(asked.icon, Prompt::Icon::Question);
        QCOMPARE(asked.buttons, Prompt::Buttons::OkCancel);
    }

    // The upload on the window: the progress bar and lines left while it runs, no way out until
    // it ends, then the success page.
    void uploadRunsToItsEndPage() {
        WindowRig w;
        const QString file = w.rig.path("Vark.s19");
        QVERIFY(test::writeFile(file, test::firmwareLines(200)));
        QVERIFY(w.rig.start());
        w.click("cmdNext");
        QTest::keyClicks(w.find<QLineEdit>("txtFileName"), file);
        w.click("cmdNext");
        w.click("cmdNext");
        QCOMPARE(w.text("lblStep"), QStringLiteral("Uploading Firmware"));
        QCOMPARE(w.buttons(), QStringLiteral("bncf"));
        QVERIFY(w.find("ProgBar1")->isVisible());
        const FlashWizard& logic = w.window.wizard();
        QVERIFY(w.rig.runUntil([&] { return logic.upload()->linesSent() >= 100; }, 10'000));
        QCOMPARE(w.text("lblInstructions"), text::Programming);
        QVERIFY(w.find<QProgressBar>("ProgBar1")->value() >= 49);
        QVERIFY2(w.text("lblProgress").startsWith("Line 10"), qPrintable(w.text("lblProgress")));
        w.shoot("flash-3-uploading.png");
        w.window.close(); // refused while the upload runs
        QVERIFY(w.window.isVisible());

        QVERIFY(w.rig.runUntil([&] { return !logic.uploading(); }, 10'000));
        QCOMPARE(w.text("lblStep"), QStringLiteral("Success"));
        QCOMPARE(w.text("lblInstructions"), pageText(4).text);
        QCOMPARE(w.buttons(), QStringLiteral("bncF"));
        QVERIFY(w.find("ProgBar1")->isHidden());
        w.shoot("flash-4-success.png");
        w.click("cmdFinish");
        QVERIFY(!w.window.isVisible());
    }

    void errorPageShowsCodeTitleAndAdvice() {
        WindowRig w;
        w.rig.unit.setNoProgrammingVoltage(true);
        const QString file = w.rig.path("Vark.s19");
        QVERIFY(test::writeFile(file, test::firmwareLines(5)));
        QVERIFY(w.rig.start());
        w.click("cmdNext");
        QTest::keyClicks(w.find<QLineEdit>("txtFileName"), file);
        w.click("cmdNext");
        w.click("cmdNext");
        QVERIFY(w.rig.runUntil([&] { return !w.window.wizard().uploading(); }, 10'000));
        QCOMPARE(w.text("lblStep"), QStringLiteral("Error Encountered"));
        QCOMPARE(w.text("lblInstructions"), errorPageText(2));
        QCOMPARE(w.buttons(), QStringLiteral("bncF"));
        w.shoot("flash-5-error.png");
    }
};

QTEST_MAIN(FlashWindowTest)
#include "test_flash_window.moc"
