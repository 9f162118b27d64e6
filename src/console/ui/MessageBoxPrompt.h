#pragma once

#include "app/Prompt.h"

#include <QPointer>
#include <QWidget>

#include <functional>

namespace mivel::console {

// The console's prompt: every message and confirmation as a modal message box over its window:
// the modal dialog that is running, else the active window, else the window the console names
// (a prompt raised by a timer or a reply while another program has the focus).
class MessageBoxPrompt final : public Prompt {
public:
    explicit MessageBoxPrompt(std::function<QWidget*()> fallbackParent = {})
        : fallbackParent_(std::move(fallbackParent)) {}
    QWidget* parentFor() const;
    Answer ask(const QString& text, const QString& title, Icon icon, Buttons buttons) override;
    void beep() override;

private:
    std::function<QWidget*()> fallbackParent_;
};

} // namespace mivel::console
