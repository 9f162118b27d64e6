#include "SetupWindows.h"

#include "console/AboutInfo.h"

#include "ui_AboutDialog.h"
#include "ui_FocuserSetupDialog.h"
#include "ui_PropertiesDialog.h"
#include "ui_RotatorSetupDialog.h"
#include "ui_StepSizeDialog.h"

namespace mivel::console {
namespace {

void fillPorts(QComboBox* box, const PortSetup& setup) {
    for (const PortEntry& port : setup.ports())
        box->addItem(port.label, port.device);
    box->setCurrentIndex(setup.portIndex());
}

} // namespace

// --- frmCalculateStepSize -------------------------------------------------------------------

StepSizeDialog::StepSizeDialog(QWidget* parent)
    : QDialog(parent)
    , ui_(std::make_unique<Ui::frmCalculateStepSize>()) {
    ui_->setupUi(this);
    connect(ui_->txtMag, &QLineEdit::textChanged, this, [this](const QString& text) {
        calculator_.setMagnification(text);
        refresh();
    });
    connect(ui_->txtfRatio, &QLineEdit::textChanged, this, [this](const QString& text) {
        calculator_.setFocalRatio(text);
        refresh();
    });
    connect(ui_->cmdOK, &QPushButton::clicked, this, &QDialog::accept);
    connect(ui_->cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
    refresh();
}

StepSizeDialog::~StepSizeDialog() = default;

void StepSizeDialog::refresh() {
    ui_->lblStepSize->setText(calculator_.stepSize());
    ui_->lblCFZmils->setText(calculator_.cfzMils());
    ui_->lblCFZcounts->setText(calculator_.cfzCounts());
    ui_->lblSmallStepSize->setText(calculator_.smallStep());
    ui_->lblLargeStepSize->setText(calculator_.largeStep());
    ui_->lblProblem->setText(calculator_.problem());
}

// --- frmDialog ------------------------------------------------------------------------------

FocuserSetupDialog::FocuserSetupDialog(AppContext& ctx, QList<PortEntry> ports, QWidget* parent)
    : QDialog(parent)
    , ui_(std::make_unique<Ui::frmDialog>())
    , setup_(ctx, std::move(ports)) {
    ui_->setupUi(this);
    setup_.load();
    fillPorts(ui_->cmbPorts, setup_);
    showValues();
    connect(ui_->cmdCalc, &QPushButton::clicked, this, [this] {
        StepSizeDialog calc(this);
        if (calc.exec() != QDialog::Accepted)
            return;
        takeValues();
        setup_.takeCalculation(calc.calculator().result());
        showValues();
    });
    connect(ui_->cmdOK, &QPushButton::clicked, this, [this] {
        takeValues();
        if (setup_.accept())
            accept();
    });
    connect(ui_->cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
}

FocuserSetupDialog::~FocuserSetupDialog() = default;

void FocuserSetupDialog::showValues() {
    ui_->Check1->setChecked(setup_.consoleOnConnect);
    ui_->txtStepSize->setText(setup_.stepSizeText);
    ui_->txtLargeStepSize->setText(setup_.largeStepText);
    ui_->txtSmallStepSize->setText(setup_.smallStepText);
}

void FocuserSetupDialog::takeValues() {
    setup_.setPortIndex(ui_->cmbPorts->currentIndex());
    setup_.consoleOnConnect = ui_->Check1->isChecked();
    setup_.stepSizeText = ui_->txtStepSize->text();
    setup_.largeStepText = ui_->txtLargeStepSize->text();
    setup_.smallStepText = ui_->txtSmallStepSize->text();
}

// --- frmRotatorSetup ------------------------------------------------------------------------

RotatorSetupDialog::RotatorSetupDialog(AppContext& ctx, QList<PortEntry> ports, QWidget* parent)
    : QDialog(parent)
    , ui_(std::make_unique<Ui::frmRotatorSetup>())
    , setup_(ctx, std::move(ports)) {
    ui_->setupUi(this);
    setup_.load();
    fillPorts(ui_->cmbPorts, setup_);
    ui_->Check1->setChecked(setup_.consoleOnConnect);
    connect(ui_->cmdOK, &QPushButton::clicked, this, [this] {
        setup_.setPortIndex(ui_->cmbPorts->currentIndex());
        setup_.consoleOnConnect = ui_->Check1->isChecked();
        if (setup_.accept())
            accept();
    });
    connect(ui_->cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
}

RotatorSetupDialog::~RotatorSetupDialog() = default;

// --- frmProperties --------------------------------------------------------------------------

PropertiesDialog::PropertiesDialog(AppContext& ctx, QList<PortEntry> ports, QWidget* parent)
    : QDialog(parent)
    , ui_(std::make_unique<Ui::frmProperties>())
    , properties_(ctx, std::move(ports)) {
    ui_->setupUi(this);
    properties_.loadPropertySettings();
    fillPorts(ui_->cboPort, properties_);
    connect(ui_->cmdOK, &QPushButton::clicked, this, [this] {
        properties_.setPortIndex(ui_->cboPort->currentIndex());
        if (properties_.accept())
            accept();
    });
    connect(ui_->cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
}

PropertiesDialog::~PropertiesDialog() = default;

// --- About ----------------------------------------------------------------------------------

AboutDialog::AboutDialog(AppContext& ctx, const QString& alpacaAddress, QWidget* parent)
    : QDialog(parent)
    , ui_(std::make_unique<Ui::frmAbout>()) {
    ui_->setupUi(this);
    for (const auto& [caption, value] : aboutInfo(ctx, alpacaAddress)) {
        auto* label = new QLabel(value, this);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        label->setObjectName(QStringLiteral("lblInfo") + QString(caption).remove(QLatin1Char(' ')));
        ui_->formInfo->addRow(caption + QLatin1Char(':'), label);
    }
    connect(ui_->cmdOK, &QPushButton::clicked, this, &QDialog::accept);
}

AboutDialog::~AboutDialog() = default;

} // namespace mivel::console
