#pragma once

#include "core/Error.h"

#include <QHostAddress>
#include <QObject>

class QUdpSocket;

namespace mivel::alpaca {

// Alpaca discovery: answers a "alpacadiscovery1" datagram on UDP 32227 with the HTTP port, as
// {"AlpacaPort": n}: IPv4 broadcasts, and IPv6 datagrams to the Alpaca multicast group
// ff12::a1:9aca where the machine has IPv6. The sockets share their port with the other Alpaca
// servers of the machine.
// When the HTTP server listens on loopback only, only local clients are answered: a remote one
// could not reach the port it would be told.
class DiscoveryResponder : public QObject {
    Q_OBJECT
public:
    static constexpr quint16 DefaultPort = 32227;
    static inline const QHostAddress MulticastGroup{QStringLiteral("ff12::a1:9aca")};

    DiscoveryResponder(quint16 alpacaPort, QHostAddress httpAddress, QObject* parent = nullptr);
    ~DiscoveryResponder() override;

    // Port 0 takes any free port (tests). Fails, as unavailable with the reason, only when IPv4
    // cannot be served; IPv6 is served where it can be.
    Status start(quint16 port);
    quint16 port() const;
    int answered() const { return answered_; }

    // Whether a datagram is a discovery request this server answers.
    static bool isDiscoveryRequest(const QByteArray& datagram);

private:
    void answer(QUdpSocket* socket);

    quint16 alpacaPort_;
    QHostAddress httpAddress_;
    QUdpSocket* socket_;
    QUdpSocket* socket6_;
    int answered_ = 0;
};

} // namespace mivel::alpaca
