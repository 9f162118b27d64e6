#include "LinkHub.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcLink, "mivel.link")

namespace mivel {

LinkHub::LinkHub(SerialDeviceFactory makeDevice, Clock& clock, QString tracePath, QObject* parent)
    : QObject(parent)
    , makeDevice_(std::move(makeDevice))
    , clock_(clock)
    , tracePath_(std::move(tracePath))
    , waits_(clock)
    , reconnect_(clock) {
    reconnect_.setInterval(ReconnectPollMs);
    connect(&reconnect_, &Timer::timeout, this, &LinkHub::tryReopen);
}

LinkHub::~LinkHub() = default;

Serial& LinkHub::ensureSerial() {
    if (!serial_) {
        serial_ = std::make_unique<Serial>(makeDevice_(), tracePath_);
        connect(serial_.get(), &Serial::myEvent, this, &LinkHub::deliver);
        connect(serial_.get(), &Serial::portLost, this, &LinkHub::onLost);
        connect(serial_.get(), &Serial::connectedChanged, this, &LinkHub::onPortChanged);
        emit serialCreated();
    }
    return *serial_;
}

void LinkHub::addConnector() {
    ensureSerial();
    ++connectors_;
}

void LinkHub::releaseConnector() {
    if (--connectors_ > 0)
        return;
    connectors_ = 0;
    for (auto& work : teardown_)
        work();
    serial_.reset(); // closes the port
    reconnect_.stop();
    lost_ = false;
    emit lastConnectorGone();
}

LinkHub::Subscription LinkHub::subscribe(Audience audience, Receive receive) {
    const quint64 id = ++nextId_;
    receivers_.push_back({id, audience, std::move(receive), {}});
    return Subscription(this, id);
}

void LinkHub::unsubscribe(quint64 id) {
    std::erase_if(receivers_, [id](const Receiver& r) { return r.id == id; });
}

LinkHub::Subscription& LinkHub::Subscription::operator=(Subscription&& o) noexcept {
    if (this != &o) {
        reset();
        hub_ = std::exchange(o.hub_, nullptr);
        id_ = std::exchange(o.id_, 0);
    }
    return *this;
}

void LinkHub::Subscription::reset() {
    if (hub_ && id_)
        hub_->unsubscribe(id_);
    hub_ = nullptr;
    id_ = 0;
}

void LinkHub::onLost(const QString& reason) {
    if (lost_)
        return;
    qCWarning(lcLink).noquote() << "link to the unit lost:" << reason
                                << "- reopening it when it comes back";
    lost_ = true;
    reconnect_.start();
    emit linkLost(reason);
}

void LinkHub::onPortChanged(bool open) {
    lastChunkMs_ = clock_.nowMs();
    if (!open || !lost_)
        return;
    lost_ = false;
    reconnect_.stop();
    qCInfo(lcLink).noquote() << "link to the unit reopened on" << serial_->deviceName();
    emit linkRestored();
}

void LinkHub::tryReopen() {
    if (!serial_ || !lost_) {
        reconnect_.stop();
        return;
    }
    // The same device as before: a USB adapter comes back under the same name. A failed open
    // costs little, so no other check is made first.
    if (!serial_->connected())
        serial_->setConnected(true); // raises connectedChanged, which ends the loss
    else
        onPortChanged(true);
}

// A unit that stops answering while its device stays (its power went, its cable came out
// behind an adapter) raises no error: the silence tells.
void LinkHub::noteUnanswered() {
    if (lost_ || !serial_ || !serial_->connected())
        return;
    if (clock_.nowMs() - lastChunkMs_ < SilenceLimitMs)
        return;
    lost_ = true; // before the close, so that everyone who hears of it sees the loss
    serial_->setConnected(false);
    lost_ = false;
    onLost(QStringLiteral("the unit stopped answering"));
}

void LinkHub::deliver(const QByteArray& chunk) {
    lastChunkMs_ = clock_.nowMs();
    for (auto& r : receivers_)
        r.waiting.push_back(chunk);
    handOut();
    waits_.recheck();
    emit chunkDelivered();
}

void LinkHub::handOut() {
    // A receiver may subscribe or unsubscribe others while handling a chunk, or the event loop
    // may run inside its handler and deliver again; walk by id and take each receiver's chunks
    // from its own queue, so that the ones that left are skipped, the ones that joined wait for
    // the next chunk, and nobody gets a later chunk before an earlier one.
    std::vector<quint64> ids;
    ids.reserve(receivers_.size());
    for (const auto& r : receivers_)
        ids.push_back(r.id);
    for (quint64 id : ids) {
        for (;;) {
            const auto it = std::find_if(receivers_.begin(), receivers_.end(),
                                         [id](const Receiver& r) { return r.id == id; });
            if (it == receivers_.end() || it->waiting.empty())
                break;
            const QByteArray chunk = it->waiting.front();
            it->waiting.pop_front();
            if (it->audience == Audience::Console && firmwareTransfer_)
                continue;
            Receive receive = it->receive; // the receiver may unsubscribe itself
            receive(std::string_view(chunk.constData(), std::size_t(chunk.size())));
        }
    }
}

Connector::Connector(LinkHub& hub)
    : hub_(hub) {
    hub_.addConnector();
}

Connector::~Connector() {
    hub_.releaseConnector();
}

} // namespace mivel
