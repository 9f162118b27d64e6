#include "SettingsStoreFactory.h"

#include "FileSettingsStore.h"

namespace mivel {

std::unique_ptr<SettingsStore> openSettingsStore(const AppPaths& paths) {
    return std::make_unique<FileSettingsStore>(paths.settingsFile());
}

} // namespace mivel
