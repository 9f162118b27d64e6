#pragma once

#include "DiagnosticFile.h"

#include "wire/Replies.h"
#include "wire/Tokeniser.h"

#include <QString>

#include <functional>
#include <memory>
#include <string_view>

namespace mivel::console {

struct ConsoleCore;
class FocusCommands;
class RotatorCommands;
class GuardedControls;

// Handle_Received: the unit's replies, tag by tag, into the readings and the parts they belong
// to. A value the user sets goes through its row of the control table; the main console also
// keeps the diagnostic records in their file.
class ConsoleReplies {
public:
    ConsoleReplies(ConsoleCore& core, FocusCommands& focus, RotatorCommands& rotator,
                   GuardedControls& controls, std::function<void(int)> loaderStatus);
    ~ConsoleReplies();

    // One received chunk.
    void handleReceived(std::string_view chunk);
    QString diagnosticPath() const { return diagnostic_ ? diagnostic_->path() : QString(); }
    static QString diagnosticFileName() { return QStringLiteral("debug.txt"); }

private:
    void handleValue(std::string_view tag, std::string_view value);
    void applyNumber(wire::Tag tag, double value);
    void onDiagnostic(std::string_view value);

    ConsoleCore& core_;
    FocusCommands& focus_;
    RotatorCommands& rotator_;
    GuardedControls& controls_;
    std::function<void(int)> loaderStatus_;
    wire::Tokeniser tokeniser_;
    std::unique_ptr<DiagnosticFile> diagnostic_;
};

} // namespace mivel::console
