#include "UnitSession.h"

#include "app/CheckRegistry.h"
#include "app/SettingsStoreFactory.h"

namespace mivel::indi {

UnitSession::UnitSession(MessageSink sink)
    : ctx_(openSettingsStore(AppPaths::standard()), std::make_unique<IndiPrompt>(std::move(sink)),
           makeQtSerialDevice, AppPaths::standard())
    , drivers_(ctx_) {
    checkRegistry(ctx_);
}

UnitSession::~UnitSession() {
    unlink();
}

bool UnitSession::linked() const {
    const AutomationDevice* focuser = drivers_.existing(DeviceProvider::Kind::Focuser);
    return hold_ && focuser && focuser->linked();
}

// The port is opened here first, so that a device that cannot be opened (absent, or not
// readable by this user) is reported as such rather than as a unit that does not answer. The
// three objects then probe the unit together; the device path is this connection's, and the
// port stored in the settings stays as it was.
Task<Status> UnitSession::link(const QString& devicePath) {
    const quint64 attempt = ++attempt_;
    hold_.emplace(ctx_.hub());
    ctx_.settings().portDevice = devicePath;
    Serial& serial = ctx_.hub().ensureSerial();
    serial.setDevicePath(devicePath);
    if (serial.connected())
        serial.setConnected(false);
    if (Status opened = serial.setConnected(true)) {
        unlink();
        co_return opened;
    }
    Task<Status> focuser = this->focuser().setLink(true);
    Task<Status> rotator = this->rotator().setLink(true);
    Task<Status> temperature = this->temperature().setConnected(true);
    Status outcome;
    for (Task<Status>* each : {&focuser, &rotator, &temperature}) {
        Status linked = co_await *each;
        if (linked && !outcome)
            outcome = std::move(linked);
    }
    // An unlink or another link while the objects probed has the last word.
    if (attempt != attempt_)
        co_return outcome ? outcome : Status(errors::LinkCancelled);
    if (outcome)
        unlink();
    co_return outcome;
}

void UnitSession::unlink() {
    ++attempt_;
    if (!hold_)
        return;
    Task<Status> focuser = this->focuser().setLink(false);
    Task<Status> rotator = this->rotator().setLink(false);
    Task<Status> temperature = this->temperature().setConnected(false);
    hold_.reset();
}

} // namespace mivel::indi
