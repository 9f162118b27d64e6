#include "LinkHub.h"

#include <QLoggingCategory>

namespace mivel {

LinkHub::LinkHub(SerialDeviceFactory makeDevice, Clock& clock, QString tracePath, QObject* parent)
    : QObject(parent)
    , makeDevice_(std::move(makeDevice))
    , clock_(clock)
    , tracePath_(std::move(tracePath))
    , waits_(clock) {}

LinkHub::~LinkHub() = default;

Serial& LinkHub::ensureSerial() {
    if (!serial_) {
        serial_ = std::make_unique<Serial>(makeDevice_(), tracePath_);
        connect(serial_.get(), &Serial::myEvent, this, &LinkHub::deliver);
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

void LinkHub::deliver(const QByteArray& chunk) {
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
