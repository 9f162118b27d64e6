#include "LogDialog.h"

#include "ui_frmLog.h"

#include <QCheckBox>
#include <QFileDialog>

namespace mivel::datalog {

namespace {

QString chooseWithDialog(QWidget* parent) {
    QFileDialog dialog(parent, QStringLiteral("Data Log File"));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setNameFilter(LogSetup::fileFilter());
    dialog.setDefaultSuffix(LogSetup::defaultSuffix());
    // The question about an existing file is the log's own.
    dialog.setOption(QFileDialog::DontConfirmOverwrite);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return {};
    return dialog.selectedFiles().front();
}

} // namespace

LogDialog::LogDialog(DataLog& log, Prompt& prompt, const QString& defaultFile, QWidget* parent)
    : QDialog(parent)
    , ui_(std::make_unique<Ui::frmLog>())
    , setup_(log, prompt)
    , chooseFile_(chooseWithDialog) {
    ui_->setupUi(this);
    // A scroll bar's upper arrow counts down: the spinner holds the interval negated, so that
    // its upper arrow lengthens the interval as a spinner's does.
    ui_->UpDown1->setRange(-LogSetup::MaxIntervalS, -LogSetup::MinIntervalS);
    const LogPlan& last = log.plan();
    const bool used = last.intervalS > 0;
    const int interval = used ? last.intervalS : LogSetup::DefaultIntervalS;
    ui_->UpDown1->setValue(-interval);
    ui_->txtInterval->setText(QString::number(interval));
    ui_->txtFileName->setText(used ? last.file : defaultFile);
    if (used)
        for (const LogColumnInfo& c : LogColumns)
            findChild<QCheckBox*>(QLatin1String(c.checkBox))
                ->setChecked(last.columns[std::size_t(c.column)]);

    connect(ui_->UpDown1, &QScrollBar::valueChanged, this,
            [this](int v) { ui_->txtInterval->setText(QString::number(-v)); });
    connect(ui_->txtInterval, &QLineEdit::textEdited, this, &LogDialog::onIntervalEdited);
    connect(ui_->cmdBrowse, &QPushButton::clicked, this, &LogDialog::onBrowse);
    connect(ui_->cmdStart, &QPushButton::clicked, this, &LogDialog::onStart);
    connect(ui_->cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
}

LogDialog::~LogDialog() = default;

ColumnSet LogDialog::columns() const {
    ColumnSet set{};
    for (const LogColumnInfo& c : LogColumns)
        set[std::size_t(c.column)] = findChild<QCheckBox*>(QLatin1String(c.checkBox))->isChecked();
    return set;
}

void LogDialog::onIntervalEdited(const QString& text) {
    // The spinner follows a typed whole number in its range; other text stays for Start to judge.
    bool ok = false;
    const int v = text.trimmed().toInt(&ok);
    if (ok && v >= LogSetup::MinIntervalS && v <= LogSetup::MaxIntervalS) {
        const QSignalBlocker quiet(ui_->UpDown1);
        ui_->UpDown1->setValue(-v);
    }
}

void LogDialog::onBrowse() {
    const QString path = chooseFile_(this);
    if (setup_.takeChosenFile(path))
        ui_->txtFileName->setText(path);
}

void LogDialog::onStart() {
    if (setup_.start(ui_->txtInterval->text(), columns(), ui_->txtFileName->text()))
        accept();
}

} // namespace mivel::datalog
