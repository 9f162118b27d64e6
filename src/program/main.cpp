// mivel: the control console and Alpaca driver server of the Mivel unit. Options are parsed in
// program/ProgramOptions; the server itself is alpaca/DriverServer over the driver objects.

#include "alpaca/DriverServer.h"
#include "app/AppContext.h"
#include "app/CheckRegistry.h"
#include "app/SettingsStoreFactory.h"
#include "console/ui/ConsoleApp.h"
#include "datalog/LogActions.h"
#include "datalog/Recording.h"
#include "drivers/DriverSet.h"
#include "link/LinkHub.h"
#include "program/FlashCommand.h"
#include "program/ProgramOptions.h"
#include "program/StopSignals.h"
#include "records/StoredPositions.h"
#include "sim/PtyHost.h"
#include "sim/SimDevice.h"
#include "sim/SimulatedUnit.h"

#include <QApplication>
#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTextStream>

#include <optional>

using namespace mivel;

namespace {

int fail(const QString& line, int code = 1) {
    QTextStream(stderr) << "mivel: " << line << Qt::endl;
    return code;
}

// --simulate: the simulated unit runs in this process on a pseudo-terminal, and the program
// reaches it through its real serial port code, as it would reach the hardware.
class Simulation {
public:
    // The serial device to open.
    Result<QString> start() {
#ifdef Q_OS_UNIX
        if (!dir_.isValid())
            return programError(
                ErrorKind::Unavailable,
                QStringLiteral("cannot make a folder for the simulated unit's link"));
        const QString link = dir_.filePath(QStringLiteral("mivel-unit"));
        if (Status started = host_.start(link))
            return *std::move(started);
        return link;
#else
        return QStringLiteral("SIMULATED");
#endif
    }
    void setThermalSpeed(double factor) {
        unit_.setThermalSpeed(factor);
    }
    // Where there are no pseudo-terminals the unit sits behind an in-memory device instead.
    SerialDeviceFactory deviceFactory() {
#ifdef Q_OS_UNIX
        return makeQtSerialDevice;
#else
        return [this] { return sim::makeSimDevice(unit_); };
#endif
    }

private:
    sim::SimulatedUnit unit_;
#ifdef Q_OS_UNIX
    QTemporaryDir dir_;
    sim::PtyHost host_{unit_};
#endif
};

} // namespace

int main(int argc, char* argv[]) {
    QStringList args;
    for (int i = 0; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);
    const ParsedOptions parsed = parseProgramOptions(args);
    if (!parsed.options)
        return fail(parsed.error + QStringLiteral(" (mivel --help lists the options)"), 2);
    const ProgramOptions& options = *parsed.options;
    if (options.help) {
        QTextStream(stdout) << programUsage();
        return 0;
    }
    if (!options.flashFile.isEmpty())
        return runFlashCommand(options, argc, argv);
    const bool headless = options.headless || !displayAvailable();

    // Headless, Qt's own event dispatcher serves the sockets: glib's walks every polled socket
    // each time a socket starts or stops waiting to write, once per answer, which with a few
    // hundred clients costs more than the answers. The console keeps glib's, which desktop
    // themes expect.
    if (headless && !qEnvironmentVariableIsSet("QT_NO_GLIB"))
        qputenv("QT_NO_GLIB", "1");
    // CONSOLE (1 of 2): with a display the console windows run in this process beside the
    // driver server, and need a QApplication; headless there is no widget at all.
    const std::unique_ptr<QCoreApplication> app =
        headless ? std::make_unique<QCoreApplication>(argc, argv)
                 : std::make_unique<QApplication>(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("mivel"));
    QCoreApplication::setApplicationVersion(QStringLiteral(MIVEL_VERSION));
    if (!quitOnStopSignals(app.get()))
        return fail(QStringLiteral("cannot watch for stop signals"));

    const AppPaths paths = options.configDir.isEmpty() ? AppPaths::standard()
                                                       : AppPaths::inDirectory(options.configDir);
    // Built only when asked for: the simulated unit's physics ticks ten times a second.
    std::optional<Simulation> simulation;
    QString portDevice = options.portDevice;
    if (options.simulate) {
        simulation.emplace();
        simulation->setThermalSpeed(options.thermalSpeed);
        const Result<QString> started = simulation->start();
        if (!started)
            return fail(QStringLiteral("cannot start the simulated unit: ") +
                        started.error().description);
        portDevice = *started;
    }
    AppContext ctx(openSettingsStore(paths), std::make_unique<LogPrompt>(),
                   simulation ? simulation->deviceFactory() : makeQtSerialDevice, paths);
    checkRegistry(ctx);
    // A device given for this run is the port in use; the stored port stays as it was.
    if (!portDevice.isEmpty())
        ctx.settings().portDevice = portDevice;

    Serial& serial = ctx.hub().ensureSerial();
    serial.setPort(ctx.settings().port);
    serial.setDevicePath(ctx.settings().portDevice);
    // The program lives while anything holds the link: a console window, or a client that has
    // a driver object linked or a request running. The last holder to let go ends it.
    QObject::connect(&ctx.hub(), &LinkHub::lastConnectorGone, app.get(),
                     [] { QCoreApplication::exit(0); });
    // Headless, the server itself holds the link for the whole run (only a stop signal ends
    // it), and a port that does not open ends the program now: nobody could choose another.
    // With the console, the user opens the port when connecting.
    std::optional<Connector> server;
    if (headless) {
        server.emplace(ctx.hub());
        if (const Status opened = serial.setConnected(true); opened)
            return fail(QStringLiteral("cannot open the serial port: ") + opened->description);
    }

    // The stored positions are loaded when the main console opens; without a console, now.
    records::StoredPositions positions(paths.dataDir);
    if (headless)
        positions.load(ctx.prompt());
    DriverSet drivers(ctx, &positions);
    // The readings' history and the data log belong to the process, with or without windows;
    // scripts reach the log through actions of the temperature device.
    datalog::Recording recording(ctx);
    alpaca::DriverServer alpacaServer(ctx, drivers, options);
    for (const datalog::LogAction& action : datalog::logActions(recording.log()))
        alpacaServer.alpaca().addProcessAction(QStringLiteral("switch"), action.name, action.run);
    if (const Status started = alpacaServer.start())
        return fail(started->description);
    QTextStream(stdout) << "mivel: Alpaca driver server on " << alpacaServer.url() << ", unit on "
                        << serial.deviceName() << Qt::endl;

    // CONSOLE (2 of 2): the main console opens, and holds the link while it is open.
    if (!headless) {
        console::ConsoleOptions consoleOptions;
        consoleOptions.alpacaAddress = alpacaServer.url();
        consoleOptions.simulatedDevice = options.simulate ? portDevice : QString();
        // On the simulated unit there is nothing to plug in first: connect straight away.
        consoleOptions.connectAtStart = options.simulate;
        consoleOptions.recording = &recording;
        consoleOptions.positions = &positions;
        console::startConsole(ctx, &drivers, consoleOptions);
    }

    const int code = QCoreApplication::exec();
    // A stop signal ends the run with the link still held: let it go now, closing the port.
    if (Serial* still = ctx.hub().serial())
        still->setConnected(false);
    return code;
}
