#pragma once

namespace mivel {

// The windows a driver object may open for its client. The console installs an implementation
// into the AppContext when it runs; headless there is none and the members that would open a
// window answer that they are not implemented.
class ConsoleWindows {
public:
    virtual ~ConsoleWindows() = default;
    virtual bool mainConsoleOpen() const = 0;
    virtual void showMiniConsole() = 0;  // modeless
    virtual void showMainConsole() = 0;  // modeless
    virtual void showFocuserSetup() = 0; // modal
    virtual void showRotatorSetup() = 0; // modal
};

} // namespace mivel
