// The compensation dialog: what it sends, how it fills its spin controls from the unit's
// replies (two paths with different clamping), OK's upload, Cancel's
// questions, the mode sent after every closing, and the replies' effect on the shared state.

#include "TempCompRig.h"

#include "tempcomp/FocusMoveRule.h"
#include "tempcomp/TempCompDialog.h"

#include <QTest>

using namespace mivel;
using namespace mivel::tempcomp;
using mivel::test::TempCompRig;

class TempCompDialogTest : public QObject {
    Q_OBJECT
private slots:
    void openingAsksTheUnitAndWaits() {
        TempCompRig rig;
        rig.tempComp().mode = 7; // not a mode: reset on opening
        prepareTempCompDialog(*rig.ctx);
        QCOMPARE(rig.sent(), QByteArray(" :V "));
        {
            TempCompDialog dialog(*rig.ctx);
            QCOMPARE(rig.sent(), QByteArray(" l "));
            QVERIFY(rig.tempComp().dialogOpen);
            QCOMPARE(dialog.selectedMode(), 0);
        }
        QVERIFY(!rig.tempComp().dialogOpen);
    }

    void noReplyWarnsAndOffersTheShownValues() {
        TempCompRig rig;
        TempCompDialog dialog(*rig.ctx);
        rig.sent();
        rig.clock.advance(TempCompDialog::ReplyWaitMs);
        QCOMPARE(rig.prompt->texts(),
                 QStringList{"Failed to recieve Temperature Compensation Coefficient from Mivel."});
        QCOMPARE(rig.lastShown().title, QStringLiteral("Mivel"));
        QCOMPARE(rig.lastShown().icon, Prompt::Icon::Warning);
        // The values shown were never confirmed by the unit, so OK offers to upload them.
        QVERIFY(dialog.accept());
        QCOMPARE(rig.lastShown().text, QStringLiteral("Upload changes to Mivel?"));
        QCOMPARE(rig.sent(), QByteArray(" =0  F0 "));
    }

    // Known before opening, the parameters are shown as they are (a coefficient beyond the spin
    // control as 0); arriving during the wait, the coefficient is clamped to -100..100 and shown
    // only below 10, and the threshold is clamped to 0..10.
    void spinControlsFromTheReplies_data() {
        QTest::addColumn<bool>("known");
        QTest::addColumn<QByteArray>("replies");
        QTest::addColumn<int>("tenths");
        QTest::addColumn<float>("coefficient");
        QTest::addColumn<int>("threshold");
        // 50 / 0.01 / 1000 = 5 counts per degree
        QTest::newRow("late 5") << false << QByteArray(":tcc 50 :tcm 5 ") << 50 << 5.0f << 5;
        QTest::newRow("late 12.5 stays off the spin")
            << false << QByteArray(":tcc 125 :tcm 150 ") << 0 << 12.5f << 10;
        QTest::newRow("late -150 clamped")
            << false << QByteArray(":tcc -1500 :tcm 3 ") << -1000 << -100.0f << 3;
        QTest::newRow("known 12.5")
            << true << QByteArray(":tcc 125 :tcm 150 ") << 125 << 12.5f << 100;
        QTest::newRow("known 150 beyond the spin")
            << true << QByteArray(":tcc 1500 :tcm 3 ") << 0 << 150.0f << 3;
    }

    void spinControlsFromTheReplies() {
        QFETCH(bool, known);
        QFETCH(QByteArray, replies);
        QFETCH(int, tenths);
        QFETCH(float, coefficient);
        QFETCH(int, threshold);
        TempCompRig rig;
        rig.reply(":sl1 1000 ");
        if (known)
            rig.reply(replies);
        TempCompDialog dialog(*rig.ctx);
        QCOMPARE(dialog.waitingForUnit(), !known);
        if (!known)
            rig.reply(replies);
        rig.clock.advance(TempCompDialog::ReplyWaitMs - 1);
        QCOMPARE(dialog.waitingForUnit(), !known);
        rig.clock.advance(1);
        QVERIFY(!dialog.waitingForUnit());
        QVERIFY(!dialog.changed()); // what the unit reports is not a change
        QVERIFY(rig.prompt->shown.empty());
        QCOMPARE(dialog.coefficientTenths(), tenths);
        QCOMPARE(rig.tempComp().coefficient, coefficient);
        QCOMPARE(dialog.threshold(), threshold);
        QCOMPARE(rig.tempComp().movementThreshold, threshold);
        dialog.setThreshold(7); // a change reaches the shared state at once
        QCOMPARE(rig.tempComp().movementThreshold, 7);
    }

    void okUploadsTheUnitsCoefficientRounded_data() {
        QTest::addColumn<QByteArray>("slopeReply");
        QTest::addColumn<int>("tenths");
        QTest::addColumn<QByteArray>("sent");
        QTest::newRow("0.01 and 2.5") << QByteArray(":sl1 1000 ") << 25 << QByteArray(" =25  F3 ");
        QTest::newRow("12.5 half down to even")
            << QByteArray(":sl1 12500 ") << 1 << QByteArray(" =12  F3 ");
        QTest::newRow("37.5 half up to even")
            << QByteArray(":sl1 12500 ") << 3 << QByteArray(" =38  F3 ");
        QTest::newRow("negative") << QByteArray(":sl1 1000 ") << -25 << QByteArray(" =-25  F3 ");
        QTest::newRow("no slope yet") << QByteArray() << 25 << QByteArray(" =0  F3 ");
    }

    void okUploadsTheUnitsCoefficientRounded() {
        QFETCH(QByteArray, slopeReply);
        QFETCH(int, tenths);
        QFETCH(QByteArray, sent);
        TempCompRig rig;
        rig.reply(slopeReply + ":tcm 3 ");
        TempCompDialog dialog(*rig.ctx);
        rig.sent();
        dialog.selectMode(1);
        dialog.setCoefficientTenths(tenths);
        QVERIFY(dialog.accept());
        QCOMPARE(rig.sent(), sent);
        QCOMPARE(rig.tempComp().coefficient, float(tenths / 10.0));
        QCOMPARE(rig.tempComp().mode, 1);
        QVERIFY(!rig.tempComp().dialogOpen);
    }

    void okAndCancelQuestions() {
        TempCompRig rig;
        rig.reply(":sl1 1000 :tcm 3 ");
        rig.ctx->settings().stepSize = 0.25f;
        TempCompDialog dialog(*rig.ctx);
        rig.ctx->settings().stepSize = 0.5f; // changed elsewhere while the dialog was open
        rig.sent();
        dialog.setCoefficientTenths(40);
        dialog.selectMode(2);

        rig.prompt->answers = {Prompt::Answer::Cancel, Prompt::Answer::Cancel, Prompt::Answer::Ok};
        QVERIFY(!dialog.accept()); // stays open, nothing sent, nothing changed
        QCOMPARE(rig.lastShown().text, QStringLiteral("Upload changes to Mivel?"));
        QCOMPARE(rig.lastShown().buttons, Prompt::Buttons::OkCancel);
        QVERIFY(!dialog.reject());
        QCOMPARE(rig.lastShown().text, QStringLiteral("Discard changes?"));
        QVERIFY(dialog.isOpen());
        QVERIFY(dialog.reject());
        QVERIFY(!dialog.isOpen());
        QCOMPARE(rig.sent(), QByteArray());
        QCOMPARE(rig.tempComp().mode, 0); // Cancel keeps the mode
        QCOMPARE(rig.tempComp().coefficient, 0.0f);
        QCOMPARE(rig.ctx->settings().stepSize, 0.25f); // the setting saved on opening is restored
    }

    void modeIsSentAfterEveryClosing() {
        TempCompRig rig;
        rig.reply(":sl1 1000 :tcm 3 :tc 1 ");
        {
            // Cancel after changes, answered OK: nothing uploaded, yet the unchanged mode is sent.
            prepareTempCompDialog(*rig.ctx);
            TempCompDialog dialog(*rig.ctx);
            dialog.setCoefficientTenths(12);
            dialog.selectMode(2);
            QVERIFY(dialog.reject());
            QCOMPARE(rig.sent(), QByteArray(" :V  l "));
            const TempCompButtons buttons = finishTempCompDialog(*rig.ctx);
            QCOMPARE(rig.sent(), QByteArray(" +1 "));
            QCOMPARE(buttons.caption, QStringLiteral("Temperature Compensation = AUTO"));
            QVERIFY(!buttons.synchEnabled);
        }
        // OK without changes: no question, no upload, the chosen mode.
        rig.prompt->shown.clear();
        TempCompDialog dialog(*rig.ctx);
        dialog.selectMode(2);
        QVERIFY(dialog.accept());
        QVERIFY(rig.prompt->shown.empty());
        const TempCompButtons buttons = finishTempCompDialog(*rig.ctx);
        QCOMPARE(rig.sent(), QByteArray(" l  +2 "));
        QCOMPARE(buttons.caption, QStringLiteral("Temperature Compensation = MAN"));
        QVERIFY(buttons.synchEnabled);
    }

    void repliesUpdateTheSharedState() {
        TempCompRig rig;
        TempCompState& s = rig.tempComp();
        rig.reply(":tcc 125 "); // before the slope: dropped
        QVERIFY(!s.paramsReceived);
        rig.reply(":sl1 1000 :of1 -500000 :tcc 12");
        rig.reply("5 :tcm x :tcm -3 :tca 7000 ");
        QCOMPARE(s.coefficient, 12.5f);
        QCOMPARE(s.movementThreshold, 0);
        QVERIFY(s.paramsReceived);
        QCOMPARE(s.sensorTemp, 65.0f); // 7000 x 0.01 - 5
        rig.reply(":tcm 150 ");
        QCOMPARE(s.movementThreshold, 100);
        for (const auto& [chunk, mode] :
             {std::pair{":tc 2 ", 2}, {":tc 5 ", 0}, {":tc 1 ", 1}, {":tc on ", 1}}) {
            rig.reply(chunk);
            QCOMPARE(s.mode, mode);
        }
    }

    void focusMovesAreRefusedWhileCompensating() {
        TempCompState s;
        QVERIFY(!focusMoveRefusal(s, FocusMoveSource::FocuserDriver));
        for (std::int16_t mode : {1, 2}) {
            s.mode = mode;
            QCOMPARE(
                *focusMoveRefusal(s, FocusMoveSource::ConsoleMove),
                QStringLiteral("Temperature compensation is active.  Focus movement is disabled."));
            QCOMPARE(*focusMoveRefusal(s, FocusMoveSource::StoredPosition),
                     QStringLiteral(
                         "Temperature compensation is active.  Focuser movement is disabled."));
            QCOMPARE(
                *focusMoveRefusal(s, FocusMoveSource::FocuserDriver),
                QStringLiteral("Temperature compensation active, focus movement not allowed."));
        }
    }
};

QTEST_GUILESS_MAIN(TempCompDialogTest)
#include "test_tempcomp_dialog.moc"
