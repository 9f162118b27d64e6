#pragma once

#include "AppPaths.h"
#include "SettingsStore.h"

#include <memory>

namespace mivel {

// The program's settings store: the settings file "settings.reg" in the config folder. A file
// that cannot be used still gives a store, one that refuses writes and reports its problem().
std::unique_ptr<SettingsStore> openSettingsStore(const AppPaths& paths);

} // namespace mivel
