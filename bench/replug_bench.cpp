// Recovery after the unit is unplugged, as an Alpaca client sees it over real TCP: the simulated
// unit sits on a pseudo-terminal (paced at the line's real 9600 baud) that the server opens
// through the real serial port by a stable link name. Each round unplugs the unit, waits until
// the server has noticed, plugs it in again under the same name and polls the focuser's
// position every 20 ms until a poll answers without error.
//
// Reported per round and in summary: the time from the replug to the port being open again and
// to the first good reply.
//
// Usage: replug_bench [rounds, default 10]

#include "BenchServer.h"

#include "sim/PtyHost.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

using namespace mivel;

namespace {

// Runs the event loop until done() holds or ms pass; whether it held.
bool runUntil(const std::function<bool()>& done, qint64 ms) {
    QElapsedTimer t;
    t.start();
    while (!done()) {
        if (t.elapsed() > ms)
            return false;
        QEventLoop loop;
        QTimer::singleShot(2, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

// One request on a fresh connection; the answer's ErrorNumber, or -1 when none came.
int request(quint16 port, const QByteArray& method, const QByteArray& target,
            const QByteArray& form = {}) {
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, port);
    QByteArray head =
        method + ' ' + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n";
    if (!form.isEmpty())
        head += "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: " +
                QByteArray::number(form.size()) + "\r\n";
    socket.write(head + "\r\n" + form);
    QByteArray answer;
    QObject::connect(&socket, &QTcpSocket::readyRead, [&] { answer += socket.readAll(); });
    runUntil([&] { return socket.state() == QAbstractSocket::UnconnectedState; }, 20'000);
    answer += socket.readAll();
    const qsizetype body = answer.indexOf("\r\n\r\n");
    if (body < 0)
        return -1;
    return QJsonDocument::fromJson(answer.mid(body + 4)).object()["ErrorNumber"].toInt(-1);
}

// The server on the real serial port, the unit on a pseudo-terminal under a stable link name.
struct Rig : bench::BenchServer {
    Rig()
        : BenchServer(makeQtSerialDevice) {
        plugIn();
        ctx->settings().portDevice = link;
    }
    ~Rig() override { stop(); } // while the terminal is still there
    void plugIn() {
        if (const Status started = host.start(link))
            qFatal("cannot start the terminal: %s", qPrintable(started->description));
    }

    QString link = dir.filePath(QStringLiteral("unit"));
    sim::PtyHost host{unit};
};

void summary(const char* what, std::vector<qint64> ms) {
    std::sort(ms.begin(), ms.end());
    std::printf("%-28s min %5lld  median %5lld  max %5lld ms\n", what, ms.front(),
                ms[ms.size() / 2], ms.back());
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 10;
    Rig rig;
    if (request(rig.port(), "PUT", "/api/v1/focuser/0/connected", "Connected=true") != 0)
        qFatal("the focuser did not connect");

    std::vector<qint64> reopened;
    std::vector<qint64> firstGood;
    for (int round = 0; round < rounds; ++round) {
        rig.host.hangUp();
        if (!runUntil([&] { return rig.ctx->hub().lost(); }, 10'000))
            qFatal("the loss was not noticed");
        // Away for a moment that falls differently against the server's one-second polls.
        runUntil([] { return false; }, 300 + 137 * round % 700);

        QElapsedTimer sinceReplug;
        qint64 openAt = -1;
        QMetaObject::Connection restored = QObject::connect(
            &rig.ctx->hub(), &LinkHub::linkRestored, [&] { openAt = sinceReplug.elapsed(); });
        rig.plugIn();
        sinceReplug.start();
        int polls = 0;
        while (request(rig.port(), "GET", "/api/v1/focuser/0/position") != 0) {
            if (++polls > 500)
                qFatal("no good reply after the replug");
            runUntil([] { return false; }, 20);
        }
        const qint64 good = sinceReplug.elapsed();
        QObject::disconnect(restored);
        std::printf("round %2d: port open again after %5lld ms, first good reply after %5lld ms\n",
                    round + 1, openAt, good);
        reopened.push_back(openAt);
        firstGood.push_back(good);
    }
    summary("replug to port open:", reopened);
    summary("replug to first good reply:", firstGood);
    return 0;
}
