#include "CalibrationWindowView.h"

#include "CalibrationChart.h"
#include "ui_frmCal.h"

#include "core/Format.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QFileDialog>
#include <QLineEdit>
#include <QRadioButton>
#include <QSpinBox>

namespace mivel::tempcomp {
namespace {

const QString FileFilter = QStringLiteral("Data (*.dat);;All (*.*)");

QString controlName(const ParamInfo& info) {
    return QString::fromLatin1(info.control.data(), qsizetype(info.control.size()));
}

} // namespace

CalibrationWindowView::CalibrationWindowView(AppContext& ctx, QWidget* parent)
    : QDialog(parent)
    , ui_(std::make_unique<Ui::frmCal>())
    , logic_(ctx) {
    ui_->setupUi(this);
    setAttribute(Qt::WA_DeleteOnClose);
    chart_ = new CalibrationChart(logic_, ui_->chartHost);
    ui_->layoutChart->addWidget(chart_);

    bindParameters();
    connect(&logic_, &CalibrationWindow::valueChanged, this, &CalibrationWindowView::showValue);
    connect(&logic_, &CalibrationWindow::readingsChanged, this,
            &CalibrationWindowView::showReadings);
    connect(&logic_, &CalibrationWindow::pointsChanged, this, &CalibrationWindowView::showPoints);
    connect(&logic_, &CalibrationWindow::fitsChanged, this, &CalibrationWindowView::showFits);
    connect(&logic_, &CalibrationWindow::buttonsChanged, this, &CalibrationWindowView::showButtons);

    connect(ui_->cmdCalMark, &QPushButton::clicked, this,
            [this] { logic_.recordPoint(ui_->txtRefTemp->text()); });
    connect(ui_->txtRefTemp, &QLineEdit::returnPressed, ui_->cmdCalMark, &QPushButton::click);
    connect(ui_->cmdCalClear, &QPushButton::clicked, this, [this] { logic_.clearPoints(); });
    connect(ui_->cmdCalibrate, &QPushButton::clicked, this, [this] { logic_.calibrate(); });
    connect(ui_->cmdCalUpload, &QPushButton::clicked, this,
            [this] { (void)logic_.uploadCoefficients(); });
    connect(ui_->cmdSaveCoef, &QPushButton::clicked, this, [this] {
        if (const QString path = chooseFile(true, QStringLiteral("Save Coefficients"));
            !path.isEmpty())
            logic_.saveCoefficientFile(path);
    });
    connect(ui_->cmdLoad, &QPushButton::clicked, this, [this] {
        if (const QString path = chooseFile(false, QStringLiteral("Load Coefficients"));
            !path.isEmpty())
            logic_.loadCoefficientFile(path);
    });
    connect(ui_->cmdRead, &QPushButton::clicked, this, [this] { logic_.readParameters(); });
    connect(ui_->cmdUploadMivel, &QPushButton::clicked, this,
            [this] { logic_.uploadParameters(); });
    connect(ui_->cmdSaveFile, &QPushButton::clicked, this, [this] {
        if (const QString path = chooseFile(true, QStringLiteral("Save Parameters"));
            !path.isEmpty())
            logic_.saveParameterFile(path);
    });
    connect(ui_->cmdRetrieveFile, &QPushButton::clicked, this, [this] {
        if (const QString path = chooseFile(false, QStringLiteral("Open Parameters"));
            !path.isEmpty())
            logic_.loadParameterFile(path);
    });
    connect(ui_->cmdClose, &QPushButton::clicked, this, &QWidget::close);

    for (const ParamInfo& info : params())
        showValue(info.param);
    showReadings();
    showPoints();
    showFits();
    showButtons();
}

CalibrationWindowView::~CalibrationWindowView() = default;

void CalibrationWindowView::bindParameters() {
    for (const ParamInfo& info : params()) {
        const Param param = info.param;
        const QString name = controlName(info);
        switch (info.input) {
        case Input::Number: {
            auto* edit = findChild<QLineEdit*>(name);
            connect(edit, &QLineEdit::editingFinished, this, [this, edit, param] {
                if (!updating_ && edit->text() != logic_.value(param))
                    logic_.edit(param, edit->text());
            });
            break;
        }
        case Input::Whole: {
            auto* spin = findChild<QSpinBox*>(name);
            spin->setRange(info.min, info.max);
            connect(spin, &QSpinBox::valueChanged, this, [this, param](int value) {
                if (!updating_)
                    logic_.edit(param, QString::number(value));
            });
            break;
        }
        case Input::Flag: {
            auto* check = findChild<QCheckBox*>(name);
            connect(check, &QCheckBox::toggled, this, [this, param](bool on) {
                if (!updating_)
                    logic_.edit(param, QString::fromLatin1(on ? "1" : "0"));
            });
            break;
        }
        case Input::Choice:
            for (int option = info.min; option <= info.max; ++option) {
                auto* radio =
                    findChild<QRadioButton*>(name + QLatin1Char('_') + QString::number(option));
                connect(radio, &QRadioButton::toggled, this, [this, param, option](bool on) {
                    if (on && !updating_)
                        logic_.edit(param, QString::number(option));
                });
            }
            break;
        }
    }
}

void CalibrationWindowView::showValue(Param param) {
    const ParamInfo& info = paramInfo(param);
    const QString name = controlName(info);
    const QString value = logic_.value(param);
    updating_ = true;
    switch (info.input) {
    case Input::Number:
        findChild<QLineEdit*>(name)->setText(value);
        break;
    case Input::Whole:
        findChild<QSpinBox*>(name)->setValue(value.toInt());
        break;
    case Input::Flag:
        findChild<QCheckBox*>(name)->setChecked(value == QLatin1String("1"));
        break;
    case Input::Choice:
        if (auto* radio = findChild<QRadioButton*>(name + QLatin1Char('_') + value))
            radio->setChecked(true);
        break;
    }
    updating_ = false;
}

void CalibrationWindowView::showReadings() {
    QLabel* labels[] = {ui_->lblReading_0, ui_->lblReading_1, ui_->lblReading_2};
    for (int s = 0; s < CalibrationWindow::SensorCount; ++s) {
        const auto reading = logic_.reading(s);
        labels[s]->setText(reading ? formatNumber(*reading, "0") : QString());
    }
}

void CalibrationWindowView::showPoints() {
    ui_->lblPointCount->setText(QStringLiteral("Points: %1").arg(logic_.points().count()));
    chart_->refresh();
}

void CalibrationWindowView::showFits() {
    QLabel* slopes[] = {ui_->lblCalScope_0, ui_->lblCalScope_1, ui_->lblCalScope_2};
    QLabel* intercepts[] = {ui_->lblCalInt_0, ui_->lblCalInt_1, ui_->lblCalInt_2};
    QLabel* r2[] = {ui_->lblR2_0, ui_->lblR2_1, ui_->lblR2_2};
    for (int s = 0; s < CalibrationWindow::SensorCount; ++s) {
        slopes[s]->setText(logic_.slopeText(s));
        intercepts[s]->setText(logic_.interceptText(s));
        r2[s]->setText(logic_.r2Text(s));
    }
    chart_->refresh();
}

void CalibrationWindowView::showButtons() {
    ui_->cmdCalMark->setEnabled(logic_.canRecordPoint());
    // A greyed button says why.
    ui_->lblRecordNote->setText(logic_.recordNote());
    ui_->lblUploadNote->setText(logic_.coefficientNote());
    ui_->cmdCalUpload->setEnabled(logic_.coefficientUploadEnabled() &&
                                  !logic_.coefficientUploadRunning());
    ui_->cmdUploadMivel->setEnabled(logic_.parameterUploadEnabled());
}

QString CalibrationWindowView::chooseFile(bool save, const QString& caption) {
    // The logic asks before replacing a file, so the file dialog does not ask as well.
    return save ? QFileDialog::getSaveFileName(this, caption, QString(), FileFilter, nullptr,
                                               QFileDialog::DontConfirmOverwrite)
                : QFileDialog::getOpenFileName(this, caption, QString(), FileFilter);
}

void CalibrationWindowView::closeEvent(QCloseEvent* event) {
    if (!closed_) {
        closed_ = true;
        logic_.close();
    }
    event->accept();
}

void CalibrationWindowView::reject() {
    close();
}

} // namespace mivel::tempcomp
