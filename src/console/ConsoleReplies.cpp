#include "ConsoleReplies.h"

#include "ConsoleCore.h"
#include "FocusCommands.h"
#include "GuardedControls.h"
#include "RotatorCommands.h"
#include "UnitControls.h"

#include "tempcomp/TempCompReplies.h"

#include "core/Numbers.h"

#include <QDir>

namespace mivel::console {

using wire::Tag;

ConsoleReplies::ConsoleReplies(ConsoleCore& core, FocusCommands& focus, RotatorCommands& rotator,
                               GuardedControls& controls, std::function<void(int)> loaderStatus)
    : core_(core)
    , focus_(focus)
    , rotator_(rotator)
    , controls_(controls)
    , loaderStatus_(std::move(loaderStatus)) {
    if (core.role == ConsoleRole::Main)
        diagnostic_ = std::make_unique<DiagnosticFile>(
            QDir(core.ctx.paths().dataDir).filePath(diagnosticFileName()));
}

ConsoleReplies::~ConsoleReplies() = default;

void ConsoleReplies::handleReceived(std::string_view chunk) {
    core_.watchdog.onChunk();
    tokeniser_.feed(
        chunk, [this](std::string_view tag, std::string_view value) { handleValue(tag, value); });
    core_.flush();
    // Alerts wait until the chunk is parsed: a message box lets further chunks in meanwhile.
    while (!core_.pendingAlerts.empty()) {
        const QString text = core_.pendingAlerts.front();
        core_.pendingAlerts.pop_front();
        core_.inform(text, MessageTitle, Prompt::Icon::Warning);
    }
}

void ConsoleReplies::handleValue(std::string_view tag, std::string_view value) {
    const wire::TagInfo* info = wire::findTag(tag);
    if (!info)
        return;
    switch (info->kind) {
    case wire::ValueKind::Any:
        if (info->tag == Tag::Probe)
            core_.link.onProbeAnswered();
        return;
    case wire::ValueKind::Char:
        if (!value.empty() && loaderStatus_)
            loaderStatus_(int(static_cast<unsigned char>(value.front())));
        return;
    case wire::ValueKind::Text:
        if (value.empty())
            return;
        if (info->tag == Tag::Diagnostic)
            onDiagnostic(value);
        else if (info->tag == Tag::Version)
            core_.ctx.shared().versionText =
                QString::fromLatin1(value.data(), qsizetype(value.size()));
        return;
    case wire::ValueKind::Number:
        // The compensation replies go to the shared state the way every holder applies them.
        if (tempcomp::applyTempCompReply(core_.ctx.shared().tempComp, info->tag, value))
            focus_.showTempComp(info->tag);
        else if (const auto number = wire::toNumber(value))
            applyNumber(info->tag, *number);
        return;
    }
}

void ConsoleReplies::applyNumber(Tag tag, double value) {
    // The main console reads the image rotator's record flags as the rotator's own.
    if (tag == Tag::ImageRotatorRecord)
        tag = Tag::RotatorRecord;
    if (const UnitControl* row = unitControlFor(tag))
        controls_.applyReply(*row, value);

    SharedValues& shared = core_.ctx.shared();
    Readings& r = core_.readings;
    const QString text = wire::displayText(tag, value);
    switch (tag) {
    case Tag::FocusTarget:
        core_.setText(r.focusTarget, text);
        break;
    case Tag::FocusActual:
        focus_.onActual(value, text);
        break;
    case Tag::FocusHomed:
        focus_.onHomed(value == 1);
        break;
    case Tag::MotorCurrent:
        core_.setText(r.motorCurrent, text);
        break;
    case Tag::MotorOn:
        core_.setText(r.motorState, value == 0 ? QStringLiteral("OFF") : QStringLiteral("ON"));
        break;
    case Tag::ForceMotorOff:
        shared.pendingU0 = value != 0;
        break;
    case Tag::FocusError:
        focus_.onError(wire::roundToInt<int>(value).value_or(0));
        break;
    case Tag::Ambient:
        shared.ambientTemp = wire::displayValue(tag, value);
        core_.setText(r.ambient, text);
        break;
    case Tag::Primary:
        shared.primaryTemp = wire::displayValue(tag, value);
        core_.setText(r.primary, text);
        break;
    case Tag::Secondary:
        shared.secondaryTemp = wire::displayValue(tag, value);
        core_.setText(r.secondary, text);
        break;
    case Tag::Electronics:
        core_.setText(r.electronicsStatus, QStringLiteral("Mivel Temp ") + text);
        break;
    case Tag::RotatorTarget:
        rotator_.onTarget(value, text);
        break;
    case Tag::RotatorActual:
        rotator_.onActual(value, text);
        break;
    case Tag::Wrap:
        if (const auto wrap = wire::roundToInt<std::int32_t>(value))
            rotator_.onWrap(*wrap);
        break;
    case Tag::RotatorHomed:
        rotator_.onHomed(value != 0);
        break;
    case Tag::FocusRecord:
        focus_.onRecord(value);
        break;
    case Tag::RotatorRecord:
        rotator_.onRecord(value);
        break;
    default:
        break; // a control table row above, shown by the calibration window, or not the console's
    }
}

void ConsoleReplies::onDiagnostic(std::string_view value) {
    if (core_.role != ConsoleRole::Main)
        return;
    if (diagnostic_)
        diagnostic_->add(value);
    Readings& r = core_.readings;
    if (value == "*") {
        r.lastDiagnosticRecord = std::exchange(r.diagnosticItems, {});
        core_.changed();
    } else if (const auto number = wire::toNumber(value)) {
        r.diagnosticItems << QString::number(*number, 'g', 15);
        core_.changed();
    }
}

} // namespace mivel::console
