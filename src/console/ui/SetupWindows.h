#pragma once

// The driver setup dialogs and the step size calculator: thin views over console/SetupDialogs.h
// and console/StepSizeCalculator.h.

#include "console/SetupDialogs.h"
#include "console/StepSizeCalculator.h"

#include <QDialog>

#include <memory>

namespace Ui {
class frmDialog;
class frmRotatorSetup;
class frmProperties;
class frmCalculateStepSize;
class frmAbout;
} // namespace Ui

namespace mivel::console {

// frmCalculateStepSize.
class StepSizeDialog : public QDialog {
    Q_OBJECT
public:
    explicit StepSizeDialog(QWidget* parent = nullptr);
    ~StepSizeDialog() override;
    const StepSizeCalculator& calculator() const { return calculator_; }

private:
    void refresh();
    std::unique_ptr<Ui::frmCalculateStepSize> ui_;
    StepSizeCalculator calculator_;
};

// frmDialog: the focuser's setup.
class FocuserSetupDialog : public QDialog {
    Q_OBJECT
public:
    FocuserSetupDialog(AppContext& ctx, QList<PortEntry> ports, QWidget* parent = nullptr);
    ~FocuserSetupDialog() override;
    FocuserSetup& setup() { return setup_; }

private:
    void showValues();
    void takeValues();
    std::unique_ptr<Ui::frmDialog> ui_;
    FocuserSetup setup_;
};

// frmRotatorSetup.
class RotatorSetupDialog : public QDialog {
    Q_OBJECT
public:
    RotatorSetupDialog(AppContext& ctx, QList<PortEntry> ports, QWidget* parent = nullptr);
    ~RotatorSetupDialog() override;

private:
    std::unique_ptr<Ui::frmRotatorSetup> ui_;
    RotatorSetup setup_;
};

// frmProperties: the port chooser.
class PropertiesDialog : public QDialog {
    Q_OBJECT
public:
    PropertiesDialog(AppContext& ctx, QList<PortEntry> ports, QWidget* parent = nullptr);
    ~PropertiesDialog() override;

private:
    std::unique_ptr<Ui::frmProperties> ui_;
    PortProperties properties_;
};

// The About box.
class AboutDialog : public QDialog {
    Q_OBJECT
public:
    AboutDialog(AppContext& ctx, const QString& alpacaAddress, QWidget* parent = nullptr);
    ~AboutDialog() override;

private:
    std::unique_ptr<Ui::frmAbout> ui_;
};

} // namespace mivel::console
