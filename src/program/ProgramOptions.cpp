#include "ProgramOptions.h"

#include <QCommandLineParser>

namespace mivel {
namespace {

struct Parser {
    QCommandLineParser p;
    QCommandLineOption headless{"headless", "Serve the drivers without windows."};
    QCommandLineOption simulate{"simulate",
                                "Start the built-in simulated unit and use it as the port."};
    QCommandLineOption port{"port", "Serial device of the unit (over the stored port).", "DEVICE"};
    QCommandLineOption alpacaPort{"alpaca-port", "HTTP port of the Alpaca server (11111).", "N"};
    QCommandLineOption listen{"listen", "Address the server listens on (127.0.0.1).", "ADDRESS"};
    QCommandLineOption config{"config", "Folder for settings and data files.", "DIR"};
    QCommandLineOption discovery{"discovery",
                                 "Answer Alpaca discovery even when listening on loopback."};
    QCommandLineOption thermalSpeed{"thermal-speed",
                                    "Run the simulated night N times faster (1 to 10000).", "N"};
    QCommandLineOption flash{"flash", "Upload a firmware file to the unit and end.", "FILE"};
    QCommandLineOption help{QStringList{"h", "help"}, "Show this help."};

    Parser() {
        p.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
        p.addOptions({headless, simulate, port, alpacaPort, listen, config, discovery, thermalSpeed,
                      flash, help});
    }
};

std::optional<QHostAddress> parseAddress(const QString& text) {
    if (text == u"localhost")
        return QHostAddress(QHostAddress::LocalHost);
    if (text == u"any" || text == u"*")
        return QHostAddress(QHostAddress::Any);
    QHostAddress a;
    if (!a.setAddress(text))
        return std::nullopt;
    return a;
}

} // namespace

ParsedOptions parseProgramOptions(const QStringList& args) {
    Parser parser;
    if (!parser.p.parse(args))
        return {std::nullopt, parser.p.errorText()};
    if (!parser.p.positionalArguments().isEmpty())
        return {std::nullopt,
                QStringLiteral("Unexpected argument: ") + parser.p.positionalArguments().first()};
    ProgramOptions o;
    o.help = parser.p.isSet(parser.help);
    o.headless = parser.p.isSet(parser.headless);
    o.simulate = parser.p.isSet(parser.simulate);
    o.discovery = parser.p.isSet(parser.discovery);
    o.configDir = parser.p.value(parser.config);
    if (parser.p.isSet(parser.port)) {
        o.portDevice = parser.p.value(parser.port);
        if (o.portDevice.isEmpty())
            return {std::nullopt, QStringLiteral("--port needs a serial device path")};
    }
    if (o.simulate && !o.portDevice.isEmpty())
        return {std::nullopt, QStringLiteral("--simulate and --port cannot be used together")};
    if (parser.p.isSet(parser.alpacaPort)) {
        bool ok = false;
        const uint n = parser.p.value(parser.alpacaPort).toUInt(&ok);
        if (!ok || n == 0 || n > 65535)
            return {std::nullopt, QStringLiteral("--alpaca-port needs a port number from 1 to "
                                                 "65535, not \"%1\"")
                                      .arg(parser.p.value(parser.alpacaPort))};
        o.alpacaPort = quint16(n);
    }
    if (parser.p.isSet(parser.thermalSpeed)) {
        bool ok = false;
        o.thermalSpeed = parser.p.value(parser.thermalSpeed).toDouble(&ok);
        if (!ok || o.thermalSpeed < 1 || o.thermalSpeed > 10000)
            return {std::nullopt, QStringLiteral("--thermal-speed needs a number from 1 to 10000, "
                                                 "not \"%1\"")
                                      .arg(parser.p.value(parser.thermalSpeed))};
        if (!o.simulate)
            return {std::nullopt, QStringLiteral("--thermal-speed needs --simulate")};
    }
    if (parser.p.isSet(parser.flash)) {
        o.flashFile = parser.p.value(parser.flash);
        if (o.flashFile.isEmpty())
            return {std::nullopt, QStringLiteral("--flash needs a firmware file")};
        if (!o.simulate && o.portDevice.isEmpty())
            return {std::nullopt, QStringLiteral("--flash needs --port DEVICE or --simulate")};
    }
    if (parser.p.isSet(parser.listen)) {
        const auto address = parseAddress(parser.p.value(parser.listen));
        if (!address)
            return {std::nullopt, QStringLiteral("--listen needs an IP address, not \"%1\"")
                                      .arg(parser.p.value(parser.listen))};
        o.listen = *address;
    }
    return {o, {}};
}

QString programUsage() {
    return QStringLiteral(
        "Usage: mivel [options]\n"
        "Mivel control console and Alpaca driver server.\n"
        "\n"
        "  --headless         Serve the drivers without windows (also without a display).\n"
        "  --simulate         Start the built-in simulated unit and use it as the port.\n"
        "  --port DEVICE      Serial device of the unit, over the stored port.\n"
        "  --alpaca-port N    HTTP port of the Alpaca server (default 11111).\n"
        "  --listen ADDRESS   Address the server listens on (default 127.0.0.1).\n"
        "  --config DIR       Folder for the settings and data files.\n"
        "  --discovery        Answer Alpaca discovery even when listening on loopback.\n"
        "  --thermal-speed N  With --simulate: run the simulated night N times faster.\n"
        "  --flash FILE       Upload the firmware file FILE (with --port or --simulate) in the\n"
        "                     terminal and end: exit code 0 on success, 11 to 16 for the\n"
        "                     upload's error codes 1 to 6.\n"
        "  -h, --help         Show this help.\n");
}

bool displayAvailable() {
#if defined(Q_OS_WIN) || defined(Q_OS_MACOS)
    return true;
#else
    return !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
#endif
}

} // namespace mivel
