// The Alpaca server under load, as clients see it over real TCP: the server, the driver objects
// and the simulated unit (paced at the line's real 9600 baud) run in the main thread as in the
// mivel program; the clients run in a second thread with their own event loop.
//
//   1. 32 clients polling cached reads as fast as they can: requests/s, p50 and p99 latency.
//   2. 1..64 clients each polling position and ismoving at 10 Hz: commands written to the unit
//      per second, which must stay at the focuser's bound of one status query per 500 ms.
//   3. 20 clients reading the focuser's temperature at once from a silent unit: total time.
//   4. As 1, with the focuser's temperature too.
//   5. 32 clients each polling every standard status read of the three devices at 10 Hz while
//      the focuser and the rotator move: p99 of the reads, and the status and temperature
//      queries written to the unit per second.
//   6. 1..64 callers of the focuser object's temperature (the console and the other callers
//      that do not go through the Alpaca server's mirror), each reading at 10 Hz: " T " written
//      per second against the replies the line carries, which must stay level.
//
// Usage: alpaca_bench [seconds per run, default 5]

#include "BenchServer.h"

#include "wire/Tokeniser.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

using namespace mivel;
using mivel::bench::BenchServer;

namespace {

// One keep-alive client: sends a GET, waits for the whole answer, records how long it took, and
// sends the next one at once (closed loop) or on its next 100 ms tick (10 Hz).
class Client : public QObject {
public:
    Client(quint16 port, QList<QByteArray> targets, int periodMs)
        : targets_(std::move(targets))
        , periodMs_(periodMs) {
        socket_.setParent(this);
        connect(&socket_, &QTcpSocket::readyRead, this, &Client::onReadyRead);
        connect(&socket_, &QTcpSocket::connected, this, &Client::send);
        socket_.connectToHost(QHostAddress::LocalHost, port);
        if (periodMs_ > 0) {
            tick_.setParent(this);
            connect(&tick_, &QTimer::timeout, this, [this] {
                if (!inFlight_)
                    send();
            });
            tick_.start(periodMs_);
        }
    }
    void stop() {
        stopped_ = true;
        tick_.stop();
    }
    std::vector<qint64> latenciesNs;
    int errors = 0;

private:
    void send() {
        if (stopped_ || inFlight_)
            return;
        inFlight_ = true;
        const QByteArray& target = targets_[next_++ % targets_.size()];
        sentAt_.start();
        socket_.write("GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
    }
    void onReadyRead() {
        in_ += socket_.readAll();
        const qsizetype end = in_.indexOf("\r\n\r\n");
        if (end < 0)
            return;
        const qsizetype at = in_.indexOf("Content-Length: ");
        const qsizetype length = in_.mid(at + 16, in_.indexOf('\r', at) - at - 16).toLongLong();
        if (in_.size() < end + 4 + length)
            return;
        const QByteArray body = in_.mid(end + 4, length);
        in_.remove(0, end + 4 + length);
        latenciesNs.push_back(sentAt_.nsecsElapsed());
        if (!body.contains("\"ErrorNumber\":0"))
            ++errors;
        inFlight_ = false;
        if (periodMs_ == 0)
            send();
    }

    QTcpSocket socket_;
    QTimer tick_;
    QList<QByteArray> targets_;
    int periodMs_;
    int next_ = 0;
    bool inFlight_ = false;
    bool stopped_ = false;
    QElapsedTimer sentAt_;
    QByteArray in_;
};

// The client thread: creates and stops clients on request.
class Load : public QObject {
public:
    void startClients(quint16 port, int count, QList<QByteArray> targets, int periodMs) {
        for (int i = 0; i < count; ++i) {
            QList<QByteArray> mine = targets;
            std::rotate(mine.begin(), mine.begin() + i % mine.size(), mine.end());
            clients_.push_back(std::make_unique<Client>(port, mine, periodMs));
        }
    }
    // Stops and removes the clients; their latencies, and the number of error replies.
    std::pair<std::vector<qint64>, int> finish() {
        std::vector<qint64> all;
        int errors = 0;
        for (auto& c : clients_) {
            c->stop();
            all.insert(all.end(), c->latenciesNs.begin(), c->latenciesNs.end());
            errors += c->errors;
        }
        clients_.clear();
        return {all, errors};
    }
    int answered() const {
        int n = 0;
        for (const auto& c : clients_)
            n += int(c->latenciesNs.size());
        return n;
    }

private:
    std::vector<std::unique_ptr<Client>> clients_;
};

void runFor(qint64 ms) {
    QEventLoop loop;
    QTimer::singleShot(int(ms), &loop, &QEventLoop::quit);
    loop.exec();
}

template <class F> auto inLoadThread(Load& load, F f) {
    std::invoke_result_t<F, Load&> result;
    QMetaObject::invokeMethod(
        &load, [&] { result = f(load); }, Qt::BlockingQueuedConnection);
    return result;
}

double percentileMs(std::vector<qint64>& v, double p) {
    if (v.empty())
        return 0;
    std::sort(v.begin(), v.end());
    return double(v[std::min(v.size() - 1, size_t(p * double(v.size())))]) / 1e6;
}

// A request from the main thread, answered while the server runs.
void request(quint16 port, const QByteArray& method, const QByteArray& target,
             const QByteArray& form = {}) {
    QTcpSocket s;
    s.connectToHost(QHostAddress::LocalHost, port);
    s.waitForConnected();
    s.write(method + " " + target +
            " HTTP/1.1\r\nContent-Length: " + QByteArray::number(form.size()) + "\r\n\r\n" + form);
    QByteArray in;
    QEventLoop loop;
    QObject::connect(&s, &QTcpSocket::readyRead, &loop, [&] {
        in += s.readAll();
        if (in.contains("\r\n\r\n{") && in.endsWith('}'))
            loop.quit();
    });
    loop.exec();
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    const qint64 runMs = (argc > 1 ? QByteArray(argv[1]).toInt() : 5) * 1000;

    BenchServer s;
    const quint16 port = s.port();
    request(port, "PUT", "/api/v1/focuser/0/connected", "Connected=true");
    request(port, "PUT", "/api/v1/switch/0/connected", "Connected=true");
    request(port, "PUT", "/api/v1/rotator/0/connected", "Connected=true");

    QThread thread;
    Load load;
    load.moveToThread(&thread);
    thread.start();

    // 32 clients reading as fast as they are answered.
    auto closedLoop = [&](const char* label, const QList<QByteArray>& reads) {
        inLoadThread(load, [&](Load& l) {
            l.startClients(port, 32, reads, 0);
            return 0;
        });
        runFor(runMs);
        auto [lat, errors] = inLoadThread(load, [](Load& l) { return l.finish(); });
        std::printf("%s:\n   %.0f requests/s, p50 %.2f ms, p99 %.2f ms, %d error replies\n", label,
                    double(lat.size()) * 1000.0 / double(runMs), percentileMs(lat, 0.5),
                    percentileMs(lat, 0.99), errors);
    };

    // 1. Cached reads.
    closedLoop("1. 32 clients, cached reads (focuser position, ismoving; ambient temperature "
               "switch)",
               {"/api/v1/focuser/0/position", "/api/v1/focuser/0/ismoving",
                "/api/v1/switch/0/getswitchvalue?Id=9"});

    // 2. Commands to the unit as clients grow, each polling at 10 Hz.
    std::printf("2. clients polling position and ismoving at 10 Hz each:\n"
                "   clients  requests/s  commands/s  \" Q \"/s  p99 ms\n");
    const QList<QByteArray> polls{"/api/v1/focuser/0/position", "/api/v1/focuser/0/ismoving"};
    for (int clients : {1, 2, 4, 8, 16, 32, 64}) {
        runFor(600); // the previous run's last query is out of the way
        s.unit.clearReceived();
        inLoadThread(load, [&](Load& l) {
            l.startClients(port, clients, polls, 100);
            return 0;
        });
        runFor(runMs);
        auto [lat, errors] = inLoadThread(load, [](Load& l) { return l.finish(); });
        const QByteArray sent = s.unit.receivedBytes();
        const double seconds = double(runMs) / 1000.0;
        int commands = 0; // each command is one word between spaces
        for (const QByteArray& word : sent.split(' '))
            commands += word.isEmpty() ? 0 : 1;
        std::printf("   %7d  %10.0f  %10.1f  %7.1f  %6.2f%s\n", clients,
                    double(lat.size()) / seconds, commands / seconds,
                    double(sent.count(" Q ")) / seconds, percentileMs(lat, 0.99),
                    errors ? " (errors)" : "");
    }

    // 3. Twenty reads at once from a silent unit.
    {
        runFor(600);
        s.unit.setSilent(true);
        QElapsedTimer total;
        total.start();
        inLoadThread(load, [&](Load& l) {
            l.startClients(port, 20, {"/api/v1/focuser/0/temperature"}, 60'000);
            return 0;
        });
        while (inLoadThread(load, [](Load& l) { return l.answered(); }) < 20)
            runFor(5);
        const qint64 ms = total.elapsed();
        auto [lat, errors] = inLoadThread(load, [](Load& l) { return l.finish(); });
        std::printf("3. 20 concurrent temperature reads, silent unit (one wait of 1000 ms):\n"
                    "   all answered in %lld ms (slowest %.0f ms, fastest %.0f ms)\n",
                    (long long)ms, percentileMs(lat, 1.0), percentileMs(lat, 0.0));
        s.unit.setSilent(false);
    }

    // 4. The temperature is read from the unit at most once a second, whatever the clients do.
    runFor(1100);
    closedLoop("4. 32 clients, focuser position, ismoving and temperature",
               {"/api/v1/focuser/0/position", "/api/v1/focuser/0/ismoving",
                "/api/v1/focuser/0/temperature"});

    // 5. Every standard status read, while the focuser and the rotator move to and fro.
    {
        runFor(1100);
        s.unit.setRotatorSpeed(200); // one degree a second: the rotator keeps moving
        s.unit.setFocusSpeed(500);
        request(port, "PUT", "/api/v1/focuser/0/move", "Position=20000");
        request(port, "PUT", "/api/v1/rotator/0/moveabsolute", "Position=180");
        const QList<QByteArray> reads{
            "/api/v1/focuser/0/position",          "/api/v1/focuser/0/ismoving",
            "/api/v1/focuser/0/temperature",       "/api/v1/rotator/0/position",
            "/api/v1/rotator/0/ismoving",          "/api/v1/rotator/0/targetposition",
            "/api/v1/switch/0/getswitchvalue?Id=9"};
        // The first read of a device waits for one query; the figures are for the steady state.
        for (const QByteArray& target : reads)
            request(port, "GET", target);
        s.unit.clearReceived();
        inLoadThread(load, [&](Load& l) {
            l.startClients(port, 32, reads, 100);
            return 0;
        });
        runFor(runMs);
        auto [lat, errors] = inLoadThread(load, [](Load& l) { return l.finish(); });
        const QByteArray sent = s.unit.receivedBytes();
        const double seconds = double(runMs) / 1000.0;
        std::printf("5. 32 clients polling every standard read at 10 Hz, devices moving:\n"
                    "   %.0f requests/s, p50 %.2f ms, p99 %.2f ms, max %.2f ms, %d error replies\n"
                    "   per second: \" Q \" %.1f (focuser), \" R \" %.1f (rotator), "
                    "\"T \" %.1f (temperatures)\n",
                    double(lat.size()) / seconds, percentileMs(lat, 0.5), percentileMs(lat, 0.99),
                    percentileMs(lat, 1.0), errors, double(sent.count(" Q ")) / seconds,
                    double(sent.count(" R ")) / seconds, double(sent.count("T ")) / seconds);
    }

    // 6. The focuser object's temperature read by many callers at once.
    {
        s.unit.setRotatorSpeed(0);
        s.unit.setFocusSpeed(0);
        std::printf("6. callers of the focuser object's temperature, each at 10 Hz:\n"
                    "   callers  \" T \"/s  replies/s  reads/s\n");
        Focuser& focuser = s.drivers->focuser();
        int replies = 0; // the temperature replies that reached the program
        wire::Tokeniser tokeniser;
        const LinkHub::Subscription heard =
            s.ctx->hub().subscribe(LinkHub::Audience::Driver, [&](std::string_view chunk) {
                tokeniser.feed(chunk, [&](std::string_view tag, std::string_view value) {
                    replies += tag == ":t1" && !value.empty() ? 1 : 0;
                });
            });
        for (int callers : {1, 4, 16, 64}) {
            runFor(1100);
            s.unit.clearReceived();
            replies = 0;
            int answered = 0;
            int outstanding = 0;
            QTimer tick;
            QObject::connect(&tick, &QTimer::timeout, [&] {
                // Each caller reads again once its last read has ended.
                while (outstanding < callers) {
                    ++outstanding;
                    focuser.temperature().then([&](const std::optional<double>&) {
                        --outstanding;
                        ++answered;
                    });
                }
            });
            tick.start(100);
            runFor(runMs);
            tick.stop();
            const double seconds = double(runMs) / 1000.0;
            const QByteArray sent = s.unit.receivedBytes();
            std::printf("   %7d  %7.1f  %9.1f  %7.1f\n", callers,
                        double(sent.count(" T ")) / seconds, double(replies) / seconds,
                        double(answered) / seconds);
            while (outstanding > 0)
                runFor(50);
        }
    }

    thread.quit();
    thread.wait();
    return 0;
}
