#include "TempCompDialogView.h"

#include "LearnCoefficientView.h"

#include "ui_frmTempComp.h"

#include <QApplication>
#include <QRadioButton>

#include <cmath>

namespace mivel::tempcomp {

TempCompDialogView::TempCompDialogView(AppContext& ctx, QWidget* parent,
                                       const records::RecordList* focusRecords)
    : QDialog(parent)
    , ui_(std::make_unique<Ui::frmTempComp>())
    , logic_(ctx)
    , focusRecords_(focusRecords) {
    ui_->setupUi(this);
    const QRadioButton* modes[] = {ui_->optTempComp_0, ui_->optTempComp_1, ui_->optTempComp_2};
    for (int mode = 0; mode < 3; ++mode)
        connect(modes[mode], &QRadioButton::toggled, this, [this, mode](bool on) {
            if (on && !updating_)
                logic_.selectMode(mode);
        });
    connect(ui_->UpDown2, &QDoubleSpinBox::valueChanged, this, [this](double perDegree) {
        if (!updating_)
            logic_.setCoefficientTenths(int(std::lround(perDegree * 10)));
    });
    connect(ui_->UpDown1, &QSpinBox::valueChanged, this, [this](int counts) {
        if (!updating_)
            logic_.setThreshold(counts);
    });
    connect(ui_->optF, &QRadioButton::toggled, this, [this](bool on) {
        if (!updating_)
            logic_.showFahrenheit(on);
    });
    connect(ui_->cmdLearn, &QPushButton::clicked, this, &TempCompDialogView::learn);
    connect(ui_->cmdOK, &QPushButton::clicked, this, &TempCompDialogView::accept);
    connect(ui_->cmdCancel, &QPushButton::clicked, this, &TempCompDialogView::reject);
    connect(&logic_, &TempCompDialog::refreshed, this, &TempCompDialogView::refresh);
    refresh();
}

TempCompDialogView::~TempCompDialogView() {
    showWaitCursor(false);
}

void TempCompDialogView::refresh() {
    updating_ = true;
    QRadioButton* modes[] = {ui_->optTempComp_0, ui_->optTempComp_1, ui_->optTempComp_2};
    modes[logic_.selectedMode()]->setChecked(true);
    // A spin box given the value it already holds rewrites its text: "12." would become
    // "12.0" under the user's fingers. Only what differs is set.
    if (std::lround(ui_->UpDown2->value() * 10) != logic_.coefficientTenths())
        ui_->UpDown2->setValue(logic_.coefficientTenths() / 10.0);
    if (ui_->UpDown1->value() != logic_.threshold())
        ui_->UpDown1->setValue(logic_.threshold());
    ui_->optF->setChecked(logic_.showsFahrenheit());
    ui_->optC->setChecked(!logic_.showsFahrenheit());
    ui_->lblTCCoef->setText(logic_.coefficientText());
    updating_ = false;
    showWaitCursor(logic_.waitingForUnit());
}

void TempCompDialogView::showWaitCursor(bool on) {
    if (on == waitCursor_)
        return;
    waitCursor_ = on;
    if (on)
        QApplication::setOverrideCursor(Qt::WaitCursor);
    else
        QApplication::restoreOverrideCursor();
}

void TempCompDialogView::learn() {
    // The learned slope only goes into the coefficient control: OK still asks before uploading.
    LearnCoefficientView learner(focusRecords_, this);
    connect(&learner, &LearnCoefficientView::coefficientChosen, &logic_,
            &TempCompDialog::setCoefficientTenths);
    learner.exec();
}

void TempCompDialogView::accept() {
    if (logic_.accept()) {
        showWaitCursor(false);
        QDialog::accept();
    }
}

void TempCompDialogView::reject() {
    if (!logic_.isOpen() || logic_.reject()) {
        showWaitCursor(false);
        QDialog::reject();
    }
}

} // namespace mivel::tempcomp
