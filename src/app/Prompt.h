#pragma once

#include <QString>

namespace mivel {

// The title of the program's message boxes and confirmations.
inline const QString MessageTitle = QStringLiteral("Mivel");

// Every message box and confirmation goes through this seam: message boxes in the console,
// scripted answers in tests, a log line in headless mode.
class Prompt {
public:
    enum class Icon { None, Information, Warning, Question, Critical };
    enum class Buttons { Ok, OkCancel, YesNo, YesNoCancel };
    enum class Answer { Ok, Cancel, Yes, No };

    virtual ~Prompt() = default;
    virtual Answer ask(const QString& text, const QString& title, Icon icon = Icon::None,
                       Buttons buttons = Buttons::Ok) = 0;

    void inform(const QString& text, const QString& title, Icon icon = Icon::None) {
        ask(text, title, icon, Buttons::Ok);
    }
    bool confirm(const QString& text, const QString& title,
                 Icon icon = Icon::Question) { // OK/Cancel: true on OK
        return ask(text, title, icon, Buttons::OkCancel) == Answer::Ok;
    }
    // A short sound for a refused entry (a Goto to a position that is not a number).
    virtual void beep() {}
};

// Headless: every message becomes a log line and questions take their first button.
class LogPrompt final : public Prompt {
public:
    Answer ask(const QString& text, const QString& title, Icon icon, Buttons buttons) override;
};

} // namespace mivel
