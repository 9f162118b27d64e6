#pragma once

#include "Serial.h"
#include "SerialDevice.h"
#include "core/Clock.h"
#include "core/Waits.h"

#include <QObject>
#include <QPointer>

#include <deque>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

namespace mivel {

// The sharing of the one serial link. Every window or object that talks to the unit holds a
// Connector; the first one creates the shared Serial, the last one tears the link down. Every
// received chunk is broadcast to every receiver, in subscription order, and then the pending
// waits are rechecked.
//
// A receiver may open a modal prompt while it handles a chunk; the event loop then runs inside
// it, and later chunks are broadcast meanwhile, to the prompting receiver too. Each receiver
// still gets the chunks in the order they arrived: one that had not yet had the earlier chunk
// gets it first.
class LinkHub : public QObject {
    Q_OBJECT
public:
    enum class Audience {
        Console, // consoles stop receiving while a firmware transfer reads the port itself
        Driver,
    };
    using Receive = std::function<void(std::string_view chunk)>;

    explicit LinkHub(SerialDeviceFactory makeDevice, Clock& clock = Clock::system(),
                     QString tracePath = {}, QObject* parent = nullptr);
    ~LinkHub() override;

    // The shared Serial, or nullptr before the first connector (or ensureSerial()).
    Serial* serial() const { return serial_.get(); }
    // Creates the shared Serial if there is none: the one job of the program's start.
    Serial& ensureSerial();
    int connectorCount() const { return connectors_; }

    // While a firmware transfer runs, no chunk is handed to a console.
    bool firmwareTransfer() const { return firmwareTransfer_; }
    void setFirmwareTransfer(bool on) { firmwareTransfer_ = on; }

    Clock& clock() const { return clock_; }
    Waits& waits() { return waits_; }

    // A receiver stays subscribed while the returned handle lives.
    class Subscription {
    public:
        Subscription() = default;
        Subscription(Subscription&& o) noexcept { *this = std::move(o); }
        Subscription& operator=(Subscription&& o) noexcept;
        Subscription(const Subscription&) = delete;
        Subscription& operator=(const Subscription&) = delete;
        ~Subscription() { reset(); }
        void reset();

    private:
        friend class LinkHub;
        Subscription(LinkHub* hub, quint64 id)
            : hub_(hub)
            , id_(id) {}
        QPointer<LinkHub> hub_;
        quint64 id_ = 0;
    };
    [[nodiscard]] Subscription subscribe(Audience audience, Receive receive);
    int receiverCount() const { return int(receivers_.size()); }

    // Work to do when the last connector goes: close the shared data file, stop the
    // process-wide timer, release outside programs' objects. Runs before lastConnectorGone.
    void addTeardown(std::function<void()> work) { teardown_.push_back(std::move(work)); }

    // Delivers a chunk as if the shared Serial had received it.
    void deliver(const QByteArray& chunk);

    // Recovery of a lost port. When the port goes away while open (its device fails), or a
    // linked object's queries go unanswered while nothing at all arrives for SilenceLimitMs, the
    // link counts as lost: the port is closed, and every ReconnectPollMs the hub tries to open
    // the same device again until it opens (or anyone else opens it).
    static constexpr qint64 ReconnectPollMs = 1000;
    static constexpr qint64 SilenceLimitMs = 3000;
    bool lost() const { return lost_; }
    // A linked object's query ended without its reply.
    void noteUnanswered();

signals:
    // A connector created the shared Serial: the shared values it clears are cleared by the
    // slots of this signal.
    void serialCreated();
    // The last connector went: the link is torn down and the process should end with exit code
    // 0, unless the process model says otherwise (the console decides).
    void lastConnectorGone();
    // A received chunk reached every receiver.
    void chunkDelivered();
    // The port went away; the hub is trying to open it again.
    void linkLost(const QString& reason);
    // The port is open again after a loss: whoever had linked links again.
    void linkRestored();

private:
    friend class Connector;
    void addConnector();
    void releaseConnector();
    void unsubscribe(quint64 id);

    void handOut();
    void onLost(const QString& reason);
    void onPortChanged(bool open);
    void tryReopen();

    struct Receiver {
        quint64 id;
        Audience audience;
        Receive receive;
        std::deque<QByteArray> waiting; // chunks this receiver has not had yet
    };

    SerialDeviceFactory makeDevice_;
    Clock& clock_;
    QString tracePath_;
    std::unique_ptr<Serial> serial_;
    Waits waits_;
    std::vector<Receiver> receivers_;
    quint64 nextId_ = 0;
    int connectors_ = 0;
    bool firmwareTransfer_ = false;
    std::vector<std::function<void()>> teardown_;
    bool lost_ = false;
    Timer reconnect_;
    qint64 lastChunkMs_ = 0;
};

// A holder of the shared link. Creating one adds a user; destroying the last one tears the link
// down.
class Connector {
public:
    explicit Connector(LinkHub& hub);
    ~Connector();
    Connector(const Connector&) = delete;
    Connector& operator=(const Connector&) = delete;

    // The shared Serial ("Class" of the holder).
    Serial& serial() const { return *hub_.serial(); }
    LinkHub& hub() const { return hub_; }

private:
    LinkHub& hub_;
};

} // namespace mivel
