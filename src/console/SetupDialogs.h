#pragma once

// The logic of the driver setup dialogs: frmDialog (the focuser's), frmRotatorSetup and the
// plain port chooser frmProperties. Each reads its values from the settings key when it loads
// and writes them back on OK; the windows are thin views over these.

#include "link/PortList.h"

#include "app/AppContext.h"

#include <QList>
#include <QString>

#include <optional>

namespace mivel::console {

struct StepSizeResult;

// What the three dialogs share: the port list and the choice in it. The list opens on the port
// in use, which need not be the stored one (a device given for the run); OK changes the port
// only when the user picked another one.
class PortSetup {
public:
    PortSetup(AppContext& ctx, QList<PortEntry> ports);
    virtual ~PortSetup() = default;

    const QList<PortEntry>& ports() const { return ports_; }
    int portIndex() const { return portIndex_; }
    void setPortIndex(int index) { portIndex_ = index >= 0 && index < ports_.size() ? index : -1; }

protected:
    // Reads "PORT" from an open settings key to report a missing one; the status of the read.
    // The choice stays on the port in use.
    long loadPort(SettingsStore::Key key);
    // A port other than the one in use was picked: it becomes the port in use, in the settings
    // copy and the shared serial object (a port that is open is closed, switched and opened
    // again). The same port leaves a live link alone.
    void applyPort();
    // Stores "PORT" and "PortDevice" when the user picked another port that outlives the run
    // (never the simulated unit's terminal); the first failing status, else 0.
    long writePort(SettingsStore::Key key);
    void tell(const QString& text);

    AppContext& ctx_;

private:
    bool portPicked() const { return portIndex_ >= 0 && portIndex_ != inUse_; }

    QList<PortEntry> ports_;
    int inUse_ = -1;
    int portIndex_ = -1;
    bool storePort_ = false;
};

// frmDialog: port, console on connect, and the focuser's step sizes.
class FocuserSetup : public PortSetup {
public:
    FocuserSetup(AppContext& ctx, QList<PortEntry> ports);

    // Load: every missing value keeps its default and is reported.
    void load();
    // cmdOK: false when a value was refused (the dialog stays open and nothing was written).
    bool accept();
    // cmdCalc's results.
    void takeCalculation(const StepSizeResult& result);

    bool consoleOnConnect = false; // Check1
    QString stepSizeText = "0.25"; // txtStepSize
    QString largeStepText = "80";  // txtLargeStepSize
    QString smallStepText = "5";   // txtSmallStepSize
};

// frmRotatorSetup: port and console on connect.
class RotatorSetup : public PortSetup {
public:
    RotatorSetup(AppContext& ctx, QList<PortEntry> ports);
    void load();
    bool accept();

    bool consoleOnConnect = false; // Check1
};

// frmProperties: the port alone.
class PortProperties : public PortSetup {
public:
    PortProperties(AppContext& ctx, QList<PortEntry> ports);
    void loadPropertySettings();
    bool accept();
};

} // namespace mivel::console
