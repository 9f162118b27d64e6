#pragma once

#include "AppPaths.h"
#include "ConsoleWindows.h"
#include "Prompt.h"
#include "Settings.h"
#include "SettingsStore.h"
#include "SharedValues.h"

#include "core/Clock.h"
#include "link/LinkHub.h"

#include <QString>

#include <memory>

namespace mivel {

// What the program holds once for the whole process: the link, the settings copy, the shared
// values and the seams to the outside. Everything that was module-level state is reached here.
// Start-up has one job, creating the shared serial object: hub().ensureSerial(). It opens no
// window and reads no setting; the settings copy is loaded by checkRegistry() (CheckRegistry.h)
// when the console or a driver object starts.
class AppContext {
public:
    AppContext(std::unique_ptr<SettingsStore> store, std::unique_ptr<Prompt> prompt,
               SerialDeviceFactory makeDevice, AppPaths paths, Clock& clock = Clock::system(),
               const QString& serialTracePath = {});
    ~AppContext();

    LinkHub& hub() { return hub_; }
    Settings& settings() { return settings_; }
    SharedValues& shared() { return shared_; }
    SettingsStore& store() { return *store_; }
    Prompt& prompt() { return *prompt_; }
    Clock& clock() { return hub_.clock(); }
    const AppPaths& paths() const { return paths_; }

    // Whether checkRegistry() has loaded the settings copy (CheckRegistry.h).
    bool settingsLoaded() const { return settingsLoaded_; }
    void markSettingsLoaded() { settingsLoaded_ = true; }

    // Replaces the prompt (the console swaps the headless log prompt for message boxes).
    void setPrompt(std::unique_ptr<Prompt> prompt) { prompt_ = std::move(prompt); }

    // The console's windows, or nullptr when there is no console (headless).
    ConsoleWindows* windows() const { return windows_; }
    void setWindows(ConsoleWindows* windows) { windows_ = windows; }

private:
    std::unique_ptr<SettingsStore> store_;
    std::unique_ptr<Prompt> prompt_;
    AppPaths paths_;
    LinkHub hub_;
    Settings settings_;
    SharedValues shared_;
    ConsoleWindows* windows_ = nullptr;
    bool settingsLoaded_ = false;
};

} // namespace mivel
