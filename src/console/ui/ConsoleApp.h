#pragma once

#include "console/ConsoleDialogs.h"
#include "console/ConsoleLifetime.h"
#include "console/ConsoleLink.h"
#include "link/PortList.h"

#include "app/AppContext.h"
#include "app/ConsoleWindows.h"
#include "datalog/Recording.h"
#include "drivers/AutomationDevice.h"
#include "records/StoredPositions.h"

#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>

class QWidget;

namespace mivel::console {

class MainWindow;
class MiniConsoleWindow;
class RotIndicatorWindow;

struct ConsoleOptions {
    QString alpacaAddress;   // the driver server's address, for the About box
    QString simulatedDevice; // the simulated unit's terminal, offered first in the port lists
    bool nightVision = false;
    bool connectAtStart = false; // connect as if the user pressed Connect (the simulated unit)
    datalog::Recording* recording = nullptr; // the process's data log and readings history
    // The stored positions of the run, loaded when the main console opens; none: no recall.
    records::StoredPositions* positions = nullptr;
};

// The console's windows in the running program: the main and mini consoles, the setup dialogs
// the driver objects open, and the small windows the consoles open. Installed into the context
// so that a driver's ShowForm and SetupDialog reach them.
class ConsoleApp : public QObject, public ConsoleWindows {
    Q_OBJECT
public:
    ConsoleApp(AppContext& ctx, DeviceProvider* devices, ConsoleOptions options = {},
               QObject* parent = nullptr);
    ~ConsoleApp() override;

    // ConsoleWindows.
    bool mainConsoleOpen() const override;
    void showMiniConsole() override;
    void showMainConsole() override;
    void showFocuserSetup() override;
    void showRotatorSetup() override;

    void showProperties(QWidget* parent);
    void showAbout(QWidget* parent);
    void showRotatorIndicator();
    // The data log's setup window (modal) and the temperature graph; none without a recording.
    datalog::Recording* recording() const { return options_.recording; }
    void showLogSetup(QWidget* parent);
    void showGraph();
    void stopLog();
    // What a console's temperature poll needs to know of the log and the graph.
    std::function<ThermalReaders()> thermalReaders() const;
    bool nightVision() const { return options_.nightVision; }
    // Night vision is kept in the settings for the next start.
    void setNightVision(bool on);
    // The window a message box opens over when no window is active: a console that is shown.
    QWidget* promptParent() const;

    // The temperature compensation dialog, once it exists: the consoles' compensation button
    // opens it (modal) and stays disabled until then.
    void setTempCompDialog(std::function<void(QWidget* parent)> run) { tempComp_ = std::move(run); }
    // The calibration window: the Tools menu entry opens it and stays disabled until then.
    void setCalibrationWindow(std::function<void(QWidget* parent)> open) {
        calibration_ = std::move(open);
    }
    bool calibrationAvailable() const { return bool(calibration_); }
    void openCalibration(QWidget* parent) {
        if (calibration_)
            calibration_(parent);
    }

    // The secondary heater tuning wizard: the Tools menu entry opens it.
    void setHeaterWizard(std::function<void(QWidget* parent)> open) {
        heaterWizard_ = std::move(open);
    }
    bool heaterWizardAvailable() const { return bool(heaterWizard_); }
    void openHeaterWizard(QWidget* parent) {
        if (heaterWizard_)
            heaterWizard_(parent);
    }

    // The small windows a console opens in the middle of a command.
    std::unique_ptr<ConsoleDialogs> makeDialogs(QWidget* parent);
    QList<PortEntry> ports() const;

    AppContext& context() const { return ctx_; }
    records::StoredPositions* positions() const { return options_.positions; }
    ConsoleLifetime& lifetime() { return lifetime_; }
    MainWindow* mainWindow() const;
    MiniConsoleWindow* miniConsole() const;
    RotIndicatorWindow* rotatorIndicator() const;

signals:
    // The program should end: the port is closed already.
    void quitRequested();

private:
    friend class WindowDialogs;
    void linkPeers();
    void applyTheme();

    AppContext& ctx_;
    ConsoleOptions options_;
    ConsoleLifetime lifetime_;
    QPointer<MainWindow> main_;
    QPointer<MiniConsoleWindow> mini_;
    QPointer<RotIndicatorWindow> indicator_;
    QPointer<QWidget> graph_;
    std::function<void(QWidget*)> tempComp_;
    std::function<void(QWidget*)> calibration_;
    std::function<void(QWidget*)> heaterWizard_;
};

// Starts the console when the program has a display: message boxes for prompts, the settings
// loaded, the console's windows installed into the context and the main console shown. False
// (and nothing changed) without a QApplication. The console lives until the program ends; the
// program ends through QCoreApplication::exit(0) when the console says so.
bool startConsole(AppContext& ctx, DeviceProvider* devices, const ConsoleOptions& options = {});

} // namespace mivel::console
