#pragma once

#include "app/Prompt.h"

#include <QPointer>
#include <QWidget>

#include <functional>

namespace mivel::console {

// The console's prompt: every message and confirmation as a modal message box over the window
// that is active at the time.
class MessageBoxPrompt final : public Prompt {
public:
    Answer ask(const QString& text, const QString& title, Icon icon, Buttons buttons) override;
    void beep() override;
};

} // namespace mivel::console
