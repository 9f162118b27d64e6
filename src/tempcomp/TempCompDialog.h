#pragma once

// The compensation dialog's logic: it reads the unit's coefficient and movement threshold,
// lets the user change them and the mode, and uploads them on OK. The window is a thin view over
// this object; tests drive it without a display.
//
// The unit keeps the coefficient per 1000 raw units of its compensation sensor; the user sees it
// in tenths of focuser counts per degree Fahrenheit. Converting needs the sensor's slope, which
// the unit reports with the same read.

#include "TempCompReplies.h"

#include "app/AppContext.h"
#include "core/Clock.h"

#include <QObject>
#include <QString>

namespace mivel::tempcomp {

class TempCompDialog : public QObject {
    Q_OBJECT
public:
    static constexpr int CoefficientMin = -1000; // tenths of counts per degree F
    static constexpr int CoefficientMax = 1000;
    static constexpr int ThresholdMin = 0; // counts
    static constexpr int ThresholdMax = 100;
    static constexpr qint64 ReplyWaitMs = 2000;

    // Loads the dialog: takes the current state, asks the unit for its parameters and, when it
    // has not reported them yet, waits for them.
    explicit TempCompDialog(AppContext& ctx, QObject* parent = nullptr);
    ~TempCompDialog() override;

    // The mode options: 0 off, 1 automatic, 2 manual.
    int selectedMode() const { return selectedMode_; }
    void selectMode(int mode);

    // UpDown2: the coefficient in tenths of counts per degree Fahrenheit.
    int coefficientTenths() const { return coefficientTenths_; }
    void setCoefficientTenths(int tenths);
    // UpDown1: the movement threshold in counts; a change goes to the shared state at once.
    int threshold() const { return threshold_; }
    void setThreshold(int counts);

    // optF / optC: the unit the coefficient is shown in.
    bool showsFahrenheit() const { return fahrenheit_; }
    void showFahrenheit(bool fahrenheit);
    // lblTCCoef.
    QString coefficientText() const;

    bool changed() const { return changed_; }
    bool waitingForUnit() const { return replyWait_.isActive(); } // the wait cursor is shown
    bool isOpen() const { return open_; }

    // cmdOK and cmdCancel. Each returns true when the dialog has closed, false when the user
    // chose to stay in it.
    bool accept();
    bool reject();

signals:
    // Something the view shows has changed.
    void refreshed();
    void closed();

private:
    void onReplyWait();
    void send(const QByteArray& command);
    void close();
    void setCoefficientShown(int tenths);
    void setThresholdShown(int counts);

    AppContext& ctx_;
    Connector connector_;
    TempCompState& state_;
    TempCompReceiver receiver_;
    Timer replyWait_;
    float savedStepSize_;
    int selectedMode_ = 0;
    int coefficientTenths_ = 0;
    int threshold_ = 0;
    bool fahrenheit_ = true;
    bool changed_ = false;
    bool open_ = true;
};

// The console's compensation button: prepares the unit before the dialog opens.
void prepareTempCompDialog(AppContext& ctx);
// After the dialog has closed, by OK or Cancel alike: the buttons show the mode and the mode is
// sent, so the unit always ends up in the mode the console shows.
TempCompButtons finishTempCompDialog(AppContext& ctx);

} // namespace mivel::tempcomp
