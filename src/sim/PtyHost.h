#pragma once

#include <QtGlobal>

#ifdef Q_OS_UNIX

#include "core/Error.h"

#include <QByteArray>
#include <QObject>
#include <QString>

class QSocketNotifier;

namespace mivel::sim {

class SimulatedUnit;

// Puts the simulated unit on a pseudo-terminal, so that any program that opens serial ports
// (this one through QSerialPort, a terminal program, socat) can talk to it. A symbolic link with
// a stable name points at the terminal's device, whose number changes from run to run.
class PtyHost : public QObject {
    Q_OBJECT
public:
    explicit PtyHost(SimulatedUnit& unit, QObject* parent = nullptr);
    // Closes the terminal and removes the link, if it is still ours.
    ~PtyHost() override;

    // Creates the terminal in raw mode and links linkPath to it, replacing a stale link. A
    // path that exists and is not a symbolic link is left alone and reported.
    Status start(const QString& linkPath);
    // The terminal device the program on the other end opens (through the link or directly).
    QString devicePath() const { return devicePath_; }
    QString linkPath() const { return linkPath_; }
    bool isRunning() const { return master_ >= 0; }

    // Drops the line: the terminal's controlling side closes, and a program reading the
    // device gets a read error, as when the unit is unplugged.
    void hangUp();

private:
    void readFromPc();
    void writeToPc(const QByteArray& bytes);
    void flush();
    void closeTerminal();
    void removeLink();

    SimulatedUnit& unit_;
    int master_ = -1;
    int slave_ = -1; // held open so that the terminal outlives the programs that come and go
    QSocketNotifier* readable_ = nullptr;
    QSocketNotifier* writable_ = nullptr;
    QByteArray pending_;
    QString devicePath_;
    QString linkPath_;
};

} // namespace mivel::sim

#endif
