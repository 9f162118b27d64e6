#include "Discovery.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkDatagram>
#include <QUdpSocket>

namespace mivel::alpaca {

DiscoveryResponder::DiscoveryResponder(quint16 alpacaPort, QHostAddress httpAddress,
                                       QObject* parent)
    : QObject(parent)
    , alpacaPort_(alpacaPort)
    , httpAddress_(std::move(httpAddress))
    , socket_(new QUdpSocket(this))
    , socket6_(new QUdpSocket(this)) {
    connect(socket_, &QUdpSocket::readyRead, this, [this] { answer(socket_); });
    connect(socket6_, &QUdpSocket::readyRead, this, [this] { answer(socket6_); });
}

DiscoveryResponder::~DiscoveryResponder() = default;

Status DiscoveryResponder::start(quint16 port) {
    // Broadcasts reach only a socket bound to every address; other Alpaca servers of the machine
    // bind the same port.
    const auto shared = QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint;
    if (!socket_->bind(QHostAddress::AnyIPv4, port, shared))
        return programError(ErrorKind::Unavailable, socket_->errorString());
    if (socket6_->bind(QHostAddress::AnyIPv6, socket_->localPort(), shared))
        socket6_->joinMulticastGroup(MulticastGroup);
    return {};
}

quint16 DiscoveryResponder::port() const {
    return socket_->localPort();
}

bool DiscoveryResponder::isDiscoveryRequest(const QByteArray& datagram) {
    // "alpacadiscovery" and a protocol version from 1 up; later versions are answered the same.
    static const QByteArray prefix = "alpacadiscovery";
    if (!datagram.startsWith(prefix) || datagram.size() == prefix.size())
        return false;
    const QByteArray version = datagram.mid(prefix.size());
    bool ok = false;
    return version.toInt(&ok) >= 1 && ok;
}

void DiscoveryResponder::answer(QUdpSocket* socket) {
    while (socket->hasPendingDatagrams()) {
        const QNetworkDatagram d = socket->receiveDatagram(1024);
        if (!d.isValid() || !isDiscoveryRequest(d.data()))
            continue;
        if (httpAddress_.isLoopback() && !d.senderAddress().isLoopback())
            continue;
        const QByteArray reply =
            QJsonDocument(QJsonObject{{"AlpacaPort", alpacaPort_}}).toJson(QJsonDocument::Compact);
        socket->writeDatagram(reply, d.senderAddress(), quint16(d.senderPort()));
        ++answered_;
    }
}

} // namespace mivel::alpaca
