// The Alpaca API through the real HTTP server over fake driver objects; its form decoding and
// error numbers on their own.

#include "ServerFixture.h"

#include "alpaca/AlpacaProtocol.h"
#include "drivers/DriverErrors.h"
#include "link/Serial.h"

#include <QJsonArray>

using namespace mivel;
using namespace mivel::alpaca;
using namespace mivel::test;

class AlpacaApiTest : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerFixture> f;

    // Values and errors the fakes hold for the table of requests.
    void stock() {
        for (FakeDevice* d : {&f->focuser(), &f->rotator(), &f->temperature()})
            d->values["Connected"] = true;
        FakeDevice& foc = f->focuser();
        foc.values["TempCompCoefficient"] = 0.1f; // not 0.10000000149011612 for the client
        foc.errors["Move"] = errors::TempCompActive;
        foc.values["TempCompMovementThreshold"] = qint16(0);
        foc.errors["TempCompMovementThreshold"] = errors::ThresholdUnavailable;
        f->rotator().values["Position"] = -90.0;
        f->temperature().values["AmbientTemp"] = 50.0; // degrees Fahrenheit, as the unit says
        f->temperature().values["FanMode"] = 0;
        f->temperature().errors["FanSpeed"] = errors::FanNotManual;
    }

private slots:
    void init() {
        f = std::make_unique<ServerFixture>();
        QVERIFY(f->listening);
    }
    void cleanup() { f.reset(); }

    void repliesHaveTheApiShapeAndTransactionIds() {
        f->focuser().values["Connected"] = true;
        f->focuser().values["Position"] = 1234;
        const HttpReply r = f->request("GET", "/api/v1/focuser/0/position?ClientTransactionID=7");
        QCOMPARE(r.status, 200);
        QVERIFY(r.header("Content-Type").startsWith("application/json"));
        QCOMPARE(r.json(), (QJsonObject{{"ClientTransactionID", 7},
                                        {"ErrorMessage", ""},
                                        {"ErrorNumber", 0},
                                        {"ServerTransactionID", 1},
                                        {"Value", 1234}}));
        // A method returns no value: no Value key at all.
        QCOMPARE(f->put("/api/v1/focuser/0/halt", "ClientTransactionID=8"),
                 (QJsonObject{{"ClientTransactionID", 8},
                              {"ErrorMessage", ""},
                              {"ErrorNumber", 0},
                              {"ServerTransactionID", 2}}));
        QCOMPARE(f->get("/management/apiversions")["ServerTransactionID"].toInt(), 3);

        // Client ids: GET names in any case, PUT names exact (a misspelt one is no id: 0).
        const QList<std::pair<QByteArray, double>> queries{
            {"clienttransactionid=5", 5},
            {"ClientTransactionID=4294967295", 4294967295.0},
            {"ClientTransactionID=007", 7},
            {"ClientID=0", 0}};
        for (const auto& [query, id] : queries)
            QCOMPARE(f->get("/api/v1/focuser/0/name?" + query)["ClientTransactionID"].toDouble(-1),
                     id);
        const QJsonObject misspelt = f->put("/api/v1/focuser/0/halt", "clienttransactionid=9");
        QCOMPARE(misspelt["ClientTransactionID"].toInt(-1), 0);
    }

    // An id that is not an unsigned 32-bit integer makes the request one the server cannot
    // understand, on the device and the management API alike, before any member runs.
    void clientIdsOutsideTheirTypeAreBadRequests() {
        stock();
        const QList<QByteArray> bad{"",   "%20", "-1",  "-0",         "abc",        "1.5",
                                    "+5", "0x1", "1e3", "4294967296", "99999999999"};
        for (const QByteArray& name : {QByteArray("ClientID"), QByteArray("ClientTransactionID")}) {
            for (const QByteArray& value : bad) {
                const QByteArray query = name + '=' + value;
                for (const QByteArray& target :
                     {"/api/v1/focuser/0/position?" + query, "/management/apiversions?" + query}) {
                    const HttpReply r = f->request("GET", target);
                    QVERIFY2(r.status == 400, target.constData());
                    QVERIFY2(r.body.contains(name), r.body.constData());
                }
                QCOMPARE(f->request("PUT", "/api/v1/focuser/0/move", "Position=5&" + query).status,
                         400);
            }
        }
        QVERIFY(f->focuser().calls.isEmpty());
        QCOMPARE(
            f->request("GET", "/api/v1/focuser/0/name?ClientID=4294967295&ClientTransactionID=0")
                .status,
            200);
    }

    // Every row is one request on a fresh server over the fakes as stock() leaves them: the
    // calls the object sees, in order (none when refused first; reads of status values come
    // with the other values of their reading), and the Value and ErrorNumber the client gets;
    // or, for a request that cannot be understood, a 400 and the reason it gives.
    void requestsReachTheObjectsAndAnswer_data() {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QByteArray>("member"); // after "/api/v1/", unless it starts with '/'
        QTest::addColumn<QByteArray>("form");
        QTest::addColumn<QString>("call");
        QTest::addColumn<int>("status");
        QTest::addColumn<QJsonValue>("value"); // the reason of a 400; undefined: no Value key
        QTest::addColumn<int>("error");
        const QJsonValue none(QJsonValue::Undefined);
        auto row = [](const char* name, QByteArray m, QByteArray member, QByteArray form,
                      QString call, QJsonValue v, int error = 0) {
            QTest::newRow(name) << m << member << form << call << 200 << v << error;
        };
        auto refused = [](const char* name, QByteArray m, QByteArray member, QByteArray form,
                          QString reason) {
            QTest::newRow(name) << m << member << form << QString() << 400 << QJsonValue(reason)
                                << 0;
        };
        refused("unknown type", "GET", "telescope/0/name", "", "Unknown device type");
        refused("device 00", "GET", "focuser/00/name", "", "Unknown device number");
        refused("member not lower case", "GET", "focuser/0/Position", "", "Unknown member");
        refused("trailing slash", "GET", "focuser/0/name/", "", "Not an Alpaca device path");
        refused("read a method", "GET", "focuser/0/move", "", "cannot be read");
        refused("write a getter", "PUT", "focuser/0/position", "Position=1", "cannot be written");
        refused("missing", "PUT", "focuser/0/move", "", "Missing parameter: Position");
        refused("wrong case", "PUT", "focuser/0/move", "position=5",
                "Parameter position must be spelled Position");
        refused("fraction for an integer", "PUT", "focuser/0/move", "Position=1.5",
                "not an integer");
        refused("grouped integer", "PUT", "focuser/0/move", "Position=1,000", "not an integer");
        refused("plus sign", "PUT", "focuser/0/move", "Position=%2B3", "not an integer");
        refused("not a boolean", "PUT", "focuser/0/tempcomp", "TempComp=1", "True or False");
        refused("decimal comma", "PUT", "rotator/0/move", "Position=1,5", "is not a number");
        refused("infinity", "PUT", "rotator/0/move", "Position=inf", "is not a number");
        refused("missing Id", "GET", "switch/0/getswitchvalue", "", "Missing parameter: Id");
        refused("second parameter", "PUT", "switch/0/setswitch", "Id=1",
                "Missing parameter: State");
        refused("extra member case", "PUT", "focuser/0/tempcompcoefficient",
                "tempcompcoefficient=1", "must be spelled TempCompCoefficient");
        refused("action without parameters", "PUT", "focuser/0/action", "Action=Link",
                "Missing parameter: Parameters");
        refused("other method", "DELETE", "focuser/0/name", "", "not used by the Alpaca API");
        refused("management", "GET", "/management/v1/nosuch", "", "Unknown management member");

        row("connect", "PUT", "focuser/0/connected", "Connected=True", "set Connected true", none);
        row("disconnect", "PUT", "focuser/0/disconnect", "", "set Connected false", none);
        row("below the travel", "PUT", "focuser/0/move", "Position=-40000",
            "get MaxStep; get TempComp; call Move(0)", none, 0x40B);
        row("single as given", "GET", "focuser/0/tempcompcoefficient", "",
            "get TempCompCoefficient", 0.1);
        row("value with its error", "GET", "focuser/0/tempcompmovementthreshold", "",
            "get TempCompMovementThreshold", 0, 0x402);
        row("extra property", "PUT", "focuser/0/tempcompcoefficient", "TempCompCoefficient=12.5",
            "set TempCompCoefficient 12.5", none);
        row("extra method", "PUT", "focuser/0/showform", "Which=1", "call ShowForm(1)", none);
        row("action read", "PUT", "focuser/0/action",
            "Action=tempcompcoefficient&Parameters=", "get TempCompCoefficient", "0.1");
        row("action write", "PUT", "focuser/0/action", "Action=TempCompCoefficient&Parameters=-2.5",
            "set TempCompCoefficient -2.5", none);
        row("action method", "PUT", "focuser/0/action",
            "Action=RecordFocusPosition&Parameters=", "call RecordFocusPosition()", none);
        row("action parameters", "PUT", "focuser/0/action",
            "Action=TempCompCoefficient&Parameters=lots", "", none, 0x401);
        row("standard member as action", "PUT", "focuser/0/action",
            "Action=Position&Parameters=", "", none, 0x40C);
        row("raw command", "PUT", "focuser/0/commandstring", "Command=Q&Raw=true", "", none, 0x400);
        row("angle within a turn", "GET", "rotator/0/position", "", "get Position", 270.0);
        row("target before any move", "GET", "rotator/0/targetposition", "", "get Position", 270.0);
        row("sync", "PUT", "rotator/0/sync", "Position=90", "get Position; get IsMoving", none);
        row("angle of a turn", "PUT", "rotator/0/moveabsolute", "Position=360", "", none, 0x401);
        row("relative move", "PUT", "rotator/0/move", "Position=-10", "call Move(-10)", none);
        row("switch, any case", "GET", "switch/0/getswitchvalue?id=9", "", "get AmbientTemp",
            10.0); // in Celsius
        row("switch state", "GET", "switch/0/getswitch?ID=9", "", "get AmbientTemp", true);
        row("switch at its minimum", "GET", "switch/0/getswitch?Id=0", "", "get FanMode", false);
        row("setter's error", "PUT", "switch/0/setswitchvalue", "Id=1&Value=50",
            "set FanMode 0; set FanSpeed 50", none, 0x40B);
        row("heater power to manual", "PUT", "switch/0/setswitch", "Id=5&State=true",
            "set SecondaryHeaterMode 0; set SecondaryHeaterPower 100", none);
        row("whole-number member", "PUT", "switch/0/setswitchvalue", "Id=7&Value=30.6",
            "set DewHeater1Power 31", none);
        row("switch on", "PUT", "switch/0/setswitch", "Id=0&State=TRUE", "set FanMode 2", none);
        row("switch off", "PUT", "switch/0/setswitch", "Id=8&State=false", "set DewHeater2Power 0",
            none);
        row("read-only switch", "PUT", "switch/0/setswitchvalue", "Id=9&Value=1", "", none, 0x400);
        row("switch past the table", "GET", "switch/0/getswitchvalue?Id=13", "", "", none, 0x401);
        row("negative switch", "GET", "switch/0/getswitchvalue?Id=-1", "", "", none, 0x401);
        // Every member of an object is also served under its own name, with its own values, and
        // members that take any value judge it themselves.
        row("switch member read by name", "GET", "switch/0/ambienttemp", "", "get AmbientTemp",
            50.0);
        row("switch member written by name", "PUT", "switch/0/secondaryheatersetpoint",
            "SecondaryHeaterSetpoint=-2.5", "set SecondaryHeaterSetpoint -2.5", none);
        row("switch member refusing", "PUT", "switch/0/fanspeed", "FanSpeed=50", "set FanSpeed 50",
            none, 0x40B);
        row("rotator target by name", "GET", "rotator/0/setposition", "", "get SetPosition", none);
        row("a whole turn by name", "PUT", "rotator/0/resetposition", "Angle=360",
            "call ResetPosition(360)", none);
        row("limit not a number", "PUT", "rotator/0/pospositionlimit", "PosPositionLimit=wide",
            "set PosPositionLimit wide", none);
        row("unwrap not a number", "PUT", "rotator/0/unwrap", "Angle=half", "call Unwrap(half)",
            none);
        row("temperature not yet known", "GET", "focuser/0/temperature", "", "get Temperature",
            none, 0x402);
    }
    void requestsReachTheObjectsAndAnswer() {
        QFETCH(QByteArray, method);
        QFETCH(QByteArray, member);
        QFETCH(QByteArray, form);
        QFETCH(QString, call);
        QFETCH(int, status);
        QFETCH(QJsonValue, value);
        QFETCH(int, error);
        stock();
        const HttpReply r =
            f->request(method, member.startsWith('/') ? member : "/api/v1/" + member, form);
        QCOMPARE(r.status, status);
        const QStringList calls = f->focuser().calls + f->rotator().calls + f->temperature().calls;
        if (call.isEmpty())
            QCOMPARE(calls, QStringList());
        else
            QVERIFY2(calls.join("; ").contains(call), qPrintable(calls.join("; ")));
        if (status == 400) {
            QVERIFY(r.header("Content-Type").startsWith("text/plain"));
            QVERIFY2(QString::fromUtf8(r.body).contains(value.toString()), r.body.constData());
            return;
        }
        QCOMPARE(r.json()["ErrorNumber"].toInt(-1), error);
        QCOMPARE(r.json().value("Value"), value);
    }

    void reverseMirrorsEveryAngleButTheMechanicalOnes() {
        FakeDevice& r = f->rotator();
        r.values["Connected"] = true;
        r.values["Position"] = 30.0;
        f->put("/api/v1/rotator/0/reverse", "Reverse=True");
        QCOMPARE(f->get("/api/v1/rotator/0/reverse")["Value"].toBool(), true);
        QCOMPARE(f->get("/api/v1/rotator/0/position")["Value"].toDouble(), 330.0);
        QCOMPARE(f->get("/api/v1/rotator/0/mechanicalposition")["Value"].toDouble(), 30.0);
        f->put("/api/v1/rotator/0/move", "Position=10");
        f->put("/api/v1/rotator/0/moveabsolute", "Position=90");
        f->put("/api/v1/rotator/0/movemechanical", "Position=90");
        r.calls.removeAll("get Position");
        r.calls.removeAll("get IsMoving");
        QCOMPARE(r.calls, (QStringList{"call Move(-10)", "call MoveAbsolute(270)",
                                       "call MoveAbsolute(90)"}));
    }

    void whatClientsAreOffered() {
        QCOMPARE(f->get("/management/apiversions")["Value"].toArray(), QJsonArray{1});
        const QJsonObject d = f->get("/management/v1/description")["Value"].toObject();
        for (const char* key : {"ServerName", "Manufacturer", "ManufacturerVersion", "Location"})
            QVERIFY2(!d[key].toString().isEmpty(), key);

        QStringList devices, ids;
        for (const QJsonValue& v : f->get("/management/v1/configureddevices")["Value"].toArray()) {
            devices << v["DeviceType"].toString() + '/' +
                           QString::number(v["DeviceNumber"].toInt());
            ids << v["UniqueID"].toString();
            QVERIFY(!v["DeviceName"].toString().isEmpty() &&
                    !QUuid::fromString(ids.last()).isNull());
        }
        QCOMPARE(devices, (QStringList{"Focuser/0", "Rotator/0", "Switch/0"}));
        QCOMPARE(QSet<QString>(ids.begin(), ids.end()).size(), 3);
        // Listing the devices does not create the driver objects.
        QVERIFY(!f->provider.existing(DeviceProvider::Kind::Focuser));
        // The ids stay for the next server on the same configuration, and differ for another.
        QCOMPARE(DeviceIds::load(f->dir.path(), AlpacaServer::deviceTypes()).id("Rotator"), ids[1]);
        QTemporaryDir other;
        QVERIFY(DeviceIds::load(other.path(), {"Rotator"}).id("Rotator") != ids[1]);
        // Each device offers the members it serves under their own names as actions; members
        // whose name is a standard one are reached through the standard member only.
        auto actions = [&](const QByteArray& type) {
            return f->get("/api/v1/" + type + "/0/supportedactions")["Value"]
                .toVariant()
                .toStringList();
        };
        QVERIFY(actions("focuser").contains("TempCompCoefficient"));
        QVERIFY(actions("focuser").contains("RecordFocusPosition"));
        QVERIFY(actions("rotator").contains("ResetPosition") &&
                actions("switch").contains("FanMode"));
        QVERIFY(!actions("rotator").contains("Position") &&
                !actions("focuser").contains("Temperature"));
    }

    void processActionsAreServedBesideTheObjectsMembers() {
        // An action of the process (the data log's) answers text or its error, whatever the
        // object; its error's kind gives the number.
        QStringList heard;
        f->api.addProcessAction("switch", "StartLog", [&heard](const QString& parameters) {
            heard << parameters;
            if (parameters.isEmpty())
                return Result<QString>(programError(ErrorKind::InvalidValue, "Invalid interval"));
            return Result<QString>(QStringLiteral("{\"Active\":true}"));
        });
        const QStringList actions =
            f->get("/api/v1/switch/0/supportedactions")["Value"].toVariant().toStringList();
        QVERIFY(actions.contains("StartLog") && actions.contains("FanMode"));
        QVERIFY(!f->get("/api/v1/focuser/0/supportedactions")["Value"]
                     .toVariant()
                     .toStringList()
                     .contains("StartLog"));
        const QJsonObject started =
            f->put("/api/v1/switch/0/action", "Action=startlog&Parameters=%7B%22File%22%7D");
        QCOMPARE(started["Value"].toString(), QStringLiteral("{\"Active\":true}"));
        QCOMPARE(started["ErrorNumber"].toInt(), 0);
        const QJsonObject refused =
            f->put("/api/v1/switch/0/action", "Action=StartLog&Parameters=");
        QCOMPARE(refused["ErrorNumber"].toInt(), 0x401);
        QCOMPARE(refused["ErrorMessage"].toString(), QStringLiteral("Invalid interval"));
        QCOMPARE(heard, (QStringList{"{\"File\"}", ""}));
    }

    void temperaturesReachClientsInCelsius() {
        stock();
        f->focuser().values["Temperature"] = -40.0;
        QCOMPARE(f->get("/api/v1/focuser/0/temperature")["Value"].toDouble(), -40.0);
        f->focuser().values["Temperature"] = 50.0;
        f->clock.advance(5000); // the last reading is too old to serve
        QCOMPARE(f->get("/api/v1/focuser/0/temperature")["Value"].toDouble(), 10.0);
        f->temperature().values["ElectronicTemp"] = 212.0;
        QCOMPARE(f->get("/api/v1/switch/0/getswitchvalue?Id=12")["Value"].toDouble(), 100.0);
        // The switch's range and step are Celsius too: hundredths of a degree Fahrenheit.
        auto number = [&](const char* member) {
            return f->get(QByteArray("/api/v1/switch/0/") + member + "?Id=10")["Value"].toDouble();
        };
        QCOMPARE(number("minswitchvalue"), -100.0);
        QCOMPARE(number("maxswitchvalue"), 150.0);
        QCOMPARE(number("switchstep"), 0.01 * 5 / 9);
        QVERIFY(f->get("/api/v1/switch/0/getswitchdescription?Id=10")["Value"].toString().contains(
            "Celsius"));
        QVERIFY(f->get("/api/v1/switch/0/getswitchdescription?Id=2")["Value"].toString().contains(
            "Fahrenheit"));
    }

    void connectRunsInTheBackground() {
        FakeDevice& foc = f->focuser();
        foc.waitMs["Connected"] = 2000;
        QCOMPARE(f->put("/api/v1/focuser/0/connect")["ErrorNumber"].toInt(), 0);
        QCOMPARE(foc.waiting, 1);
        QCOMPARE(f->get("/api/v1/focuser/0/connecting")["Value"].toBool(), true);
        f->put("/api/v1/focuser/0/connect"); // one already runs: nothing new starts
        QCOMPARE(foc.waiting, 1);
        f->clock.advance(2000);
        QCOMPARE(f->get("/api/v1/focuser/0/connecting")["Value"].toBool(), false);
        QVERIFY(foc.values["Connected"].toBool());

        // A failed connect reports its error once, at the first poll after it ended.
        f->rotator().errors["Connected"] = errors::NoResponseFromMivel;
        f->put("/api/v1/rotator/0/connect");
        const QJsonObject o = f->get("/api/v1/rotator/0/connecting");
        QCOMPARE(o["Value"].toBool(), false);
        QCOMPARE(o["ErrorNumber"].toInt(), 0x500);
        QCOMPARE(o["ErrorMessage"].toString(), "No response from Mivel");
        QCOMPARE(f->get("/api/v1/rotator/0/connecting")["ErrorNumber"].toInt(), 0);
    }

    void deviceStateListsWhatCanBeRead() {
        auto state = [&](const QByteArray& type) {
            QStringList out;
            for (const QJsonValue& v :
                 f->get("/api/v1/" + type + "/0/devicestate")["Value"].toArray())
                out << v["Name"].toString() + '=' + v["Value"].toVariant().toString();
            if (out.isEmpty() || !out.takeLast().startsWith("TimeStamp="))
                out << "no time stamp last";
            return out;
        };
        f->focuser().values["Position"] = 500;
        f->focuser().values["IsMoving"] = false;
        f->focuser().values["Temperature"] = 212.0; // Fahrenheit from the object, Celsius out
        QCOMPARE(state("focuser"),
                 (QStringList{"IsMoving=false", "Position=500", "Temperature=100"}));
        // A value that cannot be read is left out.
        f->rotator().values["IsMoving"] = true;
        f->rotator().errors["Position"] = errors::RotatorNotLinked;
        QCOMPARE(state("rotator"), QStringList{"IsMoving=true"});
        f->temperature().values["FanMode"] = 1;
        QCOMPARE(state("switch").mid(0, 2), (QStringList{"GetSwitch0=true", "GetSwitchValue0=1"}));
    }

    void setupPages() {
        HttpReply r = f->request("GET", "/setup");
        QVERIFY(r.header("Content-Type").startsWith("text/html"));
        QVERIFY(r.body.contains("/setup/v1/rotator/0/setup"));
        r = f->request("GET", "/setup/v1/focuser/0/setup");
        QVERIFY(r.body.contains("Connect the device to read its state"));
        QVERIFY(f->focuser().calls.isEmpty()); // nothing is read from an unlinked device
        f->focuser().values["Connected"] = true;
        f->focuser().values["AppVersion"] = "1.5 <b>";
        r = f->request("GET", "/setup/v1/focuser/0/setup");
        QVERIFY(r.body.contains("TempCompCoefficient"));
        QVERIFY(r.body.contains("1.5 &lt;b&gt;"));
        QCOMPARE(f->request("GET", "/setup/v1/focuser/1/setup").status, 404);
    }

    void setupPagesBeyondTheLoopbackKeepTheMachineToThemselves() {
        f->api.setSettingsRows([] {
            return AlpacaServer::Rows{{"Serial device", "/dev/ttyUSB-secret"},
                                      {"PortDevice", "/dev/serial/by-id/secret"},
                                      {"Settings folder", "/home/secret/.config/mivel"},
                                      {"StepSize", "57"}};
        });
        const QString host = f->api.description().location;
        auto pages = [&] {
            return f->request("GET", "/setup").body +
                   f->request("GET", "/setup/v1/rotator/0/setup").body;
        };
        QByteArray local = pages();
        QVERIFY(local.contains("secret") && local.contains(host.toHtmlEscaped().toUtf8()));
        f->api.setServesBeyondLoopback(true);
        const QByteArray shown = pages();
        QVERIFY2(!shown.contains("secret"), shown.constData());
        QVERIFY(!shown.contains(" on " + host.toHtmlEscaped().toUtf8()));
        QVERIFY(shown.contains("StepSize"));
    }

    void aWaitThatNeverEndsIsAnsweredAtTheDeadline() {
        f->api.setAnswerDeadline(5000);
        f->focuser().values["Connected"] = true;
        f->focuser().waitMs["Position"] = 20'000;
        HttpTestClient c(f->port());
        c.request("GET", "/api/v1/focuser/0/position?ClientTransactionID=77");
        QTRY_COMPARE(f->focuser().waiting, 1);
        f->clock.advance(5000);
        const QJsonObject o = c.await().json();
        QCOMPARE(o["ErrorNumber"].toInt(), 0x500);
        QCOMPARE(o["ClientTransactionID"].toInt(), 77);
        // The member's late answer goes nowhere; the connection serves the next request.
        f->clock.advance(15'000);
        QCOMPARE(f->focuser().waiting, 0);
        c.request("GET", "/api/v1/focuser/0/name");
        QCOMPARE(c.await().json()["Value"].toString(), "Mivel Focuser");
    }

    // --- Without a server

    void formsDecode() {
        const auto pairs = decodeForm("Action=Temp+Comp&Parameters=a%26b%3D1&&Empty&Action=again");
        QCOMPARE(pairs, (QList<QPair<QString, QString>>{
                            {"Action", "Temp Comp"}, {"Parameters", "a&b=1"}, {"Empty", ""}}));
    }

    // An error the server has never seen (its number, source and words in no list) reaches the
    // client with the number of its kind alone, and its own words.
    void anErrorReachesTheClientWithItsKindsNumber_data() {
        QTest::addColumn<ErrorKind>("kind");
        QTest::addColumn<int>("number");
        QTest::newRow("not linked") << ErrorKind::NotLinked << 0x407;
        QTest::newRow("out of range") << ErrorKind::OutOfRange << 0x401;
        QTest::newRow("invalid value") << ErrorKind::InvalidValue << 0x401;
        QTest::newRow("wrong mode") << ErrorKind::WrongMode << 0x40B;
        QTest::newRow("not known") << ErrorKind::NotKnown << 0x402;
        QTest::newRow("no answer") << ErrorKind::NoAnswer << 0x500;
        QTest::newRow("not implemented") << ErrorKind::NotImplemented << 0x400;
        QTest::newRow("port failure") << ErrorKind::PortFailure << 0x501;
        QTest::newRow("unavailable") << ErrorKind::Unavailable << 0x502;
        QTest::newRow("other failure") << ErrorKind::OtherFailure << 0x502;
    }
    void anErrorReachesTheClientWithItsKindsNumber() {
        QFETCH(ErrorKind, kind);
        QFETCH(int, number);
        stock();
        // A number an object of its own might raise (0x400) must not decide the kind either.
        f->focuser().errors["TempCompCoefficient"] = {kind, 0x400, "Elsewhere", "Raised anew."};
        const QJsonObject o = f->get("/api/v1/focuser/0/tempcompcoefficient");
        QCOMPARE(o["ErrorNumber"].toInt(-1), number);
        QCOMPARE(o["ErrorMessage"].toString(), "Raised anew.");
    }

    void errorsWithoutWordsAreNamedByNumberAndSource() {
        QCOMPARE(replyError({ErrorKind::OtherFailure, 7, "Mivel", ""}).message,
                 "Error 7 from Mivel");
    }
};

QTEST_GUILESS_MAIN(AlpacaApiTest)
#include "test_alpaca_api.moc"
