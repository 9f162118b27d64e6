// indi_mivel under indiserver, driven with INDI's own command-line clients against the
// simulated unit on a pseudo-terminal: connecting through the serial connection, moving the
// focuser and the rotator, reading the temperatures, refusals as alerts with the unit's
// messages, and the saved configuration.

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

namespace {

// Longer than any of the tools' own time limits (-t).
constexpr int ToolTimeoutMs = 60'000;

quint16 freePort() {
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

// The processes pid started (Linux).
QList<qint64> childrenOf(qint64 pid) {
    QFile file(QString("/proc/%1/task/%1/children").arg(pid));
    QList<qint64> children;
    if (file.open(QIODevice::ReadOnly))
        for (const QByteArray& child : file.readAll().split(' '))
            if (!child.trimmed().isEmpty())
                children << child.trimmed().toLongLong();
    return children;
}

// Whether pid is still there and not merely waiting to be reaped.
bool running(qint64 pid) {
    QFile file(QString("/proc/%1/stat").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray stat = file.readAll();
    const qsizetype end = stat.lastIndexOf(')');
    return end > 0 && stat.mid(end + 2, 1) != "Z";
}

// A client that only listens: everything the server sends, messages included.
class IndiListener {
public:
    bool open(quint16 port) {
        socket_.connectToHost(QHostAddress::LocalHost, port);
        if (!socket_.waitForConnected(5000))
            return false;
        socket_.write("<getProperties version='1.7'/>\n");
        return socket_.waitForBytesWritten(5000);
    }
    // Whether text arrives within ms; what came before it is dropped.
    bool waitFor(const QByteArray& text, int ms = 10'000) {
        QElapsedTimer elapsed;
        elapsed.start();
        while (!heard_.contains(text)) {
            if (elapsed.elapsed() > ms)
                return false;
            socket_.waitForReadyRead(100);
            heard_ += socket_.readAll();
        }
        heard_.remove(0, heard_.indexOf(text) + text.size());
        return true;
    }

private:
    QTcpSocket socket_;
    QByteArray heard_;
};

} // namespace

class TestIndiDriver : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void aPortThatCannotBeOpenedIsReported();
    void connectsThroughTheSerialConnection();
    void movesTheFocuserAbsoluteAndRelative();
    void turnsTheRotatorTheOtherWayPastTheWrapLimit();
    void reportsTheTemperatures();
    void refusalsAreAlertsWithTheUnitsMessages();
    void savesItsConfigurationAndAppliesItOnConnecting();
    void disconnectingRemovesTheUnitsProperties();

private:
    // Runs an INDI tool against the server; its exit code, its output in out.
    int tool(const QString& name, QStringList args, QString* out = nullptr);
    QString get(const QString& query);
    double number(const QString& query) { return get(query).toDouble(); }
    void set(const QString& assignment) { QCOMPARE(tool("indi_setprop", {assignment}), 0); }
    // indi_eval -w: waits until the expression holds; true when it did within seconds.
    bool eventually(const QString& expression, int seconds = 30);
    void startServer();
    void stopServer();
    void connectUnit();

    QTemporaryDir home_;
    QString unitPath_;
    quint16 port_ = 0;
    QProcess sim_;
    QProcess server_;
};

void TestIndiDriver::initTestCase() {
    for (const char* name : {"indiserver", "indi_getprop", "indi_setprop", "indi_eval"})
        if (QStandardPaths::findExecutable(QString::fromLatin1(name)).isEmpty())
            QSKIP("INDI's tools are not installed (indi-bin)");
    QVERIFY(home_.isValid());
    unitPath_ = home_.filePath("unit");
    sim_.setProgram(QStringLiteral(SIM_PROGRAM));
    sim_.setArguments({"--pty", unitPath_});
    sim_.start();
    QVERIFY(sim_.waitForStarted());
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(unitPath_), 10'000);
    startServer();
}

void TestIndiDriver::cleanupTestCase() {
    stopServer();
    sim_.terminate();
    sim_.waitForFinished();
}

// The driver keeps its INDI configuration and mivel's settings under this test's home.
void TestIndiDriver::startServer() {
    port_ = freePort();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("HOME", home_.path());
    env.insert("XDG_CONFIG_HOME", home_.filePath("config"));
    env.insert("XDG_DATA_HOME", home_.filePath("data"));
    server_.setProcessEnvironment(env);
    server_.setStandardOutputFile(QProcess::nullDevice());
    server_.setStandardErrorFile(home_.filePath("indiserver.log"), QIODevice::Append);
    server_.setProgram("indiserver");
    server_.setArguments({"-p", QString::number(port_), "-u", home_.filePath("indiserver.sock"),
                          "-r", "0", QStringLiteral(INDI_DRIVER_PROGRAM)});
    server_.start();
    QVERIFY(server_.waitForStarted());
    QTRY_VERIFY_WITH_TIMEOUT(tool("indi_getprop", {"Mivel.CONNECTION.CONNECT"}) == 0, 20'000);
}

void TestIndiDriver::stopServer() {
    if (server_.state() == QProcess::NotRunning)
        return;
    // The driver ends by itself once indiserver has gone, writing its settings on the way out:
    // it must be gone before the next server starts, or the test's folder is removed.
    const QList<qint64> drivers = childrenOf(server_.processId());
    server_.terminate();
    server_.waitForFinished();
    for (qint64 driver : drivers)
        QTRY_VERIFY_WITH_TIMEOUT(!running(driver), 10'000);
}

int TestIndiDriver::tool(const QString& name, QStringList args, QString* out) {
    QProcess p;
    // By address: a fresh system may have no hosts file to say what "localhost" is.
    args = QStringList{"-h", "127.0.0.1", "-p", QString::number(port_)} + args;
    p.start(name, args);
    if (!p.waitForFinished(ToolTimeoutMs)) {
        p.kill();
        p.waitForFinished();
        return -1;
    }
    if (out)
        *out = QString::fromUtf8(p.readAllStandardOutput()).trimmed();
    return p.exitCode();
}

QString TestIndiDriver::get(const QString& query) {
    QString out;
    if (tool("indi_getprop", {"-1", query}, &out) != 0)
        return QStringLiteral("(none)");
    return out;
}

bool TestIndiDriver::eventually(const QString& expression, int seconds) {
    return tool("indi_eval", {"-w", "-t", QString::number(seconds), expression}) == 0;
}

void TestIndiDriver::connectUnit() {
    set("Mivel.DEVICE_PORT.PORT=" + unitPath_);
    set("Mivel.CONNECTION.CONNECT=On");
    QVERIFY(eventually(R"("Mivel.CONNECTION.CONNECT"==1)", 15));
}

void TestIndiDriver::aPortThatCannotBeOpenedIsReported() {
    IndiListener listener;
    QVERIFY(listener.open(port_));
    set("Mivel.DEVICE_AUTO_SEARCH.INDI_DISABLED=On");
    set("Mivel.DEVICE_PORT.PORT=" + home_.filePath("absent"));
    set("Mivel.CONNECTION.CONNECT=On");
    QVERIFY(listener.waitFor(home_.filePath("absent").toUtf8()));
    QVERIFY(eventually(R"("Mivel.CONNECTION._STATE"==3)", 10)); // Alert
    QCOMPARE(get("Mivel.CONNECTION.CONNECT"), "Off");
}

void TestIndiDriver::connectsThroughTheSerialConnection() {
    connectUnit();
    QCOMPARE(get("Mivel.DRIVER_INFO.DRIVER_EXEC"), "indi_mivel");
    // Focuser (1 << 3) and rotator (1 << 12).
    QCOMPARE(get("Mivel.DRIVER_INFO.DRIVER_INTERFACE"), QString::number((1 << 3) | (1 << 12)));
    QCOMPARE(get("Mivel.FOCUS_MAX.FOCUS_MAX_VALUE"), "40000");
    QVERIFY(eventually(R"("Mivel.ABS_FOCUS_POSITION._STATE"==1)", 10)); // Ok: polled
}

void TestIndiDriver::movesTheFocuserAbsoluteAndRelative() {
    set("Mivel.ABS_FOCUS_POSITION.FOCUS_ABSOLUTE_POSITION=12000");
    QVERIFY(eventually(R"("Mivel.ABS_FOCUS_POSITION._STATE"==2)", 5)); // Busy while it moves
    QVERIFY(eventually(R"("Mivel.ABS_FOCUS_POSITION._STATE"==1)"));
    QVERIFY(std::abs(number("Mivel.ABS_FOCUS_POSITION.FOCUS_ABSOLUTE_POSITION") - 12000) < 6);

    set("Mivel.FOCUS_MOTION.FOCUS_INWARD=On");
    set("Mivel.REL_FOCUS_POSITION.FOCUS_RELATIVE_POSITION=2500");
    QVERIFY(eventually(R"("Mivel.REL_FOCUS_POSITION._STATE"==1)"));
    QVERIFY(std::abs(number("Mivel.ABS_FOCUS_POSITION.FOCUS_ABSOLUTE_POSITION") - 9500) < 6);
}

// From 0 with no wrap, 90 degrees the short way would wrap the cable past a 45-degree limit:
// the rotator object turns the other way round instead.
void TestIndiDriver::turnsTheRotatorTheOtherWayPastTheWrapLimit() {
    QCOMPARE(number("Mivel.ABS_ROTATOR_ANGLE.ANGLE"), 0.0);
    QCOMPARE(number("Mivel.MIVEL_ROTATOR_WRAP.WRAP"), 0.0);
    set("Mivel.MIVEL_WRAP_LIMIT.LIMIT=45");
    QVERIFY(eventually(R"("Mivel.MIVEL_WRAP_LIMIT._STATE"==1)", 5));
    set("Mivel.ABS_ROTATOR_ANGLE.ANGLE=90");
    QVERIFY(eventually(R"("Mivel.ABS_ROTATOR_ANGLE._STATE"==2)", 5)); // Busy
    QVERIFY(eventually(R"("Mivel.MIVEL_ROTATOR_WRAP.WRAP" < -5)", 10));

    // Abort stops it where it is.
    set("Mivel.ROTATOR_ABORT_MOTION.ABORT=On");
    QVERIFY(eventually(R"("Mivel.ABS_ROTATOR_ANGLE._STATE"!=2)", 5));
    QTest::qWait(1500);
    const double stopped = number("Mivel.ABS_ROTATOR_ANGLE.ANGLE");
    const double wrap = number("Mivel.MIVEL_ROTATOR_WRAP.WRAP");
    QVERIFY2(stopped > 180 && stopped < 355, qPrintable(QString::number(stopped)));
    QCOMPARE(wrap, stopped - 360);
    QTest::qWait(1000);
    QCOMPARE(number("Mivel.ABS_ROTATOR_ANGLE.ANGLE"), stopped);

    // Within the limit the short way is taken.
    const int target = int(stopped) - 10;
    set(QString("Mivel.ABS_ROTATOR_ANGLE.ANGLE=%1").arg(target));
    QVERIFY(eventually(QString(R"("Mivel.ABS_ROTATOR_ANGLE._STATE"==1 && )"
                               R"("Mivel.ABS_ROTATOR_ANGLE.ANGLE"==%1)")
                           .arg(target)));
    QCOMPARE(number("Mivel.MIVEL_ROTATOR_WRAP.WRAP"), double(target - 360));

    // A limit the object does not accept is an alert with its message.
    IndiListener listener;
    QVERIFY(listener.open(port_));
    set("Mivel.MIVEL_WRAP_LIMIT.LIMIT=2001");
    QVERIFY(listener.waitFor("Illegal wrap limit value."));
    QCOMPARE(get("Mivel.MIVEL_WRAP_LIMIT._STATE"), "Alert");
}

void TestIndiDriver::reportsTheTemperatures() {
    QVERIFY(eventually(R"("Mivel.MIVEL_TEMPERATURES._STATE"==1)", 10));
    const double ambient = number("Mivel.MIVEL_TEMPERATURES.AMBIENT");
    // The simulated night starts in a few degrees Celsius, never 0 (no reading).
    QVERIFY2(ambient > -30 && ambient < 40 && ambient != 0, qPrintable(QString::number(ambient)));
    for (const char* sensor : {"PRIMARY", "SECONDARY", "ELECTRONICS"}) {
        const double t = number(QString("Mivel.MIVEL_TEMPERATURES.") + sensor);
        QVERIFY2(t > -30 && t < 60, sensor);
    }
    QVERIFY(std::abs(number("Mivel.FOCUS_TEMPERATURE.TEMPERATURE") - ambient) < 0.5);

    set("Mivel.MIVEL_DEW_HEATERS.DEW_HEATER_2=35");
    QVERIFY(eventually(R"("Mivel.MIVEL_DEW_HEATERS.DEW_HEATER_2"==35)", 10));
}

// The same refusals as the Alpaca devices', with the same texts.
void TestIndiDriver::refusalsAreAlertsWithTheUnitsMessages() {
    IndiListener listener;
    QVERIFY(listener.open(port_));

    set("Mivel.MIVEL_FAN_MODE.FAN_AUTO_1=On");
    QVERIFY(eventually(R"("Mivel.MIVEL_FAN_MODE.FAN_AUTO_1"==1)", 10));
    set("Mivel.MIVEL_FAN.FAN_SPEED=30");
    QVERIFY(listener.waitFor("Fan Mode is not Manual."));
    QCOMPARE(get("Mivel.MIVEL_FAN._STATE"), "Alert");
    set("Mivel.MIVEL_FAN_MODE.FAN_MANUAL=On");
    set("Mivel.MIVEL_FAN.FAN_SPEED=30");
    QVERIFY(eventually(R"("Mivel.MIVEL_FAN._STATE"==1 && "Mivel.MIVEL_FAN.FAN_SPEED"==30)", 10));

    set("Mivel.MIVEL_TEMP_COMP.COEFFICIENT=12");
    QVERIFY(listener.waitFor("Temperature compensation coefficient value out of range."));

    set("Mivel.MIVEL_TEMP_COMP_MODE.TEMP_COMP_AUTOMATIC=On");
    QVERIFY(eventually(R"("Mivel.MIVEL_TEMP_COMP_MODE.TEMP_COMP_AUTOMATIC"==1)", 10));
    set("Mivel.ABS_FOCUS_POSITION.FOCUS_ABSOLUTE_POSITION=15000");
    QVERIFY(listener.waitFor("Temperature compensation active, focus movement not allowed."));
    QCOMPARE(get("Mivel.ABS_FOCUS_POSITION._STATE"), "Alert");
    set("Mivel.MIVEL_TEMP_COMP_MODE.TEMP_COMP_OFF=On");
    QVERIFY(eventually(R"("Mivel.MIVEL_TEMP_COMP_MODE.TEMP_COMP_OFF"==1)", 10));
}

// The port, the rotator's direction and its wrap limit are INDI configuration; a new driver
// process applies them when it connects.
void TestIndiDriver::savesItsConfigurationAndAppliesItOnConnecting() {
    const double angle = number("Mivel.ABS_ROTATOR_ANGLE.ANGLE");
    const QString mirrored =
        QString(R"("Mivel.ABS_ROTATOR_ANGLE.ANGLE"==%1)").arg(360 - angle, 0, 'f', 2);
    set("Mivel.MIVEL_WRAP_LIMIT.LIMIT=300");
    set("Mivel.ROTATOR_REVERSE.INDI_ENABLED=On");
    QVERIFY(eventually(mirrored, 10));
    set("Mivel.CONFIG_PROCESS.CONFIG_SAVE=On");
    const QString config = home_.filePath(".indi/Mivel_config.xml");
    const auto saved = [&config] {
        QFile file(config);
        const QByteArray xml = file.open(QIODevice::ReadOnly) ? file.readAll().simplified() : "";
        return xml.contains("name='MIVEL_WRAP_LIMIT'> <oneNumber name='LIMIT'> 300 </oneNumber>") &&
               xml.contains("name='ROTATOR_REVERSE'> <oneSwitch name='INDI_ENABLED'> On");
    };
    QTRY_VERIFY(saved());

    stopServer();
    startServer();
    QCOMPARE(get("Mivel.DEVICE_PORT.PORT"), unitPath_);
    set("Mivel.CONNECTION.CONNECT=On");
    QVERIFY(eventually(R"("Mivel.CONNECTION.CONNECT"==1)", 15));
    QCOMPARE(get("Mivel.ROTATOR_REVERSE.INDI_ENABLED"), "On");
    QCOMPARE(number("Mivel.MIVEL_WRAP_LIMIT.LIMIT"), 300.0);
    QVERIFY(eventually(mirrored, 10));
}

void TestIndiDriver::disconnectingRemovesTheUnitsProperties() {
    set("Mivel.CONNECTION.DISCONNECT=On");
    QVERIFY(eventually(R"("Mivel.CONNECTION.DISCONNECT"==1)", 10));
    QCOMPARE(tool("indi_getprop", {"Mivel.MIVEL_TEMPERATURES.AMBIENT"}), 1);
    // The port is free again: the driver connects anew.
    connectUnit();
}

QTEST_GUILESS_MAIN(TestIndiDriver)
#include "test_indi_driver.moc"
