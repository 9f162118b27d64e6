// mivel-sim: the simulated Mivel unit on a pseudo-terminal, for tests and demonstrations with
// any serial client.

#include "sim/PtyHost.h"
#include "sim/SimulatedUnit.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTextStream>
#include <QTimer>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// SIGINT and SIGTERM are turned into a byte on a socket pair that the event loop watches, so
// that the program stops between events and cleans up its link.
int signalPipe[2] = {-1, -1};

void onSignal(int) {
    const char byte = 1;
    [[maybe_unused]] const auto n = ::write(signalPipe[1], &byte, 1);
}

bool watchSignals(QObject* parent) {
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0)
        return false;
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
    auto* notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, parent);
    QObject::connect(notifier, &QSocketNotifier::activated, parent, [] {
        char byte = 0;
        [[maybe_unused]] const auto n = ::read(signalPipe[0], &byte, 1);
        QCoreApplication::quit();
    });
    return true;
}

struct Options {
    QCommandLineOption pty{"pty", "Create the pseudo-terminal and link <path> to it.", "path"};
    QCommandLineOption pace{"pace",
                            "Run the line at its real speed (1.04 ms a character each way)."};
    QCommandLineOption silent{"silent", "Fault: answer nothing."};
    QCommandLineOption garbage{"garbage", "Fault: mix random bytes into the replies."};
    QCommandLineOption split{"split", "Fault: deliver replies in pieces split at random bytes."};
    QCommandLineOption focusError{
        "focus-error", "Fault: report focus error <code> (1, 2 or 3) with the status.", "code"};
    QCommandLineOption lateAck{
        "late-ack", "Fault: acknowledge firmware lines only after <ms> milliseconds.", "ms"};
    QCommandLineOption missingAck{"missing-ack", "Fault: never acknowledge firmware lines."};
    QCommandLineOption lateLoader{
        "late-loader", "Fault: the firmware loader answers \"x \" only after <ms> milliseconds.",
        "ms"};
    QCommandLineOption hangUpRecords{
        "hang-up-after-records",
        "Fault: hang up the line after <n> firmware lines (0: when programming starts).", "n"};
    QCommandLineOption noVoltage{"no-programming-voltage",
                                 "Fault: the firmware erase reports no programming voltage."};
    QCommandLineOption eraseFailure{"erase-failure", "Fault: the firmware erase fails."};
    QCommandLineOption hangUp{"hang-up-after", "Fault: hang up the line after <ms> milliseconds.",
                              "ms"};
    QCommandLineOption seed{"seed", "Seed of the random faults (default 1).", "n", "1"};
    QCommandLineOption thermalSpeed{
        "thermal-speed", "Run the night's temperatures <n> times faster (1 to 10000).", "n", "1"};
};

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("mivel-sim"));
    QCoreApplication::setApplicationVersion(QStringLiteral(MIVEL_VERSION));

    Options o;
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("A simulated Mivel unit on a pseudo-terminal. Connect any serial program "
                       "to the link path; stop with Ctrl+C."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions({o.pty, o.pace, o.silent, o.garbage, o.split, o.focusError, o.lateAck,
                       o.missingAck, o.lateLoader, o.hangUpRecords, o.noVoltage, o.eraseFailure,
                       o.hangUp, o.seed, o.thermalSpeed});
    parser.process(app);

    QTextStream err(stderr);
    if (!parser.isSet(o.pty)) {
        err << "mivel-sim: --pty <path> is required.\n";
        return 2;
    }

    bool speedOk = false;
    const double speed = parser.value(o.thermalSpeed).toDouble(&speedOk);
    if (!speedOk || speed < 1 || speed > mivel::sim::ThermalModel::MaxSpeed) {
        err << "mivel-sim: --thermal-speed needs a number from 1 to 10000.\n";
        return 2;
    }

    mivel::sim::SimulatedUnit unit;
    unit.setThermalSpeed(speed);
    unit.setRandomSeed(parser.value(o.seed).toUInt());
    const double pace = parser.isSet(o.pace) ? mivel::sim::OutputLine::LineMsPerChar : 0;
    unit.setPacing(pace);
    unit.setInputPacing(pace);
    unit.setSilent(parser.isSet(o.silent));
    unit.setGarbage(parser.isSet(o.garbage));
    unit.setSplitReplies(parser.isSet(o.split));
    unit.setFocusError(parser.value(o.focusError).toInt());
    unit.setAckDelayMs(parser.value(o.lateAck).toLongLong());
    unit.setAckMissing(parser.isSet(o.missingAck));
    unit.setLoaderReplyDelayMs(parser.value(o.lateLoader).toLongLong());
    if (parser.isSet(o.hangUpRecords))
        unit.setHangUpAfterRecords(parser.value(o.hangUpRecords).toInt());
    unit.setNoProgrammingVoltage(parser.isSet(o.noVoltage));
    unit.setEraseFailure(parser.isSet(o.eraseFailure));

    if (!watchSignals(&app)) {
        err << "mivel-sim: cannot watch for signals.\n";
        return 1;
    }
    mivel::sim::PtyHost host(unit);
    if (const mivel::Status started = host.start(parser.value(o.pty))) {
        err << "mivel-sim: " << started->description << '\n';
        return 1;
    }
    if (parser.isSet(o.hangUp))
        QTimer::singleShot(parser.value(o.hangUp).toInt(), &unit,
                           [&unit] { unit.setHungUp(true); });

    QTextStream(stdout) << "Simulated Mivel unit on " << host.linkPath() << " ("
                        << host.devicePath() << ")" << Qt::endl;
    const int code = QCoreApplication::exec();
    return code;
}
