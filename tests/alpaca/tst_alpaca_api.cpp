// The Alpaca API through the real HTTP server, over fake driver objects.

#include "ServerFixture.h"

#include <QJsonArray>

using namespace mivel;
using namespace mivel::test;

class AlpacaApiTest : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerFixture> f;

private slots:
    void init() {
        f = std::make_unique<ServerFixture>();
        QVERIFY(f->listening);
    }
    void cleanup() { f.reset(); }

    void replyHasTheApiShapeAndKeyCase() {
        f->focuser().values["Position"] = 1234;
        const HttpReply r = f->get("/api/v1/focuser/0/position?ClientTransactionID=7&ClientID=3");
        QCOMPARE(r.status, 200);
        QVERIFY(r.header("Content-Type").startsWith("application/json"));
        const QJsonObject o = r.json();
        QStringList keys = o.keys();
        keys.sort();
        QCOMPARE(keys, (QStringList{"ClientTransactionID", "ErrorMessage", "ErrorNumber",
                                    "ServerTransactionID", "Value"}));
        QCOMPARE(o["Value"].toInt(), 1234);
        QCOMPARE(o["ClientTransactionID"].toInt(), 7);
        QCOMPARE(o["ErrorNumber"].toInt(), 0);
        QCOMPARE(o["ErrorMessage"].toString(), QString());

        // A method returns no value: the reply has no Value key at all.
        const QJsonObject halt = f->put("/api/v1/focuser/0/halt", "ClientTransactionID=8").json();
        QVERIFY(!halt.contains("Value"));
        QCOMPARE(halt["ClientTransactionID"].toInt(), 8);
        QCOMPARE(f->focuser().calls.last(), "call Halt()");
    }

    void transactionIds() {
        // The server counts from 1 over every reply, management ones included.
        QCOMPARE(f->get("/api/v1/focuser/0/name").json()["ServerTransactionID"].toInt(), 1);
        QCOMPARE(f->get("/management/apiversions").json()["ServerTransactionID"].toInt(), 2);
        QCOMPARE(f->get("/api/v1/rotator/0/name").json()["ServerTransactionID"].toInt(), 3);

        auto clientIdOf = [&](const HttpReply& r) {
            return r.json()["ClientTransactionID"].toInt(-1);
        };
        // GET parameter names are matched in any case.
        QCOMPARE(clientIdOf(f->get("/api/v1/focuser/0/name?clienttransactionid=5")), 5);
        QCOMPARE(clientIdOf(f->get("/api/v1/focuser/0/name?CLIENTTRANSACTIONID=6")), 6);
        QCOMPARE(f->get("/api/v1/focuser/0/name?ClientTransactionID=4294967295")
                     .json()["ClientTransactionID"]
                     .toDouble(),
                 4294967295.0);
        // Absent or unusable ids read as 0.
        QCOMPARE(clientIdOf(f->get("/api/v1/focuser/0/name")), 0);
        QCOMPARE(clientIdOf(f->get("/api/v1/focuser/0/name?ClientTransactionID=abc")), 0);
        QCOMPARE(clientIdOf(f->get("/api/v1/focuser/0/name?ClientTransactionID=-3")), 0);
        QCOMPARE(clientIdOf(f->get("/api/v1/focuser/0/name?ClientTransactionID=4294967296")), 0);
        // PUT names are exact: a misspelt id is not the id.
        QCOMPARE(clientIdOf(f->put("/api/v1/focuser/0/halt", "ClientTransactionID=9")), 9);
        QCOMPARE(clientIdOf(f->put("/api/v1/focuser/0/halt", "clienttransactionid=9")), 0);
    }

    void unintelligibleRequestsGet400WithAReason_data() {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<QByteArray>("form");
        QTest::addColumn<QString>("reason");
        auto row = [](const char* name, QByteArray m, QByteArray t, QByteArray form, QString why) {
            QTest::newRow(name) << m << t << form << why;
        };
        row("unknown type", "GET", "/api/v1/telescope/0/name", "", "Unknown device type");
        row("type not lower case", "GET", "/api/v1/Focuser/0/name", "", "Unknown device type");
        row("device 1", "GET", "/api/v1/focuser/1/name", "", "Unknown device number");
        row("device 00", "GET", "/api/v1/focuser/00/name", "", "Unknown device number");
        row("device -0", "GET", "/api/v1/focuser/-0/name", "", "Unknown device number");
        row("member not lower case", "GET", "/api/v1/focuser/0/Position", "", "Unknown member");
        row("unknown member", "GET", "/api/v1/focuser/0/nosuch", "", "Unknown member");
        row("api v2", "GET", "/api/v2/focuser/0/name", "", "Not an Alpaca device path");
        row("trailing slash", "GET", "/api/v1/focuser/0/name/", "", "Not an Alpaca device path");
        row("read a method", "GET", "/api/v1/focuser/0/move", "", "cannot be read");
        row("write a getter", "PUT", "/api/v1/focuser/0/position", "Position=1",
            "cannot be written");
        row("missing", "PUT", "/api/v1/focuser/0/move", "", "Missing parameter: Position");
        row("wrong case", "PUT", "/api/v1/focuser/0/move", "position=5",
            "Parameter position must be spelled Position");
        row("not an integer", "PUT", "/api/v1/focuser/0/move", "Position=abc", "is not an integer");
        row("fraction for an integer", "PUT", "/api/v1/focuser/0/move", "Position=1.5",
            "is not an integer");
        row("not a boolean", "PUT", "/api/v1/focuser/0/tempcomp", "TempComp=yes", "True or False");
        row("not a number", "PUT", "/api/v1/rotator/0/move", "Position=1,5", "is not a number");
        row("infinity", "PUT", "/api/v1/rotator/0/move", "Position=inf", "is not a number");
        row("missing Id", "GET", "/api/v1/switch/0/getswitchvalue", "", "Missing parameter: Id");
        row("second parameter", "PUT", "/api/v1/switch/0/setswitch", "Id=1",
            "Missing parameter: State");
        row("extra member case", "PUT", "/api/v1/focuser/0/tempcompcoefficient",
            "tempcompcoefficient=1", "must be spelled TempCompCoefficient");
        row("other method", "DELETE", "/api/v1/focuser/0/name", "", "not used by the Alpaca API");
        row("management", "GET", "/management/v1/nosuch", "", "Unknown management member");
    }
    void unintelligibleRequestsGet400WithAReason() {
        QFETCH(QByteArray, method);
        QFETCH(QByteArray, target);
        QFETCH(QByteArray, form);
        QFETCH(QString, reason);
        HttpTestClient c(f->port());
        c.send(method + " " + target + " HTTP/1.1\r\nHost: x\r\nContent-Length: " +
               QByteArray::number(form.size()) + "\r\n\r\n" + form);
        const HttpReply r = c.await();
        QCOMPARE(r.status, 400);
        QVERIFY(r.header("Content-Type").startsWith("text/plain"));
        QVERIFY2(QString::fromUtf8(r.body).contains(reason), r.body.constData());
        QVERIFY(f->focuser().calls.isEmpty());
    }

    void getParameterNamesInAnyCase() {
        f->temperature().values["FanMode"] = 1;
        QCOMPARE(f->get("/api/v1/switch/0/getswitchvalue?id=0").json()["Value"].toDouble(), 1.0);
        QCOMPARE(f->get("/api/v1/switch/0/getswitchvalue?ID=0").json()["Value"].toDouble(), 1.0);
    }

    void managementApi() {
        QCOMPARE(f->get("/management/apiversions").json()["Value"].toArray(), QJsonArray{1});
        const QJsonObject d = f->get("/management/v1/description").json()["Value"].toObject();
        for (const char* key : {"ServerName", "Manufacturer", "ManufacturerVersion", "Location"})
            QVERIFY2(d[key].isString() && !d[key].toString().isEmpty(), key);

        const QJsonArray devices = f->get("/management/v1/configureddevices?ClientTransactionID=3")
                                       .json()["Value"]
                                       .toArray();
        QCOMPARE(devices.size(), 3);
        QStringList types, ids;
        for (const QJsonValue& v : devices) {
            const QJsonObject o = v.toObject();
            QCOMPARE(o["DeviceNumber"].toInt(-1), 0);
            QVERIFY(!o["DeviceName"].toString().isEmpty());
            types << o["DeviceType"].toString();
            ids << o["UniqueID"].toString();
            QVERIFY(!QUuid::fromString(ids.last()).isNull());
        }
        QCOMPARE(types, (QStringList{"Focuser", "Rotator", "Switch"}));
        QCOMPARE(QSet<QString>(ids.begin(), ids.end()).size(), 3);
        // Listing the devices does not create the driver objects.
        QVERIFY(!f->provider.created(DeviceProvider::Kind::Focuser));

        // The ids stay the same for the next server on the same configuration ...
        const auto again =
            alpaca::DeviceIds::load(f->config.path(), alpaca::AlpacaServer::deviceTypes());
        QCOMPARE(again.id("Rotator"), ids[1]);
        // ... and differ for another installation.
        QTemporaryDir other;
        QVERIFY(alpaca::DeviceIds::load(other.path(), {"Rotator"}).id("Rotator") != ids[1]);
    }

    void commonMembersAndInterfaceVersions() {
        QCOMPARE(f->get("/api/v1/focuser/0/interfaceversion").json()["Value"].toInt(), 4);
        QCOMPARE(f->get("/api/v1/rotator/0/interfaceversion").json()["Value"].toInt(), 4);
        QCOMPARE(f->get("/api/v1/switch/0/interfaceversion").json()["Value"].toInt(), 3);
        for (const char* m : {"name", "description", "driverinfo", "driverversion"})
            QVERIFY(
                !f->get(QByteArray("/api/v1/focuser/0/") + m).json()["Value"].toString().isEmpty());

        QCOMPARE(f->put("/api/v1/focuser/0/connected", "Connected=True").status, 200);
        QCOMPARE(f->focuser().calls.last(), "set Connected true");
        QCOMPARE(f->get("/api/v1/focuser/0/connected").json()["Value"].toBool(), true);
        f->put("/api/v1/focuser/0/disconnect", "");
        QCOMPARE(f->focuser().calls.last(), "set Connected false");

        // Raw commands are not offered: every command to the unit is one of the object's own.
        QCOMPARE(f->put("/api/v1/focuser/0/commandstring", "Command=Q&Raw=true")
                     .json()["ErrorNumber"]
                     .toInt(),
                 0x400);
    }

    void focuserMembersMapOntoTheObject() {
        f->put("/api/v1/focuser/0/move", "Position=12000");
        QCOMPARE(f->focuser().calls.last(), "call Move(12000)");
        f->put("/api/v1/focuser/0/tempcomp", "TempComp=true");
        QCOMPARE(f->focuser().calls.last(), "set TempComp true");
        const QList<QPair<QByteArray, QString>> reads{{"absolute", "absolute"},
                                                      {"ismoving", "IsMoving"},
                                                      {"maxincrement", "MaxIncrement"},
                                                      {"maxstep", "MaxStep"},
                                                      {"position", "Position"},
                                                      {"stepsize", "StepSize"},
                                                      {"tempcomp", "TempComp"},
                                                      {"temperature", "Temperature"},
                                                      {"tempcompavailable", "TempCompAvailable"}};
        for (const auto& [path, member] : reads) {
            f->get("/api/v1/focuser/0/" + path);
            QCOMPARE(f->focuser().calls.last(), "get " + member);
        }
    }

    void rotatorMembersMapOntoTheObject() {
        FakeDevice& r = f->rotator();
        r.values["Position"] = 30.0;
        r.values["SetPosition"] = 45.5;
        QCOMPARE(f->get("/api/v1/rotator/0/targetposition").json()["Value"].toDouble(), 45.5);
        QCOMPARE(r.calls.last(), "get SetPosition");
        f->put("/api/v1/rotator/0/sync", "Position=90");
        QCOMPARE(r.calls.last(), "call ResetPosition(90)");
        f->put("/api/v1/rotator/0/moveabsolute", "Position=120.5");
        QCOMPARE(r.calls.last(), "call MoveAbsolute(120.5)");
        f->put("/api/v1/rotator/0/move", "Position=-10");
        QCOMPARE(r.calls.last(), "call Move(-10)");

        // Absolute angles outside 0..360 are refused before they reach the object.
        const int calls = r.calls.size();
        const QJsonObject out = f->put("/api/v1/rotator/0/moveabsolute", "Position=360").json();
        QCOMPARE(out["ErrorNumber"].toInt(), 0x401);
        QCOMPARE(r.calls.size(), calls);

        // An angle past a turn reaches the client within 0..360.
        r.values["Position"] = -90.0;
        QCOMPARE(f->get("/api/v1/rotator/0/position").json()["Value"].toDouble(), 270.0);

        // Reverse mirrors the position and every angle the client gives; not the mechanical one.
        QCOMPARE(f->get("/api/v1/rotator/0/canreverse").json()["Value"].toBool(), true);
        f->put("/api/v1/rotator/0/reverse", "Reverse=True");
        QCOMPARE(f->get("/api/v1/rotator/0/reverse").json()["Value"].toBool(), true);
        r.values["Position"] = 30.0;
        QCOMPARE(f->get("/api/v1/rotator/0/position").json()["Value"].toDouble(), 330.0);
        QCOMPARE(f->get("/api/v1/rotator/0/mechanicalposition").json()["Value"].toDouble(), 30.0);
        f->put("/api/v1/rotator/0/move", "Position=10");
        QCOMPARE(r.calls.last(), "call Move(-10)");
        f->put("/api/v1/rotator/0/moveabsolute", "Position=90");
        QCOMPARE(r.calls.last(), "call MoveAbsolute(270)");
        f->put("/api/v1/rotator/0/movemechanical", "Position=90");
        QCOMPARE(r.calls.last(), "call MoveAbsolute(90)");
    }

    void temperatureObjectAsSwitches() {
        FakeDevice& t = f->temperature();
        QCOMPARE(f->get("/api/v1/switch/0/maxswitch").json()["Value"].toInt(), 13);
        auto value = [&](const QByteArray& member, int id) -> QJsonValue {
            return f->get("/api/v1/switch/0/" + member + "?Id=" + QByteArray::number(id))
                .json()["Value"];
        };
        QCOMPARE(value("getswitchname", 7).toString(), "Dew heater 1 power");
        QCOMPARE(value("minswitchvalue", 3).toDouble(), 0.1);
        QCOMPARE(value("maxswitchvalue", 6).toDouble(), 10.0);
        QCOMPARE(value("minswitchvalue", 6).toDouble(), -10.0);
        QCOMPARE(value("switchstep", 2).toDouble(), 0.1);
        QCOMPARE(value("canwrite", 8).toBool(), true);
        QCOMPARE(value("canwrite", 9).toBool(), false);
        QCOMPARE(value("canasync", 0).toBool(), false);

        f->put("/api/v1/switch/0/setswitchvalue", "Id=1&Value=50");
        QCOMPARE(t.calls.last(), "set FanSpeed 50");
        QCOMPARE(t.values["FanSpeed"].typeId(), QMetaType::Int); // whole-number member
        f->put("/api/v1/switch/0/setswitchvalue", "Id=6&Value=2.5");
        QCOMPARE(t.calls.last(), "set SecondaryHeaterSetpoint 2.5");
        f->put("/api/v1/switch/0/setswitch", "Id=0&State=true");
        QCOMPARE(t.calls.last(), "set FanMode 2");
        f->put("/api/v1/switch/0/setswitch", "Id=8&State=false");
        QCOMPARE(t.calls.last(), "set DewHeater2Power 0");

        t.values["AmbientTemp"] = -5.25;
        QCOMPARE(value("getswitchvalue", 9).toDouble(), -5.25);
        QCOMPARE(value("getswitch", 9).toBool(), true);
        t.values["FanMode"] = 0;
        QCOMPARE(value("getswitch", 0).toBool(), false);

        // Temperatures are read-only; ids outside the table are invalid values.
        QCOMPARE(
            f->put("/api/v1/switch/0/setswitchvalue", "Id=9&Value=1").json()["ErrorNumber"].toInt(),
            0x400);
        QCOMPARE(f->get("/api/v1/switch/0/getswitchvalue?Id=13").json()["ErrorNumber"].toInt(),
                 0x401);
        QCOMPARE(f->get("/api/v1/switch/0/getswitchvalue?Id=-1").json()["ErrorNumber"].toInt(),
                 0x401);
        QCOMPARE(
            f->put("/api/v1/switch/0/setswitchname", "Id=1&Name=x").json()["ErrorNumber"].toInt(),
            0x400);
    }

    void extraMembersByNameAndAsActions() {
        FakeDevice& foc = f->focuser();
        foc.values["TempCompCoefficient"] = 0.1f;
        QCOMPARE(f->get("/api/v1/focuser/0/tempcompcoefficient").json()["Value"].toDouble(), 0.1);
        f->put("/api/v1/focuser/0/tempcompcoefficient", "TempCompCoefficient=12.5");
        QCOMPARE(foc.calls.last(), "set TempCompCoefficient 12.5");
        f->put("/api/v1/focuser/0/recordfocusposition", "");
        QCOMPARE(foc.calls.last(), "call RecordFocusPosition()");
        f->put("/api/v1/focuser/0/showform", "Which=1");
        QCOMPARE(foc.calls.last(), "call ShowForm(1)");
        // A variant argument goes to the object as written; the object judges it.
        f->put("/api/v1/rotator/0/unwrap", "Angle=abc");
        QCOMPARE(f->rotator().calls.last(), "call Unwrap(abc)");

        const QStringList actions =
            f->get("/api/v1/focuser/0/supportedactions").json()["Value"].toVariant().toStringList();
        QVERIFY(actions.contains("TempCompCoefficient"));
        QVERIFY(actions.contains("Link"));
        QVERIFY(actions.contains("RecordFocusPosition"));
        QVERIFY(!actions.contains("Position")); // standard members are not repeated
        QVERIFY(!actions.contains("Connected"));

        QJsonObject a =
            f->put("/api/v1/focuser/0/action", "Action=tempcompcoefficient&Parameters=").json();
        QCOMPARE(a["Value"].toString(), "12.5");
        QCOMPARE(a["ErrorNumber"].toInt(), 0);
        f->put("/api/v1/focuser/0/action", "Action=TempCompCoefficient&Parameters=-2.5");
        QCOMPARE(foc.calls.last(), "set TempCompCoefficient -2.5");
        f->put("/api/v1/focuser/0/action", "Action=RecordFocusPosition&Parameters=");
        QCOMPARE(foc.calls.last(), "call RecordFocusPosition()");
        a = f->put("/api/v1/focuser/0/action", "Action=TempCompCoefficient&Parameters=lots").json();
        QCOMPARE(a["ErrorNumber"].toInt(), 0x401);
        a = f->put("/api/v1/focuser/0/action", "Action=Position&Parameters=").json();
        QCOMPARE(a["ErrorNumber"].toInt(), 0x40C);
        QCOMPARE(f->put("/api/v1/focuser/0/action", "Action=Link").status,
                 400); // Parameters missing
    }

    void recordedErrorsAndValuesTravelTogether() {
        FakeDevice& foc = f->focuser();
        foc.errors["Move"] = {0, "Mivel",
                              "Temperature compensation active, focus movement not allowed."};
        QJsonObject o = f->put("/api/v1/focuser/0/move", "Position=100").json();
        QCOMPARE(o["ErrorNumber"].toInt(), 0x40B);
        QCOMPARE(o["ErrorMessage"].toString(),
                 "Temperature compensation active, focus movement not allowed.");
        QVERIFY(!o.contains("Value"));

        // A getter that records an error still returns its value, and the client gets both.
        foc.values["TempCompCoefficient"] = 0.0f;
        foc.errors["TempCompCoefficient"] = {
            0, "Mivel", "Temperature compensation coefficient currently unavailable, try again."};
        o = f->get("/api/v1/focuser/0/tempcompcoefficient").json();
        QCOMPARE(o["ErrorNumber"].toInt(), 0x402);
        QCOMPARE(o["Value"].toDouble(-1), 0.0);

        f->temperature().errors["FanSpeed"] = {0, "Mivel", "Fan Mode is not Manual."};
        o = f->put("/api/v1/switch/0/setswitchvalue", "Id=1&Value=50").json();
        QCOMPARE(o["ErrorNumber"].toInt(), 0x40B);
        QCOMPARE(o["ErrorMessage"].toString(), "Fan Mode is not Manual.");
    }

    void connectRunsInTheBackground() {
        FakeDevice& foc = f->focuser();
        foc.waitMs["Connected"] = 2000;
        HttpReply r = f->put("/api/v1/focuser/0/connect", "ClientTransactionID=1");
        QCOMPARE(r.json()["ErrorNumber"].toInt(), 0);
        QCOMPARE(foc.waiting, 1);
        QCOMPARE(f->get("/api/v1/focuser/0/connecting").json()["Value"].toBool(), true);
        // A second connect while one runs starts nothing new.
        f->put("/api/v1/focuser/0/connect", "");
        QCOMPARE(foc.waiting, 1);
        f->clock.advance(2000);
        foc.waitMs.clear();
        QCOMPARE(f->get("/api/v1/focuser/0/connecting").json()["Value"].toBool(), false);
        QCOMPARE(f->get("/api/v1/focuser/0/connected").json()["Value"].toBool(), true);

        // A failed connect reports its error once, at the first poll after it ended.
        FakeDevice& rot = f->rotator();
        rot.errors["Connected"] = {1, "0", "No response from Mivel"};
        f->put("/api/v1/rotator/0/connect", "");
        QJsonObject o = f->get("/api/v1/rotator/0/connecting").json();
        QCOMPARE(o["Value"].toBool(), false);
        QCOMPARE(o["ErrorNumber"].toInt(), 0x500);
        QCOMPARE(o["ErrorMessage"].toString(), "No response from Mivel");
        QCOMPARE(f->get("/api/v1/rotator/0/connecting").json()["ErrorNumber"].toInt(), 0);
    }

    void deviceStateListsOperationalValues() {
        f->focuser().values["Position"] = 500;
        f->focuser().values["IsMoving"] = false;
        f->focuser().values["Temperature"] = 11.5;
        const QJsonArray items = f->get("/api/v1/focuser/0/devicestate").json()["Value"].toArray();
        QStringList names;
        for (const QJsonValue& v : items)
            names << v.toObject()["Name"].toString();
        QCOMPARE(names, (QStringList{"IsMoving", "Position", "Temperature", "TimeStamp"}));
        QCOMPARE(items[1].toObject()["Value"].toInt(), 500);

        // A value that cannot be read is left out.
        f->rotator().values["IsMoving"] = true;
        f->rotator().errors["Position"] = {0, "Vark", "Rotator not linked"};
        const QJsonArray rot = f->get("/api/v1/rotator/0/devicestate").json()["Value"].toArray();
        QCOMPARE(rot.size(), 2);
        QCOMPARE(rot[0].toObject()["Name"].toString(), "IsMoving");

        f->temperature().values["FanMode"] = 1;
        const QJsonArray sw = f->get("/api/v1/switch/0/devicestate").json()["Value"].toArray();
        QCOMPARE(sw[0].toObject()["Name"].toString(), "GetSwitch0");
        QCOMPARE(sw[0].toObject()["Value"].toBool(), true);
        QCOMPARE(sw[1].toObject()["Name"].toString(), "GetSwitchValue0");
    }

    void setupPages() {
        HttpReply r = f->get("/setup");
        QCOMPARE(r.status, 200);
        QVERIFY(r.header("Content-Type").startsWith("text/html"));
        QVERIFY(r.body.contains("/setup/v1/rotator/0/setup"));

        r = f->get("/setup/v1/focuser/0/setup");
        QCOMPARE(r.status, 200);
        QVERIFY(r.body.contains("Connect the device to read its state"));
        QVERIFY(f->focuser().calls.isEmpty()); // nothing is read from an unlinked device

        f->focuser().values["Connected"] = true;
        f->focuser().values["AppVersion"] = "1.5 <b>";
        r = f->get("/setup/v1/focuser/0/setup");
        QVERIFY(r.body.contains("TempCompCoefficient"));
        QVERIFY(r.body.contains("1.5 &lt;b&gt;")); // escaped
        QCOMPARE(f->get("/setup/v1/focuser/1/setup").status, 404);
    }

    void aWaitThatNeverEndsIsAnsweredAtTheDeadline() {
        f->alpaca->setAnswerDeadline(5000);
        f->focuser().waitMs["Position"] = 20'000;
        HttpTestClient c(f->port());
        c.get("/api/v1/focuser/0/position?ClientTransactionID=77");
        QTRY_COMPARE(f->focuser().waiting, 1);
        f->clock.advance(5000);
        const QJsonObject o = c.await().json();
        QCOMPARE(o["ErrorNumber"].toInt(), 0x500);
        QCOMPARE(o["ClientTransactionID"].toInt(), 77);
        // The member's late answer goes nowhere; the connection serves the next request.
        f->clock.advance(15'000);
        QCOMPARE(f->focuser().waiting, 0);
        c.get("/api/v1/focuser/0/name");
        QCOMPARE(c.await().json()["Value"].toString(), "Mivel Focuser");
    }
};

QTEST_GUILESS_MAIN(AlpacaApiTest)
#include "tst_alpaca_api.moc"
