// The Alpaca server over the real driver objects and the simulated unit: what clients see when
// the unit answers, when it goes silent, talks garbage, or drops off the line and comes back.

#include "LiveRig.h"

#include <QJsonArray>

using namespace mivel;
using namespace mivel::test;

class AlpacaLiveTest : public QObject {
    Q_OBJECT
    std::unique_ptr<LiveRig> rig;

    void connectFocuser() {
        const QJsonObject o = rig->putJson("/api/v1/focuser/0/connected", "Connected=true");
        QCOMPARE(o["ErrorNumber"].toInt(), 0);
        rig->unit->clearReceived();
    }

private slots:
    void init() {
        rig = std::make_unique<LiveRig>();
        QVERIFY(rig->listening);
    }
    void cleanup() { rig.reset(); }

    void focuserConnectsMovesAndArrives() {
        rig->unit->placeFocuser(1000, true);
        QCOMPARE(rig->getJson("/api/v1/focuser/0/connected")["Value"].toBool(), false);
        QCOMPARE(
            rig->putJson("/api/v1/focuser/0/connected", "Connected=true")["ErrorNumber"].toInt(),
            0);
        QCOMPARE(rig->unit->receivedBytes(), QByteArray("! V  T l "));
        QCOMPARE(rig->getJson("/api/v1/focuser/0/connected")["Value"].toBool(), true);

        QCOMPARE(rig->putJson("/api/v1/focuser/0/move", "Position=12500")["ErrorNumber"].toInt(),
                 0);
        QVERIFY(rig->unit->receivedBytes().endsWith("b12500 "));
        int position = 0;
        for (int i = 0; i < 200 && position != 12500; ++i) {
            rig->advance(250);
            position = rig->getJson("/api/v1/focuser/0/position")["Value"].toInt();
        }
        QCOMPARE(position, 12500);
        QCOMPARE(rig->getJson("/api/v1/focuser/0/ismoving")["Value"].toBool(), false);
        QCOMPARE(rig->getJson("/api/v1/focuser/0/maxstep")["Value"].toInt(), 40000);

        // Refused in the current mode: the object's own words, InvalidOperation.
        rig->putJson("/api/v1/focuser/0/tempcomp", "TempComp=true");
        const QJsonObject refused = rig->putJson("/api/v1/focuser/0/move", "Position=100");
        QCOMPARE(refused["ErrorNumber"].toInt(), 0x40B);
        QCOMPARE(refused["ErrorMessage"].toString(),
                 "Temperature compensation active, focus movement not allowed.");
    }

    void concurrentPollsShareOneStatusQuery() {
        connectFocuser();
        rig->advance(600);
        // Ten clients ask at the same moment: one " Q " goes to the unit, all are answered.
        std::vector<std::unique_ptr<HttpTestClient>> clients;
        for (int i = 0; i < 10; ++i) {
            clients.push_back(std::make_unique<HttpTestClient>(rig->port()));
            clients.back()->get("/api/v1/focuser/0/position");
        }
        for (auto& c : clients)
            QCOMPARE(rig->await(*c).json()["ErrorNumber"].toInt(-1), 0);
        QCOMPARE(rig->sent(" Q "), 1);
    }

    void twentyReadsOfASilentUnitEndOnTheirOwnWaits() {
        connectFocuser();
        const double before = rig->getJson("/api/v1/focuser/0/temperature")["Value"].toDouble();
        rig->unit->setSilent(true);
        rig->unit->clearReceived();
        std::vector<std::unique_ptr<HttpTestClient>> clients;
        for (int i = 0; i < 20; ++i) {
            clients.push_back(std::make_unique<HttpTestClient>(rig->port()));
            clients.back()->get("/api/v1/focuser/0/temperature?ClientTransactionID=" +
                                QByteArray::number(i + 1));
        }
        for (int i = 0; i < 20 && rig->sent(" T ") < 20; ++i)
            LiveRig::settle();
        QCOMPARE(rig->sent(" T "), 20); // every read is waiting at once
        // Each waits up to one second for its reading, then returns the last one it had.
        rig->advance(1010);
        for (int i = 0; i < 20; ++i) {
            const std::optional<HttpReply> r = clients[i]->take();
            QVERIFY2(r.has_value(), qPrintable(QString::number(i)));
            QCOMPARE(r->json()["ClientTransactionID"].toInt(), i + 1);
            QCOMPARE(r->json()["Value"].toDouble(), before);
        }
    }

    void connectingToASilentUnitFailsWithTheObjectsError() {
        rig->unit->setSilent(true);
        const qint64 start = rig->clock.nowMs();
        const QJsonObject o = rig->putJson("/api/v1/focuser/0/connected", "Connected=true");
        QCOMPARE(o["ErrorNumber"].toInt(), 0x500);
        QCOMPARE(o["ErrorMessage"].toString(), "No response from focuser");
        QVERIFY(rig->clock.nowMs() - start >= 2000); // four probes of 500 ms
        QCOMPARE(rig->unit->receivedBytes(), QByteArray("! ! ! ! "));

        // Platform 7 connect: answered at once; the failure comes with the poll that ends it.
        QCOMPARE(rig->putJson("/api/v1/rotator/0/connect", "")["ErrorNumber"].toInt(), 0);
        QCOMPARE(rig->getJson("/api/v1/rotator/0/connecting")["Value"].toBool(), true);
        rig->advance(4000);
        const QJsonObject polled = rig->getJson("/api/v1/rotator/0/connecting");
        QCOMPARE(polled["Value"].toBool(), false);
        QCOMPARE(polled["ErrorMessage"].toString(), "No response from Mivel");
    }

    void aUnitTalkingGarbageLeavesClientsAnswered() {
        connectFocuser();
        rig->unit->setRandomSeed(3);
        rig->unit->setGarbage(true);
        for (int i = 0; i < 5; ++i) {
            rig->advance(501);
            for (const char* m : {"position", "ismoving", "temperature"})
                QCOMPARE(rig->get(QByteArray("/api/v1/focuser/0/") + m).status, 200);
        }
        rig->unit->setGarbage(false);
        QCOMPARE(rig->putJson("/api/v1/focuser/0/move", "Position=2000")["ErrorNumber"].toInt(), 0);
    }

    void aUnitThatDropsOffTheLineAndComesBack() {
        connectFocuser();
        rig->unit->setHungUp(true);
        rig->advance(50);
        QVERIFY(!rig->ctx->hub().serial()->connected());
        // Reads still answer with the last values; commands say the port is gone.
        QCOMPARE(rig->getJson("/api/v1/focuser/0/position")["ErrorNumber"].toInt(), 0);
        const QJsonObject move = rig->putJson("/api/v1/focuser/0/move", "Position=3000");
        QCOMPARE(move["ErrorNumber"].toInt(), 0x407);
        QCOMPARE(move["ErrorMessage"].toString(), "Serial link not established");
        // Connecting while it is away fails: the port does not open, and then no probe is answered
        // (the object records the last error it met) ...
        const QJsonObject away = rig->putJson("/api/v1/focuser/0/connected", "Connected=true");
        QCOMPARE(away["ErrorNumber"].toInt(), 0x500);
        QCOMPARE(away["ErrorMessage"].toString(), "No response from focuser");
        // ... and works again once it is back.
        rig->unit->setHungUp(false);
        QCOMPARE(
            rig->putJson("/api/v1/focuser/0/connected", "Connected=true")["ErrorNumber"].toInt(),
            0);
        QCOMPARE(rig->putJson("/api/v1/focuser/0/move", "Position=3000")["ErrorNumber"].toInt(), 0);
        QVERIFY(rig->unit->receivedBytes().endsWith("b3000 "));
    }

    void rotatorAndTemperatureObjects() {
        QCOMPARE(
            rig->putJson("/api/v1/rotator/0/connected", "Connected=true")["ErrorNumber"].toInt(),
            0);
        rig->unit->clearReceived();
        rig->putJson("/api/v1/rotator/0/sync", "Position=90");
        QVERIFY(rig->unit->receivedBytes().endsWith(" p18000 "));
        const QJsonObject limit = rig->putJson("/api/v1/rotator/0/wraplimit", "WrapLimit=2001");
        QCOMPARE(limit["ErrorNumber"].toInt(), 0x401);
        QCOMPARE(limit["ErrorMessage"].toString(), "Illegal wrap limit value.");
        QCOMPARE(rig->getJson("/api/v1/rotator/0/wraplimit")["Value"].toInt(), 540);

        QCOMPARE(
            rig->putJson("/api/v1/switch/0/connected", "Connected=true")["ErrorNumber"].toInt(), 0);
        rig->putJson("/api/v1/switch/0/setswitchvalue", "Id=0&Value=1"); // automatic fan
        QJsonObject o = rig->putJson("/api/v1/switch/0/setswitchvalue", "Id=1&Value=50");
        QCOMPARE(o["ErrorNumber"].toInt(), 0x40B);
        QCOMPARE(o["ErrorMessage"].toString(), "Fan Mode is not Manual.");
        o = rig->putJson("/api/v1/switch/0/setswitchvalue", "Id=7&Value=150");
        QCOMPARE(o["ErrorNumber"].toInt(), 0x401);
        QCOMPARE(o["ErrorMessage"].toString(), "Dew heater 1 Power value out of range.");
        rig->unit->clearReceived();
        QCOMPARE(
            rig->putJson("/api/v1/switch/0/setswitchvalue", "Id=7&Value=30")["ErrorNumber"].toInt(),
            0);
        QCOMPARE(rig->unit->receivedBytes(), QByteArray("c30 "));
        rig->advance(1100);
        const QJsonObject ambient = rig->getJson("/api/v1/switch/0/getswitchvalue?Id=9");
        QCOMPARE(ambient["ErrorNumber"].toInt(), 0);
        QVERIFY(ambient["Value"].isDouble());
        QCOMPARE(rig->getJson("/api/v1/switch/0/temperatureunits")["Value"].toInt(), 1);
    }
};

QTEST_GUILESS_MAIN(AlpacaLiveTest)
#include "tst_alpaca_live.moc"
