#include "FlashCommand.h"

#include "StopSignals.h"

#include "firmware/FlashTexts.h"
#include "firmware/FlashUpload.h"
#include "firmware/FlashWizard.h"
#include "link/LinkHub.h"
#include "sim/PtyHost.h"
#include "sim/SimulatedUnit.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTextStream>

#include <cstdio>
#include <memory>
#include <optional>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

namespace mivel {
namespace {

constexpr int FailedUploadBase = 10;
constexpr int BarWidth = 40;

QTextStream& err() {
    static QTextStream stream(stderr);
    return stream;
}

// The upload's message box, in the terminal.
class TerminalPrompt final : public Prompt {
public:
    Answer ask(const QString& text, const QString&, Icon, Buttons) override {
        err() << "mivel: " << text << Qt::endl;
        return Answer::Ok;
    }
};

// A bar redrawn in place on a terminal; a line every tenth of the way when the output is a file
// or a pipe.
class ProgressBar {
public:
    ProgressBar() {
#ifdef Q_OS_UNIX
        interactive_ = ::isatty(STDOUT_FILENO) != 0;
#endif
    }
    void status(const QString& text) {
        endLine();
        out_ << text << Qt::endl;
    }
    void show(const firmware::FlashUpload& upload) {
        const int percent = upload.percent();
        const QString counts =
            firmware::progressText(upload.linesSent(), upload.lineCount(), upload.msLeft());
        if (interactive_) {
            const int filled = percent * BarWidth / 100;
            out_ << '\r' << '[' << QString(filled, QLatin1Char('#'))
                 << QString(BarWidth - filled, QLatin1Char('.')) << "] "
                 << QStringLiteral("%1%").arg(percent, 3) << "  " << counts << "\x1b[K"
                 << Qt::flush;
            onLine_ = true;
        } else if (percent / 10 != lastTenth_) {
            lastTenth_ = percent / 10;
            out_ << QStringLiteral("%1% ").arg(percent, 3) << counts << Qt::endl;
        }
    }
    void endLine() {
        if (onLine_)
            out_ << Qt::endl;
        onLine_ = false;
    }

private:
    QTextStream out_{stdout};
    bool interactive_ = false;
    bool onLine_ = false;
    int lastTenth_ = -1;
};

// --simulate: the simulated unit in this process, on a pseudo-terminal.
struct SimulatedPort {
#ifdef Q_OS_UNIX
    sim::SimulatedUnit unit;
    sim::PtyHost host{unit};
    QTemporaryDir dir;

    Result<QString> start() {
        if (!dir.isValid())
            return programError(ErrorKind::Unavailable,
                                QStringLiteral("cannot make a folder for the simulated unit"));
        const QString link = dir.filePath(QStringLiteral("mivel-unit"));
        if (Status started = host.start(link))
            return *std::move(started);
        return link;
    }
#else
    Result<QString> start() {
        return programError(ErrorKind::Unavailable,
                            QStringLiteral("the simulated unit needs pseudo-terminals"));
    }
#endif
};

int fail(const QString& line) {
    err() << "mivel: " << line << Qt::endl;
    return 1;
}

} // namespace

int runFlashCommand(const ProgramOptions& options, int& argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("mivel"));
    if (!quitOnStopSignals(&app))
        return fail(QStringLiteral("cannot watch for stop signals"));

    std::optional<SimulatedPort> simulated;
    QString device = options.portDevice;
    if (options.simulate) {
        simulated.emplace();
        const Result<QString> started = simulated->start();
        if (!started)
            return fail(QStringLiteral("cannot start the simulated unit: ") +
                        started.error().description);
        device = *started;
    }

    LinkHub hub(makeQtSerialDevice);
    Connector holder(hub);
    Serial& serial = hub.ensureSerial();
    serial.setDevicePath(device);
    // The port's lock file keeps a second program off a port that one already holds: a console
    // or driver server on the same unit refuses this upload here, before anything is sent.
    if (const Status opened = serial.setConnected(true))
        return fail(QStringLiteral("cannot open the serial port (is another program using "
                                   "it?): ") +
                    opened->description);

    TerminalPrompt prompt;
    firmware::FlashUpload upload(hub, prompt, std::make_shared<firmware::LoaderFlags>());
    ProgressBar bar;
    QObject::connect(&upload, &firmware::FlashUpload::statusChanged, &app,
                     [&bar](const QString& text) { bar.status(text); });
    QObject::connect(&upload, &firmware::FlashUpload::progressChanged, &app,
                     [&bar, &upload] { bar.show(upload); });

    std::optional<int> code;
    upload.run(options.flashFile).then([&code](int result) {
        code = result;
        QCoreApplication::exit(0);
    });
    if (!code)
        QCoreApplication::exec();
    bar.endLine();
    serial.setConnected(false);
    if (!code)
        return fail(QStringLiteral("the upload was stopped before its end"));
    if (*code == firmware::NoError) {
        QTextStream(stdout) << firmware::pageText(firmware::FlashWizard::Success).text << Qt::endl;
        return 0;
    }
    err() << firmware::errorPageText(*code) << Qt::endl;
    return FailedUploadBase + *code;
}

} // namespace mivel
