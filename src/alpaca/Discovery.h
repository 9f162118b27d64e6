#pragma once

#include <QHostAddress>
#include <QObject>

class QUdpSocket;

namespace mivel::alpaca {

// Alpaca discovery: answers a "alpacadiscovery1" datagram on UDP 32227 with the HTTP port, as
// {"AlpacaPort": n}. The socket shares its port with the other Alpaca servers of the machine.
// When the HTTP server listens on loopback only, only local clients are answered: a remote one
// could not reach the port it would be told.
class DiscoveryResponder : public QObject {
    Q_OBJECT
public:
    static constexpr quint16 DefaultPort = 32227;

    DiscoveryResponder(quint16 alpacaPort, QHostAddress httpAddress, QObject* parent = nullptr);
    ~DiscoveryResponder() override;

    // Port 0 takes any free port (tests); on failure says why in *error.
    bool start(quint16 port, QString* error);
    quint16 port() const;
    int answered() const { return answered_; }

    // Whether a datagram is a discovery request this server answers.
    static bool isDiscoveryRequest(const QByteArray& datagram);

private:
    void onReadyRead();

    quint16 alpacaPort_;
    QHostAddress httpAddress_;
    QUdpSocket* socket_;
    int answered_ = 0;
};

} // namespace mivel::alpaca
