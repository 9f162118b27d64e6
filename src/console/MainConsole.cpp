#include "MainConsole.h"

#include "wire/Commands.h"

namespace mivel::console {

using wire::Cmd;
using wire::Lead;

MainConsole::MainConsole(AppContext& ctx, Role role, QObject* parent)
    : QObject(parent)
    , core_(ctx, role, [this] { return jog_.rotatorJogging(); })
    , jog_(core_, focus_, rotator_)
    , focus_(core_, jog_)
    , rotator_(core_, jog_)
    , controls_(core_)
    , replies_(core_, focus_, rotator_, controls_, [this](int code) { emit loaderStatus(code); })
    , recall_(core_, focus_, rotator_) {
    core_.readingsChanged = [this] { emit readingsChanged(); };
    recall_.gotoTextsChanged = [this] { emit gotoTextsChanged(); };
    recall_.listsChanged = [this] { emit recallListsChanged(); };
    subscription_ = ctx.hub().subscribe(LinkHub::Audience::Console, [this](std::string_view chunk) {
        replies_.handleReceived(chunk);
    });
    connect(&core_.link.serial(), &Serial::connectedChanged, this, &MainConsole::onPortChanged);
    connect(&core_.retryTimer, &Timer::timeout, this, &MainConsole::onRetry);
    core_.startTimers(); // the ones enabled at design time

    if (role == Role::Main) {
        core_.link.send(wire::command(Cmd::ConsoleStart, Lead::Space));
        core_.link.send(wire::command(Cmd::TempCompParams, Lead::Space));
        core_.link.send(wire::command(Cmd::FocusStatus, Lead::Space));
    }
}

MainConsole::~MainConsole() = default;

void MainConsole::setDialogs(ConsoleDialogs* dialogs) {
    core_.dialogs = dialogs ? dialogs : &core_.defaultDialogs;
}

void MainConsole::setThermalReaders(std::function<ThermalReaders()> readers) {
    core_.link.setThermalReaders(std::move(readers));
}

void MainConsole::setPeer(const MainConsole* peer) {
    core_.link.setPeer(peer ? &peer->core_.link : nullptr);
}

void MainConsole::onPortChanged(bool open) {
    // Any holder of the link may open or close the port; the controls follow it.
    if (!open) {
        core_.link.onPortClosed();
        jog_.stop();
    }
    emit linkStateChanged();
}

// Timer3: the awaiting-reply flags are released, and a Goto that asked for the homed state goes
// on.
void MainConsole::onRetry() {
    core_.watchdog.clearAll();
    focus_.resumeGoto();
    rotator_.resumeGoto();
}

} // namespace mivel::console
