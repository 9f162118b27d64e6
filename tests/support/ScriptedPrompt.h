#pragma once

#include "app/Prompt.h"

#include <QStringList>

#include <deque>
#include <vector>

namespace mivel::test {

// Answers come from a queue (OK, or Yes to a yes/no question, when it is empty) and every
// message is kept, so that a test can read back what the user would have seen.
class ScriptedPrompt final : public Prompt {
public:
    struct Shown {
        QString text;
        QString title;
        Icon icon;
        Buttons buttons;
    };
    std::deque<Answer> answers;
    std::vector<Shown> shown;
    int beeps = 0;

    Answer ask(const QString& text, const QString& title, Icon icon, Buttons buttons) override {
        shown.push_back({text, title, icon, buttons});
        if (answers.empty())
            return buttons == Buttons::YesNo || buttons == Buttons::YesNoCancel ? Answer::Yes
                                                                                : Answer::Ok;
        const Answer a = answers.front();
        answers.pop_front();
        return a;
    }
    void beep() override { ++beeps; }
    QStringList texts() const {
        QStringList out;
        for (const auto& s : shown)
            out << s.text;
        return out;
    }
};

} // namespace mivel::test
