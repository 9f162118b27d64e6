#include "PtyHost.h"

#ifdef Q_OS_UNIX

#include "SimulatedUnit.h"

#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSocketNotifier>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcPty, "mivel.sim.pty")

namespace mivel::sim {
namespace {

// Output the PC has not read yet is kept up to this much, like a unit's small buffer; beyond it
// the oldest replies are lost.
constexpr qsizetype PendingLimit = 64 * 1024;

QString systemError(const char* what) {
    return QStringLiteral("%1: %2").arg(QLatin1String(what),
                                        QString::fromLocal8Bit(strerror(errno)));
}

} // namespace

PtyHost::PtyHost(SimulatedUnit& unit, QObject* parent)
    : QObject(parent)
    , unit_(unit) {
    connect(&unit_, &SimulatedUnit::transmit, this, &PtyHost::writeToPc);
    connect(&unit_, &SimulatedUnit::hungUpChanged, this, [this](bool hungUp) {
        if (hungUp)
            this->hangUp();
    });
}

PtyHost::~PtyHost() {
    closeTerminal();
    removeLink();
}

Status PtyHost::start(const QString& linkPath) {
    const auto fail = [&](const QString& why, ErrorKind kind = ErrorKind::Unavailable) {
        closeTerminal();
        return programError(kind, why);
    };
    if (master_ >= 0)
        return fail(QStringLiteral("The pseudo-terminal is already running."),
                    ErrorKind::WrongMode);
    master_ = posix_openpt(O_RDWR | O_NOCTTY);
    if (master_ < 0)
        return fail(systemError("posix_openpt"));
    if (grantpt(master_) != 0 || unlockpt(master_) != 0)
        return fail(systemError("grantpt/unlockpt"));
    const char* name = ptsname(master_);
    if (!name)
        return fail(systemError("ptsname"));
    devicePath_ = QString::fromLocal8Bit(name);

    slave_ = ::open(name, O_RDWR | O_NOCTTY);
    if (slave_ < 0)
        return fail(systemError("open terminal"));
    termios tio{};
    if (tcgetattr(slave_, &tio) != 0)
        return fail(systemError("tcgetattr"));
    cfmakeraw(&tio);
    cfsetispeed(&tio, B9600);
    cfsetospeed(&tio, B9600);
    if (tcsetattr(slave_, TCSANOW, &tio) != 0)
        return fail(systemError("tcsetattr"));
    fcntl(master_, F_SETFL, fcntl(master_, F_GETFL) | O_NONBLOCK);

    if (!linkPath.isEmpty()) {
        const QFileInfo existing(linkPath);
        if (existing.isSymLink())
            QFile::remove(linkPath);
        else if (existing.exists())
            return fail(QStringLiteral("%1 exists and is not a symbolic link.").arg(linkPath));
        if (!QFile::link(devicePath_, linkPath))
            return fail(QStringLiteral("Cannot create the link %1.").arg(linkPath));
        linkPath_ = linkPath;
    }

    readable_ = new QSocketNotifier(master_, QSocketNotifier::Read, this);
    connect(readable_, &QSocketNotifier::activated, this, &PtyHost::readFromPc);
    writable_ = new QSocketNotifier(master_, QSocketNotifier::Write, this);
    writable_->setEnabled(false);
    connect(writable_, &QSocketNotifier::activated, this, &PtyHost::flush);
    return {};
}

void PtyHost::readFromPc() {
    char buffer[4096];
    const ssize_t n = ::read(master_, buffer, sizeof buffer);
    if (n > 0) {
        unit_.receive(QByteArray(buffer, qsizetype(n)));
        return;
    }
    if (n < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    // The slave side is held open, so this only happens when the terminal itself failed.
    qCWarning(lcPty) << "pseudo-terminal read failed:" << systemError("read");
    hangUp();
}

void PtyHost::writeToPc(const QByteArray& bytes) {
    if (master_ < 0)
        return;
    pending_ += bytes;
    if (pending_.size() > PendingLimit)
        pending_.remove(0, pending_.size() - PendingLimit);
    flush();
}

void PtyHost::flush() {
    while (!pending_.isEmpty()) {
        const ssize_t n = ::write(master_, pending_.constData(), size_t(pending_.size()));
        if (n > 0) {
            pending_.remove(0, qsizetype(n));
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        break; // the terminal's buffer is full: go on when it can take more
    }
    if (writable_)
        writable_->setEnabled(!pending_.isEmpty());
}

void PtyHost::hangUp() {
    closeTerminal();
}

void PtyHost::closeTerminal() {
    delete readable_;
    readable_ = nullptr;
    delete writable_;
    writable_ = nullptr;
    pending_.clear();
    if (slave_ >= 0)
        ::close(slave_);
    slave_ = -1;
    if (master_ >= 0)
        ::close(master_);
    master_ = -1;
}

void PtyHost::removeLink() {
    if (linkPath_.isEmpty())
        return;
    // Only the link this host made: another run may have replaced it since.
    const QFileInfo link(linkPath_);
    if (link.isSymLink() && link.symLinkTarget() == QFileInfo(devicePath_).absoluteFilePath())
        QFile::remove(linkPath_);
    linkPath_.clear();
}

} // namespace mivel::sim

#endif
