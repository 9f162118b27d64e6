#include "StoreEditorView.h"

#include "ui_frmStoreFocus.h"
#include "ui_frmStoreRotator.h"

#include <QCloseEvent>
#include <QHeaderView>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>

namespace mivel::records {

namespace {

template <class Form> std::shared_ptr<void> setUp(QDialog* dialog) {
    auto form = std::make_shared<Form>();
    form->setupUi(dialog);
    return form;
}

} // namespace

template <class W> W* StoreEditorView::find(const char* name) const {
    return findChild<W*>(QLatin1String(name));
}

StoreEditorView::StoreEditorView(RecordList& list, Prompt& prompt,
                                 std::function<CurrentPosition()> current, QWidget* parent)
    : QDialog(parent)
    , logic_(list, prompt, std::move(current)) {
    form_ =
        logic_.hasTemperature() ? setUp<Ui::frmStoreFocus>(this) : setUp<Ui::frmStoreRotator>(this);
    grid_ = find<QTableWidget>("MSFlexGrid1");
    description_ = find<QLineEdit>("txtDescription");
    position_ = find<QLineEdit>("txtPosition");
    temperature_ = find<QLineEdit>("txtTemperature");
    description_->setMaxLength(DescriptionBytes * 2); // longer text is cut on saving, visibly

    const QStringList headings = StoreEditor::gridHeadings(logic_.gridFormat());
    grid_->setColumnCount(int(headings.size()));
    grid_->setHorizontalHeaderLabels(headings);
    grid_->horizontalHeader()->setDefaultAlignment(Qt::AlignCenter);
    grid_->horizontalHeader()->setSectionResizeMode(1, QHeaderView::Stretch);
    grid_->setColumnWidth(0, 24);
    grid_->verticalHeader()->hide();

    connect(grid_, &QTableWidget::cellClicked, this,
            [this](int row, int) { logic_.selectRow(row + 1); });
    connect(description_, &QLineEdit::textEdited, &logic_, &StoreEditor::editDescription);
    connect(position_, &QLineEdit::textEdited, &logic_, &StoreEditor::editPosition);
    if (temperature_)
        connect(temperature_, &QLineEdit::textEdited, &logic_, &StoreEditor::editTemperature);
    bindButtons();
    connect(&logic_, &StoreEditor::refreshed, this, &StoreEditorView::refresh);
    connect(&logic_, &StoreEditor::closed, this, [this] {
        closing_ = true;
        QDialog::done(QDialog::Accepted);
    });
    refresh();
}

StoreEditorView::~StoreEditorView() = default;

void StoreEditorView::bindButtons() {
    const std::pair<const char*, void (StoreEditor::*)()> buttons[] = {
        {"cmdAdd", &StoreEditor::add},       {"cmdCancel", &StoreEditor::cancel},
        {"cmdDelete", &StoreEditor::remove}, {"cmdCurrent", &StoreEditor::useCurrent},
        {"cmdExit", &StoreEditor::exit},
    };
    for (const auto& [name, run] : buttons)
        connect(find<QPushButton>(name), &QPushButton::clicked, &logic_, run);
    connect(find<QPushButton>("cmdUpdate"), &QPushButton::clicked, &logic_,
            [this] { logic_.update(); });
}

void StoreEditorView::fillGrid() {
    filling_ = true;
    const int rows = logic_.gridRows() - 1; // the widget's header is grid row 0
    grid_->setRowCount(rows);
    for (int row = 0; row < rows; ++row) {
        const QStringList cells = logic_.rowCells(row + 1);
        for (int column = 0; column < cells.size(); ++column) {
            QTableWidgetItem* item = grid_->item(row, column);
            if (!item) {
                item = new QTableWidgetItem;
                item->setTextAlignment(column >= 2 ? Qt::AlignRight | Qt::AlignVCenter
                                                   : Qt::AlignLeft | Qt::AlignVCenter);
                grid_->setItem(row, column, item);
            }
            item->setText(cells[column]);
        }
    }
    const int current = logic_.currentRecord();
    if (current >= 1 && current <= rows)
        grid_->selectRow(current - 1);
    else
        grid_->clearSelection();
    filling_ = false;
}

void StoreEditorView::refresh() {
    fillGrid();
    // Only what differs is set, so the cursor stays where the user is typing.
    const auto show = [](QLineEdit* box, const QString& text) {
        if (box && box->text() != text)
            box->setText(text);
    };
    show(description_, logic_.description());
    show(position_, logic_.position());
    show(temperature_, logic_.temperature());
}

void StoreEditorView::closeEvent(QCloseEvent* event) {
    if (!closing_)
        logic_.exit();
    event->accept();
}

void StoreEditorView::reject() {
    // Escape closes the window as its close button does.
    if (!closing_)
        logic_.exit();
}

void runStoreEditor(RecordList& list, Prompt& prompt, std::function<CurrentPosition()> current,
                    QWidget* parent) {
    StoreEditorView view(list, prompt, std::move(current), parent);
    view.exec();
}

} // namespace mivel::records
