#include "Prompt.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcPrompt, "mivel.prompt")

namespace mivel {

Prompt::Answer LogPrompt::ask(const QString& text, const QString& title, Icon icon,
                              Buttons buttons) {
    if (icon == Icon::Warning || icon == Icon::Critical)
        qCWarning(lcPrompt).noquote() << title + QStringLiteral(": ") + text;
    else
        qCInfo(lcPrompt).noquote() << title + QStringLiteral(": ") + text;
    return buttons == Buttons::YesNo || buttons == Buttons::YesNoCancel ? Answer::Yes : Answer::Ok;
}

} // namespace mivel
