#include "AppContext.h"

namespace mivel {

AppContext::AppContext(std::unique_ptr<SettingsStore> store, std::unique_ptr<Prompt> prompt,
                       SerialDeviceFactory makeDevice, AppPaths paths, Clock& clock,
                       const QString& serialTracePath)
    : store_(std::move(store))
    , prompt_(std::move(prompt))
    , paths_(std::move(paths))
    , hub_(std::move(makeDevice), clock, serialTracePath) {
    // A new shared link starts from cleared shared values and the sky link's initial state.
    QObject::connect(&hub_, &LinkHub::serialCreated, &hub_, [this] {
        shared_.wrapCounter = 0;
        shared_.focusRecordState = 0;
        shared_.rotatorRecordState = 0;
        shared_.skyLinkState = 6;
    });
}

AppContext::~AppContext() = default;

} // namespace mivel
