// console_idle: what the connected main console costs while it only polls. The simulated unit
// runs as its own process (mivel-sim on a pseudo-terminal, paced at the line's real speed) and
// the console talks to it through the real serial port, so the figures are the console's alone.
//
//   console_idle [seconds]      default 60; prints CPU share of one core and resident memory

#include "support/MemorySettingsStore.h"

#include "console/ui/ConsoleApp.h"
#include "console/ui/MainWindow.h"

#include "app/AppContext.h"
#include "link/SerialDevice.h"

#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextStream>
#include <QThread>
#include <QTimer>

#include <sys/resource.h>

#include <cstdio>

using namespace mivel;

namespace {

double cpuSeconds() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return double(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
           double(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

// VmRSS and VmHWM from the kernel's view of this process, in KiB.
std::pair<long, long> residentKiB() {
    QFile status(QStringLiteral("/proc/self/status"));
    long rss = 0, peak = 0;
    if (!status.open(QIODevice::ReadOnly))
        return {0, 0};
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            rss = line.mid(6).trimmed().split(' ').first().toLong();
        else if (line.startsWith("VmHWM:"))
            peak = line.mid(6).trimmed().split(' ').first().toLong();
    }
    return {rss, peak};
}

void runFor(qint64 ms) {
    QEventLoop loop;
    QTimer::singleShot(int(ms), Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

} // namespace

int main(int argc, char* argv[]) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int seconds = argc > 1 ? std::max(1, atoi(argv[1])) : 60;

    QTemporaryDir dir;
    const QString link = dir.filePath(QStringLiteral("mivel-tty"));
    QProcess sim;
    sim.setProgram(QStringLiteral(MIVEL_SIM_PROGRAM));
    sim.setArguments({QStringLiteral("--pty"), link, QStringLiteral("--pace")});
    sim.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    sim.start();
    for (int i = 0; i < 100 && !QFile::exists(link); ++i)
        runFor(20);
    if (!QFile::exists(link)) {
        std::fprintf(stderr, "console_idle: the simulated unit did not start\n");
        return 1;
    }

    AppContext ctx(std::make_unique<test::MemorySettingsStore>(), std::make_unique<LogPrompt>(),
                   &makeQtSerialDevice, AppPaths::inDirectory(dir.path()));
    ctx.settings().portDevice = link;
    int chunks = 0;
    QObject::connect(&ctx.hub(), &LinkHub::chunkDelivered, [&chunks] { ++chunks; });
    console::ConsoleApp consoleApp(ctx, nullptr);
    consoleApp.showMainConsole();
    console::MainWindow* window = consoleApp.mainWindow();
    window->findChild<QAction*>(QStringLiteral("DialPhoneNumber"))->trigger();
    runFor(2000); // probe answered, version read
    if (!window->console().probeAnswered()) {
        std::fprintf(stderr, "console_idle: the console did not reach the unit\n");
        return 1;
    }

    const int chunksBefore = chunks;
    const double cpuBefore = cpuSeconds();
    QElapsedTimer wall;
    wall.start();
    runFor(seconds * 1000LL);
    const double cpu = cpuSeconds() - cpuBefore;
    const double elapsed = wall.elapsed() / 1000.0;
    const auto [rss, peak] = residentKiB();

    std::printf("console_idle: %.1f s connected and polling the focus tab\n", elapsed);
    std::printf("  CPU: %.3f s = %.2f %% of one core\n", cpu, 100.0 * cpu / elapsed);
    std::printf("  resident memory: %.1f MiB (peak %.1f MiB)\n", rss / 1024.0, peak / 1024.0);
    std::printf("  replies received: %d chunks (%.1f a second)\n", chunks - chunksBefore,
                (chunks - chunksBefore) / elapsed);
    std::printf("  focus position shown: %s\n",
                qPrintable(window->console().readings().focusActual));

    window->console().disconnectLink();
    sim.terminate();
    sim.waitForFinished(3000);
    return 0;
}
