#include "ConsoleCore.h"

namespace mivel::console {

ConsoleCore::ConsoleCore(AppContext& context, ConsoleRole role,
                         std::function<bool()> rotatorJogging)
    : ctx(context)
    , role(role)
    , link(context, std::move(rotatorJogging))
    , retryTimer(context.clock()) {
    retryTimer.setSingleShot(true);
    retryTimer.setInterval(timing::RetryMs);
}

void ConsoleCore::startTimers() {
    link.startCommandSentTimer();
    retryTimer.start();
    link.startPolling();
}

void ConsoleCore::setText(QString& field, const QString& value) {
    if (field != value) {
        field = value;
        dirty = true;
    }
}

void ConsoleCore::flush() {
    if (std::exchange(dirty, false) && readingsChanged)
        readingsChanged();
}

bool ConsoleCore::requirePort() {
    if (link.portOpen())
        return true;
    inform(texts::kPortNotOpen, texts::kVark, Prompt::Icon::Warning);
    return false;
}

bool ConsoleCore::confirm(const QString& text) {
    return ctx.prompt().confirm(text, MessageTitle);
}

void ConsoleCore::inform(const QString& text, const QString& title, Prompt::Icon icon) {
    ctx.prompt().inform(text, title, icon);
}

void ConsoleCore::armRetryTimer() {
    // A pending Goto retry keeps its two seconds.
    if (!focusGotoRetry && !rotatorGotoRetry)
        retryTimer.start();
    else if (!retryTimer.isActive())
        retryTimer.start();
}

} // namespace mivel::console
