#pragma once

#include "heater/SecHeaterWizard.h"

#include <QDialog>

#include <memory>

namespace Ui {
class frmSecHeaterWizard;
}

namespace mivel::heater {

class StepChart;

// frmSecHeaterWizard: the pages of the heater tuning over SecHeaterWizard.
class SecHeaterWizardView : public QDialog {
    Q_OBJECT
public:
    explicit SecHeaterWizardView(AppContext& ctx, QWidget* parent = nullptr);
    ~SecHeaterWizardView() override;

    SecHeaterWizard& logic() { return logic_; }

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void bind();
    void refresh();
    void showStep();
    void showRecording();
    void showFit();
    void showTuning();
    void showUpload();
    void takePlan();
    void takeValues();

    std::unique_ptr<Ui::frmSecHeaterWizard> ui_;
    SecHeaterWizard logic_;
    StepChart* recordChart_;
    StepChart* fitChart_;
};

// Opens the wizard, or brings it forward when it is open already. It deletes itself when closed.
QWidget* openSecHeaterWizard(AppContext& ctx, QWidget* parent);

} // namespace mivel::heater
