// The compensation dialog: what it sends, how it fills its spin controls from the unit's
// replies (two paths with different clamping), the Celsius display, OK's upload, Cancel's
// questions, the mode sent after every closing, and the replies' effect on the shared state.

#include "Rig.h"

#include "tempcomp/FocusMoveRule.h"
#include "tempcomp/TempCompDialog.h"

#include <QSignalSpy>
#include <QTest>

using namespace mivel;
using namespace mivel::tempcomp;
using mivel::test::Rig;

namespace {

const QString NoReplyMessage =
    QStringLiteral("Failed to recieve Temperature Compensation Coefficient from Mivel.");

} // namespace

class TempCompDialogTest : public QObject {
    Q_OBJECT
private slots:
    void openingAsksTheUnitAndWaits();
    void noReplyWarnsAndOffersTheShownValues();
    void coefficientOfTenOrMoreReachesOnlyALaterOpening();
    void thresholdIsClampedTwice();
    void coefficientsBeyondTheSpinRange();
    void coefficientShownInCountsPerDegree();
    void okUploadsTheUnitsCoefficientRounded_data();
    void okUploadsTheUnitsCoefficientRounded();
    void okAndCancelQuestions();
    void modeIsSentAfterEveryClosing();
    void cancelRestoresTheSavedSetting();
    void repliesUpdateTheSharedState();
    void focusMovesAreRefusedWhileCompensating();
};

void TempCompDialogTest::openingAsksTheUnitAndWaits() {
    Rig rig;
    rig.tempComp().mode = 7; // not a mode: reset on opening
    prepareTempCompDialog(rig.ctx);
    QCOMPARE(rig.sent(), QByteArray(" :V "));
    {
        TempCompDialog dialog(rig.ctx);
        QCOMPARE(rig.sent(), QByteArray(" l "));
        QVERIFY(rig.tempComp().dialogOpen);
        QCOMPARE(rig.tempComp().mode, 0);
        QCOMPARE(dialog.selectedMode(), 0);
        QVERIFY(dialog.waitingForUnit());
        rig.reply(":sl1 1000 :of1 0 :tcc 50 :tcm 5 ");
        rig.clock.advance(1999);
        QVERIFY(dialog.waitingForUnit());
        rig.clock.advance(1);
        QVERIFY(!dialog.waitingForUnit());
        QCOMPARE(dialog.coefficientTenths(), 50); // 50 / 0.01 / 1000 = 5 counts per degree
        QCOMPARE(dialog.threshold(), 5);
        QVERIFY(!dialog.changed()); // what the unit reports is not a change
        QVERIFY(rig.prompt->shown.empty());
    }
    QVERIFY(!rig.tempComp().dialogOpen);
}

void TempCompDialogTest::noReplyWarnsAndOffersTheShownValues() {
    Rig rig;
    TempCompDialog dialog(rig.ctx);
    rig.sent();
    rig.clock.advance(TempCompDialog::ReplyWaitMs);
    QCOMPARE(rig.prompt->shown.size(), std::size_t(1));
    QCOMPARE(rig.prompt->shown[0].text, NoReplyMessage);
    QCOMPARE(rig.prompt->shown[0].title, QStringLiteral("Mivel"));
    QCOMPARE(rig.prompt->shown[0].icon, Prompt::Icon::Warning);
    QCOMPARE(rig.prompt->shown[0].buttons, Prompt::Buttons::Ok);
    QVERIFY(!dialog.waitingForUnit());
    QVERIFY(!rig.tempComp().paramsReceived);
    // The values shown were never confirmed by the unit, so OK offers to upload them.
    QVERIFY(dialog.accept());
    QCOMPARE(rig.prompt->shown.back().text, QStringLiteral("Upload changes to Mivel?"));
    QCOMPARE(rig.sent(), QByteArray(" =0  F0 "));
}

void TempCompDialogTest::coefficientOfTenOrMoreReachesOnlyALaterOpening() {
    Rig rig;
    rig.reply(":sl1 1000 ");
    {
        TempCompDialog dialog(rig.ctx);
        rig.reply(":tcc 125 "); // 12.5 counts per degree
        rig.clock.advance(TempCompDialog::ReplyWaitMs);
        QCOMPARE(rig.tempComp().coefficient, 12.5f);
        QCOMPARE(dialog.coefficientTenths(), 0); // the spin control keeps its value
        QVERIFY(dialog.reject());
    }
    TempCompDialog later(rig.ctx);
    QVERIFY(!later.waitingForUnit()); // the parameters are known: no wait
    QCOMPARE(later.coefficientTenths(), 125);
    QCOMPARE(later.coefficientText(), QStringLiteral("12.5"));
}

void TempCompDialogTest::thresholdIsClampedTwice() {
    Rig rig;
    rig.reply(":tcm 150 ");
    QCOMPARE(rig.tempComp().movementThreshold, 100);
    QVERIFY(rig.tempComp().paramsReceived);
    {
        // Already received: the threshold is shown as the unit reported it.
        TempCompDialog dialog(rig.ctx);
        QCOMPARE(dialog.threshold(), 100);
        QVERIFY(dialog.reject());
    }
    rig.tempComp().paramsReceived = false;
    TempCompDialog dialog(rig.ctx);
    rig.reply(":tcm 150 ");
    rig.clock.advance(TempCompDialog::ReplyWaitMs);
    QCOMPARE(dialog.threshold(), 10);
    QCOMPARE(rig.tempComp().movementThreshold, 10);
    dialog.setThreshold(7); // a change reaches the shared state at once
    QCOMPARE(rig.tempComp().movementThreshold, 7);
    dialog.setThreshold(500);
    QCOMPARE(dialog.threshold(), 100);
}

void TempCompDialogTest::coefficientsBeyondTheSpinRange() {
    Rig rig;
    rig.reply(":sl1 1000 ");
    {
        TempCompDialog dialog(rig.ctx);
        rig.reply(":tcc -1500 "); // -150 counts per degree
        rig.clock.advance(TempCompDialog::ReplyWaitMs);
        QCOMPARE(rig.tempComp().coefficient, -100.0f);
        QCOMPARE(dialog.coefficientTenths(), -1000);
        QVERIFY(dialog.reject());
    }
    rig.reply(":tcc 1500 ");
    TempCompDialog dialog(rig.ctx);
    QCOMPARE(dialog.coefficientTenths(), 0); // beyond the spin control: shown as 0
    rig.clock.advance(TempCompDialog::ReplyWaitMs);
    QCOMPARE(rig.tempComp().coefficient, 150.0f); // the timer does not run on this path
}

void TempCompDialogTest::coefficientShownInCountsPerDegree() {
    Rig rig;
    TempCompDialog dialog(rig.ctx);
    QSignalSpy refreshed(&dialog, &TempCompDialog::refreshed);
    dialog.setCoefficientTenths(18);
    QVERIFY(dialog.showsFahrenheit());
    QCOMPARE(dialog.coefficientText(), QStringLiteral("1.8"));
    dialog.showFahrenheit(false);
    // Counts per degree Celsius are shown as the Fahrenheit figure times 5/9.
    QCOMPARE(dialog.coefficientText(), QStringLiteral("1.00"));
    dialog.setCoefficientTenths(-25);
    QCOMPARE(dialog.coefficientText(), QStringLiteral("-1.39"));
    dialog.showFahrenheit(true);
    QCOMPARE(dialog.coefficientText(), QStringLiteral("-2.5"));
    QVERIFY(refreshed.count() >= 4);
    dialog.setCoefficientTenths(5000);
    QCOMPARE(dialog.coefficientTenths(), TempCompDialog::CoefficientMax);
}

void TempCompDialogTest::okUploadsTheUnitsCoefficientRounded_data() {
    QTest::addColumn<QByteArray>("slopeReply");
    QTest::addColumn<int>("tenths");
    QTest::addColumn<QByteArray>("sent");
    QTest::newRow("0.01 and 2.5") << QByteArray(":sl1 1000 ") << 25 << QByteArray(" =25  F3 ");
    QTest::newRow("half down to even")
        << QByteArray(":sl1 12500 ") << 1 << QByteArray(" =12  F3 "); // 12.5
    QTest::newRow("half up to even")
        << QByteArray(":sl1 12500 ") << 3 << QByteArray(" =38  F3 "); // 37.5
    QTest::newRow("negative") << QByteArray(":sl1 1000 ") << -25 << QByteArray(" =-25  F3 ");
    QTest::newRow("no slope yet") << QByteArray() << 25 << QByteArray(" =0  F3 ");
}

void TempCompDialogTest::okUploadsTheUnitsCoefficientRounded() {
    QFETCH(QByteArray, slopeReply);
    QFETCH(int, tenths);
    QFETCH(QByteArray, sent);
    Rig rig;
    if (!slopeReply.isEmpty())
        rig.reply(slopeReply);
    rig.reply(":tcm 3 ");
    TempCompDialog dialog(rig.ctx);
    rig.sent();
    dialog.selectMode(1);
    dialog.setCoefficientTenths(tenths);
    QVERIFY(dialog.accept());
    QCOMPARE(rig.sent(), sent);
    QCOMPARE(rig.tempComp().coefficient, float(tenths / 10.0));
    QCOMPARE(rig.tempComp().mode, 1);
    QVERIFY(!dialog.isOpen());
    QVERIFY(!rig.tempComp().dialogOpen);
}

void TempCompDialogTest::okAndCancelQuestions() {
    Rig rig;
    rig.reply(":sl1 1000 :tcm 3 ");
    TempCompDialog dialog(rig.ctx);
    rig.sent();
    QSignalSpy closed(&dialog, &TempCompDialog::closed);
    dialog.setCoefficientTenths(40);
    dialog.selectMode(2);

    rig.prompt->answers = {Prompt::Answer::Cancel};
    QVERIFY(!dialog.accept()); // stays open, nothing sent, nothing changed
    QCOMPARE(rig.prompt->shown.back().text, QStringLiteral("Upload changes to Mivel?"));
    QCOMPARE(rig.prompt->shown.back().icon, Prompt::Icon::Question);
    QCOMPARE(rig.prompt->shown.back().buttons, Prompt::Buttons::OkCancel);
    QCOMPARE(rig.sent(), QByteArray());
    QCOMPARE(rig.tempComp().mode, 0);

    rig.prompt->answers = {Prompt::Answer::Cancel};
    QVERIFY(!dialog.reject());
    QCOMPARE(rig.prompt->shown.back().text, QStringLiteral("Discard changes?"));
    QCOMPARE(rig.prompt->shown.back().title, QStringLiteral("Mivel"));
    QCOMPARE(closed.count(), 0);

    rig.prompt->answers = {Prompt::Answer::Ok};
    QVERIFY(dialog.reject());
    QCOMPARE(closed.count(), 1);
    QCOMPARE(rig.sent(), QByteArray());
    QCOMPARE(rig.tempComp().mode, 0); // Cancel keeps the mode
    QCOMPARE(rig.tempComp().coefficient, 0.0f);
}

void TempCompDialogTest::modeIsSentAfterEveryClosing() {
    Rig rig;
    rig.reply(":sl1 1000 :tcm 3 :tc 1 ");
    {
        // Cancel after changes, answered OK: nothing uploaded, yet the unchanged mode is sent.
        prepareTempCompDialog(rig.ctx);
        TempCompDialog dialog(rig.ctx);
        dialog.setCoefficientTenths(12);
        dialog.selectMode(2);
        QVERIFY(dialog.reject());
        QCOMPARE(rig.sent(), QByteArray(" :V  l "));
        const TempCompButtons buttons = finishTempCompDialog(rig.ctx);
        QCOMPARE(rig.sent(), QByteArray(" +1 "));
        QCOMPARE(buttons.caption, QStringLiteral("Temperature Compensation = AUTO"));
        QVERIFY(!buttons.synchEnabled);
    }
    {
        // OK without changes: no question, no upload, the chosen mode.
        TempCompDialog dialog(rig.ctx);
        dialog.selectMode(2);
        const auto questions = rig.prompt->shown.size();
        QVERIFY(dialog.accept());
        QCOMPARE(rig.prompt->shown.size(), questions);
        const TempCompButtons buttons = finishTempCompDialog(rig.ctx);
        QCOMPARE(rig.sent(), QByteArray(" l  +2 "));
        QCOMPARE(buttons.caption, QStringLiteral("Temperature Compensation = MAN"));
        QVERIFY(buttons.synchEnabled);
    }
    TempCompDialog dialog(rig.ctx);
    dialog.selectMode(0);
    QVERIFY(dialog.accept());
    QCOMPARE(finishTempCompDialog(rig.ctx).caption,
             QStringLiteral("Temperature Compensation = OFF"));
}

void TempCompDialogTest::cancelRestoresTheSavedSetting() {
    Rig rig;
    rig.ctx.settings().stepSize = 0.25f;
    TempCompDialog dialog(rig.ctx);
    rig.ctx.settings().stepSize = 0.5f; // changed elsewhere while the dialog was open
    QVERIFY(dialog.reject());
    QCOMPARE(rig.ctx.settings().stepSize, 0.25f);
}

void TempCompDialogTest::repliesUpdateTheSharedState() {
    Rig rig;
    TempCompState& s = rig.tempComp();

    rig.reply(":tcc 125 "); // before the slope: dropped
    QVERIFY(!s.paramsReceived);
    QCOMPARE(s.coefficient, 0.0f);
    rig.reply(":sl1 1000 :of1 -500000 :tcc 12");
    rig.reply("5 :tcm x :tcm -3 ");
    QCOMPARE(s.sensorSlope, 0.01f);
    QCOMPARE(s.sensorOffset, -5.0f);
    QCOMPARE(s.coefficient, 12.5f);
    QCOMPARE(s.movementThreshold, 0);
    QVERIFY(s.paramsReceived);

    rig.reply(":tca 7000 ");
    QCOMPARE(s.sensorTemp, 65.0f);

    const std::pair<const char*, int> modes[] = {{":tc 1 ", 1}, {":tc 2 ", 2}, {":tc 0 ", 0},
                                                 {":tc 2 ", 2}, {":tc 5 ", 0}, {":tc 1 ", 1},
                                                 {":tc on ", 1}};
    for (const auto& [chunk, mode] : modes) {
        rig.reply(chunk);
        QCOMPARE(s.mode, mode);
    }
}

void TempCompDialogTest::focusMovesAreRefusedWhileCompensating() {
    TempCompState s;
    for (auto source : {FocusMoveSource::ConsoleMove, FocusMoveSource::StoredPosition,
                        FocusMoveSource::FocuserDriver})
        QVERIFY(!focusMoveRefusal(s, source));
    for (std::int16_t mode : {1, 2}) {
        s.mode = mode;
        QCOMPARE(
            *focusMoveRefusal(s, FocusMoveSource::ConsoleMove),
            QStringLiteral("Temperature compensation is active.  Focus movement is disabled."));
        QCOMPARE(
            *focusMoveRefusal(s, FocusMoveSource::StoredPosition),
            QStringLiteral("Temperature compensation is active.  Focuser movement is disabled."));
        QCOMPARE(*focusMoveRefusal(s, FocusMoveSource::FocuserDriver),
                 QStringLiteral("Temperature compensation active, focus movement not allowed."));
    }
}

QTEST_GUILESS_MAIN(TempCompDialogTest)
#include "test_tempcomp_dialog.moc"
