#include "MessageBoxPrompt.h"

#include "NightTheme.h"

#include <QApplication>
#include <QMessageBox>

namespace mivel::console {
namespace {

QMessageBox::Icon boxIcon(Prompt::Icon icon) {
    switch (icon) {
    case Prompt::Icon::Information:
        return QMessageBox::Information;
    case Prompt::Icon::Warning:
        return QMessageBox::Warning;
    case Prompt::Icon::Question:
        return QMessageBox::Question;
    case Prompt::Icon::Critical:
        return QMessageBox::Critical;
    case Prompt::Icon::None:
        break;
    }
    return QMessageBox::NoIcon;
}

QMessageBox::StandardButtons boxButtons(Prompt::Buttons buttons) {
    switch (buttons) {
    case Prompt::Buttons::Ok:
        return QMessageBox::Ok;
    case Prompt::Buttons::OkCancel:
        return QMessageBox::Ok | QMessageBox::Cancel;
    case Prompt::Buttons::YesNo:
        return QMessageBox::Yes | QMessageBox::No;
    case Prompt::Buttons::YesNoCancel:
        return QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
    }
    return QMessageBox::Ok;
}

Prompt::Answer answerOf(int button) {
    switch (button) {
    case QMessageBox::Ok:
        return Prompt::Answer::Ok;
    case QMessageBox::Yes:
        return Prompt::Answer::Yes;
    case QMessageBox::No:
        return Prompt::Answer::No;
    default:
        return Prompt::Answer::Cancel;
    }
}

} // namespace

QWidget* MessageBoxPrompt::parentFor() const {
    if (QWidget* modal = QApplication::activeModalWidget())
        return modal;
    if (QWidget* active = QApplication::activeWindow())
        return active;
    return fallbackParent_ ? fallbackParent_() : nullptr;
}

Prompt::Answer MessageBoxPrompt::ask(const QString& text, const QString& title, Icon icon,
                                     Buttons buttons) {
    QMessageBox box(boxIcon(icon), title, text, boxButtons(buttons), parentFor());
    box.setObjectName(QStringLiteral("promptBox"));
    if (nightVisionOn() && !box.iconPixmap().isNull())
        box.setIconPixmap(nightRed(box.iconPixmap()));
    if (buttons == Buttons::OkCancel)
        box.setDefaultButton(QMessageBox::Ok);
    return answerOf(box.exec());
}

void MessageBoxPrompt::beep() {
    QApplication::beep();
}

} // namespace mivel::console
