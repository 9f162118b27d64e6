#include "LogSetup.h"

#include <QFileInfo>

namespace mivel::datalog {

bool LogSetup::takeChosenFile(const QString& path) {
    if (path.isEmpty())
        return false;
    if (!QFileInfo::exists(path))
        return true;
    return prompt_.ask(texts::Overwrite, MessageTitle, Prompt::Icon::Question,
                       Prompt::Buttons::YesNo) == Prompt::Answer::Yes;
}

bool LogSetup::start(const QString& intervalText, const ColumnSet& columns, const QString& file) {
    const Result<LogPlan> plan = makeLogPlan(intervalText, columns, file);
    if (!plan) {
        tell(plan.error().description);
        return false;
    }
    if (const Status started = log_.start(*plan)) {
        tell(started->description);
        // Only a timer that could not be had leaves the file behind; the window closes then as
        // it does after a start.
        return started->description == texts::TimerFailed;
    }
    return true;
}

void LogSetup::tell(const QString& text) {
    prompt_.inform(text, MessageTitle);
}

} // namespace mivel::datalog
