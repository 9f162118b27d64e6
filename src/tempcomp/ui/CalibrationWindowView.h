#pragma once

#include "tempcomp/CalibrationWindow.h"

#include <QDialog>

#include <memory>

namespace Ui {
class frmCal;
}

namespace mivel::tempcomp {

class CalibrationChart;

// frmCal: the calibration window over its logic object. Every parameter control is found by
// the name the parameter table gives it and kept in step with the logic both ways.
class CalibrationWindowView : public QDialog {
    Q_OBJECT
public:
    explicit CalibrationWindowView(AppContext& ctx, QWidget* parent = nullptr);
    ~CalibrationWindowView() override;

    CalibrationWindow& logic() { return logic_; }

protected:
    void closeEvent(QCloseEvent* event) override;
    void reject() override; // Esc closes the window as the close button does

private:
    void bindParameters();
    void showValue(Param param);
    void showReadings();
    void showPoints();
    void showFits();
    void showButtons();
    QString chooseFile(bool save, const QString& caption);

    std::unique_ptr<Ui::frmCal> ui_;
    CalibrationWindow logic_;
    CalibrationChart* chart_;
    bool updating_ = false;
    bool closed_ = false;
};

} // namespace mivel::tempcomp
