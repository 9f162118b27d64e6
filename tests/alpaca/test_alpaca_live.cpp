// The Alpaca server over the real driver objects and the simulated unit: what clients see when
// the unit answers, when it goes silent, talks garbage, or drops off the line and comes back
// (on an in-memory line, and unplugged and plugged in again on a real terminal).

#include "HttpTestClient.h"
#include "support/TestRig.h"

#include "alpaca/DriverServer.h"
#include "app/AppContext.h"
#include "app/SettingsKey.h"
#include "drivers/DriverErrors.h"
#include "drivers/DriverSet.h"
#include "drivers/Focuser.h"
#include "drivers/Rotator.h"
#include "link/SerialDevice.h"
#include "records/StoredPositions.h"
#include "sim/OutputLine.h"
#include "sim/PtyHost.h"
#include "sim/SimDevice.h"
#include "sim/SimulatedUnit.h"

#include <QJsonArray>
#include <QTest>

using namespace mivel;
using namespace mivel::test;

namespace {

// The whole server as the mivel program builds it, on a free loopback port: the real driver
// objects, the link, and the simulated unit behind an in-memory line, with time on a manual
// clock so that a 500 ms wait for a reply costs nothing. On a terminal, the unit sits on a
// pseudo-terminal that the link opens through the real serial port by its link's name.
struct LiveRig : TestRig, HttpRig {
    explicit LiveRig(bool onTerminal = false)
        : onTerminal(onTerminal) {
        // The terminal's bytes travel in real time: each step of the clock gives them a moment.
        if (onTerminal)
            realMsPerStep = 1;
    }
    const bool onTerminal;
    sim::SimulatedUnit unit{clock};
    sim::PtyHost host{unit};
    AppContext ctx{std::make_unique<MemorySettingsStore>(), std::make_unique<ScriptedPrompt>(),
                   [this] { return onTerminal ? makeQtSerialDevice() : sim::makeSimDevice(unit); },
                   AppPaths::inDirectory(dir.path()), clock};
    records::StoredPositions positions{dir.path()};
    DriverSet drivers{ctx, &positions};
    alpaca::DriverServer server{ctx, drivers, [] {
                                    ServeOptions o;
                                    o.alpacaPort = 0; // any free one
                                    return o;
                                }()};
    bool listening = !server.start();

    quint16 port() const override { return server.port(); }

    QString linkPath() const { return dir.filePath(QStringLiteral("unit")); }
    // Plugs the unit in (again) under the same name.
    bool plugIn() {
        if (const Status started = host.start(linkPath()))
            qWarning() << started->description;
        ctx.settings().portDevice = linkPath();
        return host.isRunning();
    }

    // Moves time on in small steps, letting the line, the drivers and the sockets work.
    void advance(qint64 ms) { TestRig::advance(ms, 5); }
    // The next answer on c, moving time on while it is awaited; status 0 if none in 20 s.
    HttpReply await(HttpTestClient& c) override {
        std::optional<HttpReply> r;
        for (qint64 t = 0; t < 20'000 && !(r = c.take()); t += 5)
            advance(5);
        return r.value_or(HttpReply{});
    }
    int sent(const QByteArray& command) const { return int(unit.receivedBytes().count(command)); }
};

} // namespace

class AlpacaLiveTest : public QObject {
    Q_OBJECT
    std::unique_ptr<LiveRig> rig;

    // What a PUT came to: "0", or the error number in hex and the message.
    QString outcome(const QByteArray& target, const QByteArray& form) {
        const QJsonObject o = rig->put(target, form);
        const QString message = o["ErrorMessage"].toString();
        return QString::number(o["ErrorNumber"].toInt(-1), 16) +
               (message.isEmpty() ? "" : " " + message);
    }
    void connectFocuser() { connectDevice("focuser"); }
    void connectDevice(const QByteArray& type) {
        QCOMPARE(outcome("/api/v1/" + type + "/0/connected", "Connected=true"), "0");
        rig->unit.clearReceived();
    }
    QJsonValue value(const QByteArray& target) { return rig->get(target)["Value"]; }
    // Reads ismoving every 100 ms until it is false; how long that took.
    qint64 untilStill(const QByteArray& type) {
        const qint64 start = rig->clock.nowMs();
        while (value("/api/v1/" + type + "/0/ismoving").toBool(true) &&
               rig->clock.nowMs() - start < 30'000)
            rig->advance(100);
        return rig->clock.nowMs() - start;
    }
    // The commands the unit received, without the status and temperature queries.
    QByteArrayList commands() const {
        QByteArrayList out;
        for (const QByteArray& word : rig->unit.receivedBytes().split(' '))
            if (!word.isEmpty() && word != "Q" && word != "R" && word != "T")
                out << word;
        return out;
    }
    // Clients asking at the same moment, with transaction ids from 1.
    std::vector<std::unique_ptr<HttpTestClient>> clientsGet(int count, const QByteArray& target) {
        std::vector<std::unique_ptr<HttpTestClient>> clients;
        for (int i = 0; i < count; ++i) {
            clients.push_back(std::make_unique<HttpTestClient>(rig->port()));
            clients.back()->request("GET",
                                    target + "?ClientTransactionID=" + QByteArray::number(i + 1));
        }
        return clients;
    }

private slots:
    void init() {
        rig = std::make_unique<LiveRig>();
        QVERIFY(rig->listening);
    }
    void cleanup() { rig.reset(); }

    void scriptsReadTheStoredPositions() {
        records::RecordList& focus = rig->positions.focus();
        QVERIFY(!focus.save(1, {QStringLiteral("Moon"), 12500, 45.5f}, true));
        QVERIFY(!focus.save(2, {QStringLiteral("Jupiter"), 12620, 44}, true));
        QVERIFY(!rig->positions.rotator().save(1, {QStringLiteral("North up"), 0, 0}, true));
        for (const char* type : {"focuser", "rotator"}) {
            const QJsonArray actions =
                rig->get("/api/v1/" + QByteArray(type) + "/0/supportedactions")["Value"].toArray();
            const QString name = qstrcmp(type, "focuser") == 0 ? "FocusRecords" : "RotatorRecords";
            QVERIFY2(actions.contains(name), type);
        }
        // Read from the lists the editors keep: no link to the unit needed.
        QJsonObject reply = rig->put("/api/v1/focuser/0/action", "Action=FocusRecords&Parameters=");
        QCOMPARE(reply["ErrorNumber"].toInt(), 0);
        QCOMPARE(
            reply["Value"].toString(),
            QStringLiteral("[{\"Description\":\"Moon\",\"Position\":12500,\"Temperature\":45.5},"
                           "{\"Description\":\"Jupiter\",\"Position\":12620,"
                           "\"Temperature\":44}]"));
        reply = rig->put("/api/v1/rotator/0/action", "Action=RotatorRecords&Parameters=");
        QCOMPARE(reply["Value"].toString(),
                 QStringLiteral("[{\"Description\":\"North up\",\"Position\":0}]"));
        // One record by its number; a number the list does not have is out of range.
        reply = rig->put("/api/v1/focuser/0/action", "Action=FocusRecord&Parameters=2");
        QCOMPARE(reply["Value"].toString(),
                 QStringLiteral("{\"Description\":\"Jupiter\",\"Position\":12620,"
                                "\"Temperature\":44}"));
        reply = rig->put("/api/v1/rotator/0/action", "Action=RotatorRecord&Parameters=3");
        QCOMPARE(reply["ErrorNumber"].toInt(), 0x401);
        QCOMPARE(reply["ErrorMessage"].toString(),
                 QStringLiteral("There is no stored position of that number."));
    }

    void concurrentPollsShareOneStatusQuery() {
        connectFocuser();
        rig->advance(600);
        // Ten clients ask at the same moment: one " Q " goes to the unit, all are answered.
        for (auto& c : clientsGet(10, "/api/v1/focuser/0/position"))
            QCOMPARE(rig->await(*c).json()["ErrorNumber"].toInt(-1), 0);
        QCOMPARE(rig->sent(" Q "), 1);
    }

    void twentyReadsOfASilentUnitShareOneWait() {
        connectFocuser();
        const double before = rig->get("/api/v1/focuser/0/temperature")["Value"].toDouble();
        rig->unit.setSilent(true);
        rig->advance(5000); // the reading is too old to serve
        rig->unit.clearReceived();
        const auto clients = clientsGet(20, "/api/v1/focuser/0/temperature");
        for (int i = 0; i < 20; ++i)
            rig->settle();
        QCOMPARE(rig->sent(" T "), 1); // every read waits for the same one
        // It waits up to one second for the reading, then all get the last one there was.
        rig->advance(1010);
        for (int i = 0; i < 20; ++i) {
            const std::optional<HttpReply> r = clients[i]->take();
            QVERIFY2(r.has_value(), qPrintable(QString::number(i)));
            QCOMPARE(r->json()["ClientTransactionID"].toInt(), i + 1);
            QCOMPARE(r->json()["Value"].toDouble(), before);
        }
    }

    void connectingToASilentUnitFailsWithTheObjectsError() {
        rig->unit.setSilent(true);
        const qint64 start = rig->clock.nowMs();
        QCOMPARE(outcome("/api/v1/focuser/0/connected", "Connected=true"),
                 "500 No response from focuser");
        QVERIFY(rig->clock.nowMs() - start >= 2000); // four probes of 500 ms
        QCOMPARE(rig->unit.receivedBytes(), QByteArray("! ! ! ! "));

        // Connecting in the background: answered at once; the failure comes with the poll that
        // ends it.
        QCOMPARE(outcome("/api/v1/rotator/0/connect", ""), "0");
        QCOMPARE(rig->get("/api/v1/rotator/0/connecting")["Value"].toBool(), true);
        rig->advance(4000);
        const QJsonObject polled = rig->get("/api/v1/rotator/0/connecting");
        QCOMPARE(polled["Value"].toBool(), false);
        QCOMPARE(polled["ErrorMessage"].toString(), "No response from Mivel");
    }

    // A disconnect while a connect is still probing a silent unit ends the attempt at once, and
    // the next connect probes afresh.
    void disconnectEndsALinkAttempt() {
        rig->unit.setSilent(true);
        for (const QByteArray device : {"focuser", "rotator", "switch"}) {
            const QByteArray api = "/api/v1/" + device + "/0/";
            rig->unit.clearReceived();
            QCOMPARE(outcome(api + "connect", ""), "0");
            rig->advance(300);
            QVERIFY2(rig->sent("! ") > 0, device);
            QCOMPARE(rig->get(api + "connecting")["Value"].toBool(), true);
            QCOMPARE(outcome(api + "disconnect", ""), "0");
            const QJsonObject polled = rig->get(api + "connecting");
            QVERIFY2(!polled["Value"].toBool(), device);
            QCOMPARE(polled["ErrorMessage"].toString(), errors::LinkCancelled.description);
            QCOMPARE(rig->get(api + "connected")["Value"].toBool(), false);

            rig->unit.setSilent(false);
            rig->unit.clearReceived();
            QCOMPARE(outcome(api + "connected", "Connected=true"), "0");
            QCOMPARE(rig->sent("! "), 1);
            QCOMPARE(outcome(api + "connected", "Connected=false"), "0");
            rig->unit.setSilent(true);
        }
    }

    // Two clients connecting at the same moment share one attempt: seven probes, both answered
    // when it ends, with its outcome.
    void overlappingConnectsShareOneAttempt() {
        rig->unit.setSilent(true);
        rig->unit.clearReceived();
        HttpTestClient first(rig->port()), second(rig->port());
        first.request("PUT", "/api/v1/rotator/0/connected", "Connected=true");
        rig->advance(100);
        second.request("PUT", "/api/v1/rotator/0/connected", "Connected=true");
        const qint64 start = rig->clock.nowMs();
        const HttpReply a = rig->await(first);
        QVERIFY(rig->clock.nowMs() - start < Rotator::LinkAttempts * Rotator::LinkTickMs);
        rig->advance(20);
        const std::optional<HttpReply> b = second.take();
        QVERIFY(b.has_value());
        for (const HttpReply& r : {a, *b})
            QCOMPARE(r.json()["ErrorMessage"].toString(), QStringLiteral("No response from Mivel"));
        QCOMPARE(rig->sent("! "), Rotator::LinkAttempts);
    }

    void aUnitTalkingGarbageLeavesClientsAnswered() {
        connectFocuser();
        rig->unit.setRandomSeed(3);
        rig->unit.setGarbage(true);
        for (int i = 0; i < 5; ++i) {
            rig->advance(501);
            for (const char* m : {"position", "ismoving", "temperature"})
                QCOMPARE(rig->request("GET", QByteArray("/api/v1/focuser/0/") + m).status, 200);
        }
        rig->unit.setGarbage(false);
        QCOMPARE(outcome("/api/v1/focuser/0/move", "Position=2000"), "0");
    }

    void temperaturesInCelsius() {
        rig->unit.setAmbient(50.0); // degrees Fahrenheit
        rig->unit.setNightSwing(0);
        connectFocuser();
        connectDevice("switch");
        const auto near = [](const QJsonObject& o, double expected) {
            return std::abs(o["Value"].toDouble(-1000) - expected) < 0.1;
        };
        QVERIFY(near(rig->get("/api/v1/focuser/0/temperature"), 10.0));
        QVERIFY(near(rig->get("/api/v1/switch/0/getswitchvalue?Id=9"), 10.0));
        QVERIFY(near(rig->get("/api/v1/switch/0/ambienttemp"), 50.0)); // the object's own value
    }

    void membersByNameAnswerWithTheObjectsOwnErrors() {
        QCOMPARE(outcome("/api/v1/rotator/0/connected", "Connected=true"), "0");
        QCOMPARE(outcome("/api/v1/switch/0/connected", "Connected=true"), "0");
        rig->unit.clearReceived();
        QCOMPARE(outcome("/api/v1/rotator/0/resetposition", "Angle=360"), "0");
        QCOMPARE(outcome("/api/v1/rotator/0/resetposition", "Angle=360.01"),
                 "401 Reset Position Angle out of range");
        QCOMPARE(outcome("/api/v1/rotator/0/unwrap", "Angle=half"), "401 Illegal unwrap value.");
        QCOMPARE(outcome("/api/v1/rotator/0/pospositionlimit", "PosPositionLimit=wide"),
                 "401 PosPositionLimit must be numeric.");
        QCOMPARE(outcome("/api/v1/rotator/0/negpositionlimit", "NegPositionLimit=wide"),
                 "401 PosPositionLimit must be numeric.");
        QCOMPARE(outcome("/api/v1/rotator/0/wraplimit", "WrapLimit=far"),
                 "401 Illegal wrap limit value.");
        QCOMPARE(
            outcome("/api/v1/switch/0/secondaryheatersetpoint", "SecondaryHeaterSetpoint=0.00001"),
            "0");
        QCOMPARE(outcome("/api/v1/switch/0/fanmode", "FanMode=2"), "0");
        QCOMPARE(outcome("/api/v1/switch/0/fanspeed", "FanSpeed=50"),
                 "40b Fan Mode is not Manual.");
        // No exponent reaches the unit.
        QCOMPARE(rig->unit.receivedBytes(), QByteArray(" p72000 P0.00001 n2 "));
        rig->advance(1100);
        QCOMPARE(rig->get("/api/v1/switch/0/fanmode")["Value"].toInt(), 2);
    }

    // While the unit is away every object a client had linked reads as not connected, and what
    // needs the unit answers so; once it is back the objects link again by
    // themselves, and a move works without any client connecting anew.
    void aUnitThatDropsOffTheLineAndComesBack() {
        connectFocuser();
        QCOMPARE(outcome("/api/v1/rotator/0/connected", "Connected=true"), "0");
        QCOMPARE(outcome("/api/v1/focuser/0/move", "Position=1000"), "0");
        rig->unit.setHungUp(true);
        rig->advance(50);
        QVERIFY(!rig->ctx.hub().serial()->connected());
        QVERIFY(rig->ctx.hub().lost());
        for (const QByteArray device : {"focuser", "rotator"}) {
            const QJsonObject c = rig->get("/api/v1/" + device + "/0/connected");
            QCOMPARE(c["ErrorNumber"].toInt(), 0);
            QCOMPARE(c["Value"].toBool(), false);
        }
        QCOMPARE(rig->get("/api/v1/focuser/0/position")["ErrorNumber"].toInt(), 0x407);
        QCOMPARE(rig->get("/api/v1/rotator/0/position")["ErrorNumber"].toInt(), 0x407);
        QCOMPARE(outcome("/api/v1/focuser/0/move", "Position=3000").left(3), "407");
        // The hub keeps trying the device while it is away; nobody has to connect again.
        rig->advance(5 * LinkHub::ReconnectPollMs);
        QVERIFY(rig->ctx.hub().lost());
        rig->unit.setHungUp(false);
        rig->unit.clearReceived();
        rig->advance(LinkHub::ReconnectPollMs + 4 * Focuser::LinkAttemptMs);
        QVERIFY(!rig->ctx.hub().lost());
        QVERIFY(rig->unit.receivedBytes().startsWith("! "));
        for (const QByteArray device : {"focuser", "rotator"})
            QCOMPARE(rig->get("/api/v1/" + device + "/0/connected")["Value"].toBool(), true);
        QCOMPARE(rig->get("/api/v1/focuser/0/position")["ErrorNumber"].toInt(), 0);
        QCOMPARE(outcome("/api/v1/focuser/0/move", "Position=3000"), "0");
        QVERIFY(rig->unit.receivedBytes().contains("b3000 "));
    }
    // --- The standard members as the interfaces ask

    void aRotatorReadsMovingTowardsItsTargetFromTheMomentAMoveReturns() {
        rig->unit.setRotatorSpeed(7200); // 36 degrees a second
        connectDevice("rotator");
        QCOMPARE(value("/api/v1/rotator/0/position").toDouble(-1), 0.0);
        QCOMPARE(value("/api/v1/rotator/0/ismoving").toBool(), false);

        QCOMPARE(outcome("/api/v1/rotator/0/moveabsolute", "Position=90"), "0");
        QCOMPARE(value("/api/v1/rotator/0/ismoving").toBool(), true);
        QCOMPARE(value("/api/v1/rotator/0/targetposition").toDouble(-1), 90.0);
        QVERIFY(untilStill("rotator") >= 2000); // a quarter turn at 36 degrees a second
        QCOMPARE(value("/api/v1/rotator/0/position").toDouble(-1), 90.0);
        QCOMPARE(value("/api/v1/rotator/0/targetposition").toDouble(-1), 90.0);

        // A relative move, and one to a mechanical angle; halting ends the move at once.
        QCOMPARE(outcome("/api/v1/rotator/0/move", "Position=-30"), "0");
        QCOMPARE(value("/api/v1/rotator/0/ismoving").toBool(), true);
        QCOMPARE(value("/api/v1/rotator/0/targetposition").toDouble(-1), 60.0);
        untilStill("rotator");
        QCOMPARE(value("/api/v1/rotator/0/position").toDouble(-1), 60.0);
        QCOMPARE(outcome("/api/v1/rotator/0/movemechanical", "Position=300"), "0");
        QCOMPARE(value("/api/v1/rotator/0/ismoving").toBool(), true);
        QCOMPARE(value("/api/v1/rotator/0/targetposition").toDouble(-1), 300.0);
        rig->advance(300);
        QCOMPARE(outcome("/api/v1/rotator/0/halt", ""), "0");
        QVERIFY(untilStill("rotator") < 1000);
        QVERIFY(rig->unit.rotatorPosition() != 300 * 200);
    }

    void aRotatorSyncIsAnOffsetThatOutlivesTheServer() {
        connectDevice("rotator");
        QCOMPARE(value("/api/v1/rotator/0/position").toDouble(-1), 0.0);
        QCOMPARE(outcome("/api/v1/rotator/0/sync", "Position=30"), "0");
        QCOMPARE(value("/api/v1/rotator/0/position").toDouble(-1), 30.0); // at once
        QCOMPARE(value("/api/v1/rotator/0/mechanicalposition").toDouble(-1), 0.0);
        QCOMPARE(commands(), QByteArrayList()); // the unit's own angle is left alone
        QCOMPARE(outcome("/api/v1/rotator/0/moveabsolute", "Position=60"), "0");
        QCOMPARE(commands(), QByteArrayList{"|6000"});
        QCOMPARE(value("/api/v1/rotator/0/targetposition").toDouble(-1), 60.0);
        untilStill("rotator");
        QCOMPARE(value("/api/v1/rotator/0/position").toDouble(-1), 60.0);
        QCOMPARE(value("/api/v1/rotator/0/mechanicalposition").toDouble(-1), 30.0);

        // A new server on the same settings knows the offset.
        alpaca::DriverServer again(rig->ctx, rig->drivers, [] {
            ServeOptions o;
            o.alpacaPort = 0;
            return o;
        }());
        QCOMPARE(again.start(), Status());
        HttpTestClient c(again.port());
        c.request("GET", "/api/v1/rotator/0/position");
        QCOMPARE(rig->await(c).json()["Value"].toDouble(-1), 60.0);
        QVariant kept;
        QCOMPARE(readSetting(rig->ctx.store(), "AlpacaRotatorSyncOffset", &kept), 0L);
        QCOMPARE(kept.toDouble(), 30.0);
    }

    void aFocuserMovesUnderCompensationAndResumesIt() {
        connectFocuser();
        QCOMPARE(outcome("/api/v1/focuser/0/tempcomp", "TempComp=true"), "0");
        QCOMPARE(rig->unit.tempCompMode(), 1);
        rig->unit.clearReceived();

        QCOMPARE(outcome("/api/v1/focuser/0/move", "Position=2000"), "0");
        QCOMPARE(commands(), (QByteArrayList{"+0", "b2000"}));
        QCOMPARE(rig->unit.tempCompMode(), 0);
        QCOMPARE(value("/api/v1/focuser/0/tempcomp").toBool(), true); // as the client left it
        QCOMPARE(value("/api/v1/focuser/0/ismoving").toBool(), true);
        untilStill("focuser");
        QCOMPARE(rig->unit.focusPosition(), 2000);
        QCOMPARE(commands(), (QByteArrayList{"+0", "b2000", "+1"}));
        QCOMPARE(rig->unit.tempCompMode(), 1);
        QCOMPARE(value("/api/v1/focuser/0/tempcomp").toBool(), true);

        // Switched off during a move, compensation stays off after it.
        QCOMPARE(outcome("/api/v1/focuser/0/move", "Position=1000"), "0");
        QCOMPARE(outcome("/api/v1/focuser/0/tempcomp", "TempComp=false"), "0");
        untilStill("focuser");
        QCOMPARE(rig->unit.tempCompMode(), 0);
        QCOMPARE(value("/api/v1/focuser/0/tempcomp").toBool(), false);

        // The object's own Move keeps refusing while compensation is on.
        QCOMPARE(outcome("/api/v1/focuser/0/tempcomp", "TempComp=true"), "0");
        rig->unit.clearReceived();
        const Status refused = rig->drivers.focuser().move(3000);
        QVERIFY(refused.has_value());
        QCOMPARE(refused->description,
                 "Temperature compensation active, focus movement not allowed.");
        QCOMPARE(commands(), QByteArrayList());
    }

    void aFocuserMoveStaysWithinTheTravel() {
        connectFocuser();
        QCOMPARE(outcome("/api/v1/focuser/0/move", "Position=40010"), "0");
        QCOMPARE(outcome("/api/v1/focuser/0/move", "Position=-5"), "0");
        QCOMPARE(commands(), (QByteArrayList{"b40000", "b0"}));
    }

    void writingAPowerSwitchSetsItsModeToManualFirst() {
        connectDevice("switch");
        QCOMPARE(outcome("/api/v1/switch/0/fanmode", "FanMode=2"), "0");
        QCOMPARE(outcome("/api/v1/switch/0/secondaryheatermode", "SecondaryHeaterMode=1"), "0");
        rig->advance(1100);
        rig->unit.clearReceived();

        QCOMPARE(outcome("/api/v1/switch/0/setswitchvalue", "Id=1&Value=40"), "0");
        const QByteArrayList fan = commands();
        QCOMPARE(fan.size(), 2); // the fan mode at its last power, then the power
        QVERIFY(fan[0].startsWith('y'));
        QCOMPARE(fan[1], "y40");
        QCOMPARE(rig->unit.fanMode(), 0);
        QCOMPARE(rig->unit.fanPower(), 40);
        QCOMPARE(value("/api/v1/switch/0/getswitchvalue?Id=1").toDouble(), 40.0);
        QCOMPARE(value("/api/v1/switch/0/getswitchvalue?Id=0").toDouble(), 0.0);

        rig->unit.clearReceived();
        QCOMPARE(outcome("/api/v1/switch/0/setswitch", "Id=5&State=true"), "0");
        const QByteArrayList heater = commands();
        QCOMPARE(heater.size(), 2);
        QVERIFY(heater[0].startsWith('s'));
        QCOMPARE(heater[1], "s100");
        QCOMPARE(rig->unit.heaterMode(), 0);
        QCOMPARE(rig->unit.heaterPower(), 100);
        for (const char* id : {"1", "5"})
            QVERIFY(value(QByteArray("/api/v1/switch/0/getswitchdescription?Id=") + id)
                        .toString()
                        .contains("manual first"));
    }

    void readsWhileDisconnectedAnswerNotConnected() {
        const QList<QByteArray> reads{
            "focuser/0/position",           "focuser/0/ismoving",       "focuser/0/temperature",
            "focuser/0/tempcomp",           "rotator/0/position",       "rotator/0/ismoving",
            "rotator/0/mechanicalposition", "rotator/0/targetposition", "rotator/0/reverse",
            "switch/0/getswitchvalue?Id=9", "switch/0/getswitch?Id=0"};
        for (const QByteArray& target : reads)
            QVERIFY2(rig->get("/api/v1/" + target)["ErrorNumber"].toInt() == 0x407,
                     target.constData());
        const QList<std::pair<QByteArray, QByteArray>> writes{
            {"focuser/0/move", "Position=100"},          {"focuser/0/halt", ""},
            {"focuser/0/tempcomp", "TempComp=true"},     {"rotator/0/move", "Position=10"},
            {"rotator/0/moveabsolute", "Position=10"},   {"rotator/0/sync", "Position=10"},
            {"switch/0/setswitchvalue", "Id=1&Value=10"}};
        for (const auto& [target, form] : writes)
            QVERIFY2(rig->put("/api/v1/" + target, form)["ErrorNumber"].toInt() == 0x407,
                     target.constData());
        QCOMPARE(rig->unit.receivedBytes(), QByteArray());
        // What the device is does not need the unit.
        for (const char* info : {"focuser/0/maxstep", "rotator/0/canreverse", "switch/0/maxswitch",
                                 "switch/0/getswitchname?Id=1"})
            QVERIFY2(rig->get(QByteArray("/api/v1/") + info)["ErrorNumber"].toInt() == 0, info);
    }

    // Two programs side by side: one disconnecting its device leaves the other's working; the
    // port closes with the last device a client still had.
    void oneDevicesDisconnectLeavesTheOthersConnected() {
        connectDevice("focuser");
        connectDevice("rotator");
        for (const QByteArray verb : {"connected", "disconnect"}) {
            const QByteArray form = verb == "connected" ? "Connected=false" : "";
            QCOMPARE(outcome("/api/v1/focuser/0/" + verb, form), "0");
            QVERIFY(rig->ctx.hub().serial()->connected());
            QCOMPARE(value("/api/v1/focuser/0/connected").toBool(true), false);
            QCOMPARE(rig->get("/api/v1/focuser/0/position")["ErrorNumber"].toInt(), 0x407);
            QCOMPARE(value("/api/v1/rotator/0/connected").toBool(false), true);
            QCOMPARE(outcome("/api/v1/rotator/0/moveabsolute", "Position=5"), "0");
            QVERIFY(untilStill("rotator") < 30'000);
            QCOMPARE(value("/api/v1/rotator/0/position").toDouble(-1), 5.0);
            connectDevice("focuser"); // and back, on the port still open
            QCOMPARE(rig->get("/api/v1/focuser/0/position")["ErrorNumber"].toInt(), 0);
        }
        QCOMPARE(outcome("/api/v1/focuser/0/connected", "Connected=false"), "0");
        QCOMPARE(outcome("/api/v1/rotator/0/connected", "Connected=false"), "0");
        QVERIFY(!rig->ctx.hub().serial() || !rig->ctx.hub().serial()->connected());
    }

    // At the line's real speed a status query takes tens of milliseconds to be answered; reads
    // answer without waiting for one, while the unit is asked no more than once per 500 ms.
    void standardReadsAnswerAtOnceFromValuesKeptFresh() {
        rig->unit.setPacing(sim::OutputLine::LineMsPerChar);
        connectFocuser();
        QCOMPARE(value("/api/v1/focuser/0/position").toInt(-1), 0); // waits for one query
        rig->unit.clearReceived();
        rig->unit.placeFocuser(1234, true);
        int waited = 0;
        for (int i = 0; i < 30; ++i) {
            rig->advance(100);
            for (const char* member : {"position", "ismoving"}) {
                HttpTestClient c(rig->port());
                c.request("GET", QByteArray("/api/v1/focuser/0/") + member);
                std::optional<HttpReply> r;
                for (int n = 0; n < 50 && !(r = c.take()); ++n)
                    rig->settle(); // no time passes
                if (!r)
                    ++waited;
                else
                    QCOMPARE(r->json()["ErrorNumber"].toInt(-1), 0);
            }
        }
        QCOMPARE(waited, 0);
        QCOMPARE(value("/api/v1/focuser/0/position").toInt(-1), 1234);
        QVERIFY(rig->sent(" Q ") >= 5 && rig->sent(" Q ") <= 7); // 3 s at one per 500 ms
    }

    // A client that disconnects while the unit is away no longer holds the object: the port
    // comes back, but the object stays unlinked.
    void aDisconnectWhileTheUnitIsAwayEndsTheRecovery() {
        connectFocuser();
        rig->unit.setHungUp(true);
        rig->advance(50);
        QVERIFY(rig->drivers.existing(DeviceProvider::Kind::Focuser)->linkLost());
        QCOMPARE(outcome("/api/v1/focuser/0/connected", "Connected=false"), "0");
        QVERIFY(!rig->drivers.existing(DeviceProvider::Kind::Focuser)->linkLost());
        rig->unit.setHungUp(false);
        rig->unit.clearReceived();
        rig->advance(3 * LinkHub::ReconnectPollMs);
        QVERIFY(!rig->ctx.hub().lost());
        QCOMPARE(rig->unit.receivedBytes(), QByteArray()); // no probe
        QCOMPARE(rig->get("/api/v1/focuser/0/connected")["Value"].toBool(), false);
    }

    // A unit that stops answering while its line stays raises no error: a linked object's
    // queries going unanswered with nothing arriving at all tell the link is lost, and it is
    // linked again when the unit answers again.
    void aUnitThatFallsSilentIsLostAndFound() {
        connectFocuser();
        rig->unit.setSilent(true);
        // A client keeps polling: the server's own status queries go unanswered.
        for (int i = 0; i < 40 && !rig->ctx.hub().lost() &&
                        !rig->drivers.existing(DeviceProvider::Kind::Focuser)->linkLost();
             ++i) {
            rig->get("/api/v1/focuser/0/position");
            rig->advance(250);
        }
        QVERIFY(rig->drivers.existing(DeviceProvider::Kind::Focuser)->linkLost());
        QCOMPARE(rig->get("/api/v1/focuser/0/connected")["Value"].toBool(), false);
        QCOMPARE(rig->get("/api/v1/focuser/0/position")["ErrorNumber"].toInt(), 0x407);
        // Reopened at once, the silent unit does not answer the probes; they are tried again.
        rig->advance(5000);
        QCOMPARE(rig->get("/api/v1/focuser/0/connected")["Value"].toBool(), false);
        rig->unit.setSilent(false);
        rig->advance(LinkHub::ReconnectPollMs + 4 * Focuser::LinkAttemptMs + 2000);
        QCOMPARE(rig->get("/api/v1/focuser/0/connected")["Value"].toBool(), true);
        QCOMPARE(outcome("/api/v1/focuser/0/move", "Position=2000"), "0");
    }

    // The unit unplugged and plugged in again on a real terminal, through the real serial port,
    // with a client polling all along: the port's failure is noticed, the same name is opened
    // again when it reappears, and the polls go back to good answers on their own.
    void unpluggedAndPluggedInOnATerminal() {
#ifndef Q_OS_UNIX
        QSKIP("pseudo-terminals only");
#endif
        rig = std::make_unique<LiveRig>(true);
        QVERIFY(rig->listening);
        QVERIFY(rig->plugIn());
        connectFocuser();
        QVERIFY(rig->ctx.hub().serial()->connected());

        auto poll = [&] { return rig->get("/api/v1/focuser/0/position")["ErrorNumber"].toInt(-1); };
        QCOMPARE(poll(), 0);
        rig->host.hangUp();
        for (int i = 0; i < 40 && !rig->ctx.hub().lost(); ++i)
            poll();
        QVERIFY(rig->ctx.hub().lost());
        QCOMPARE(poll(), 0x407);
        QCOMPARE(rig->get("/api/v1/focuser/0/connected")["Value"].toBool(), false);

        QVERIFY(rig->plugIn());
        int polls = 0;
        while (poll() != 0 && ++polls < 40)
            rig->advance(100); // a client polling ten times a second
        QVERIFY2(polls < 40, "no good answer after the unit came back");
        QVERIFY(!rig->ctx.hub().lost());
        QCOMPARE(rig->get("/api/v1/focuser/0/connected")["Value"].toBool(), true);
        QCOMPARE(outcome("/api/v1/focuser/0/move", "Position=3000"), "0");
        for (int i = 0; i < 200 && !rig->unit.receivedBytes().endsWith("b3000 "); ++i)
            rig->advance(5);
        QVERIFY(rig->unit.receivedBytes().endsWith("b3000 "));
    }
};

QTEST_GUILESS_MAIN(AlpacaLiveTest)
#include "test_alpaca_live.moc"
