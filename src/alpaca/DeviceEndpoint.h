#pragma once

#include "AlpacaProtocol.h"
#include "MoveWatch.h"
#include "StatusMirror.h"

#include "core/Clock.h"
#include "core/Task.h"
#include "drivers/AutomationDevice.h"

#include <QHash>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace mivel::alpaca {

enum class Verb { Get, Put };

// A parameter a member takes, as the API spells it.
struct ParamSpec {
    QString name;
    QMetaType::Type type;
};

// One member of a device at /api/v1/{type}/0/{path}.
struct Route {
    QString path; // lower case
    Verb verb;
    std::vector<ParamSpec> params;
    // Runs the member with the parsed parameters, in the order of params.
    std::function<Task<Reply>(const QVariantList& args)> run;
};

// What an Alpaca device is called and which standard interface it serves.
struct DeviceIdentity {
    DeviceProvider::Kind kind;
    QString pathType;   // "focuser": the URL element
    QString deviceType; // "Focuser": DeviceType in configureddevices
    QString name;
    QString description;
    int interfaceVersion;
};

// Values the Alpaca layer keeps across restarts of the server (the rotator's sync offset).
class KeptValues {
public:
    virtual ~KeptValues() = default;
    virtual std::optional<double> number(const QString& name) const = 0;
    virtual void setNumber(const QString& name, double value) = 0;
};

// Kept for as long as the process runs.
class MemoryKeptValues final : public KeptValues {
public:
    std::optional<double> number(const QString& name) const override {
        const auto it = values_.find(name);
        return it == values_.end() ? std::nullopt : std::optional<double>(*it);
    }
    void setNumber(const QString& name, double value) override { values_[name] = value; }

private:
    QHash<QString, double> values_;
};

class DeviceEndpoint;

// An action the process serves on a device beside the object's members (the data log's, on the
// temperature device): it takes the action's parameters and answers text, or the error.
using ProcessAction = std::function<Result<QString>(const QString& parameters)>;

// What the endpoints of one server share.
struct EndpointContext {
    DeviceProvider& provider;
    Clock& clock;
    KeptValues* kept; // where the endpoints keep values across restarts
    // Every endpoint of the server, so that one device's disconnect can see who else uses the
    // shared port.
    std::vector<DeviceEndpoint*> endpoints = {};
    // Whether a console window uses the shared port (none in a headless server).
    std::function<bool()> consoleUsesLink = {};
};

// The unit reports temperatures in degrees Fahrenheit; the Alpaca interfaces ask for Celsius.
inline double celsiusFromFahrenheit(double fahrenheit) {
    return (fahrenheit - 32.0) * 5.0 / 9.0;
}

// One driver object served as an Alpaca device: the common members every device has, the
// standard members of its interface mapped onto the object's members, and every member of the
// object under its own lower-case name too, unless a common or standard member already has that
// name. The routes are built when a client first addresses the device, which is also when the
// object is created.
//
// Two layers meet here. The standard members behave as the ASCOM interface asks (state right
// after a move, moves under compensation, limits, not-connected errors, reads that answer at
// once from values kept fresh); the members served by name behave exactly as the object's own.
class DeviceEndpoint {
public:
    DeviceEndpoint(EndpointContext& context, DeviceIdentity identity);
    virtual ~DeviceEndpoint();
    DeviceEndpoint(const DeviceEndpoint&) = delete;
    DeviceEndpoint& operator=(const DeviceEndpoint&) = delete;

    const DeviceIdentity& identity() const { return identity_; }

    enum class Lookup { Found, NoSuchMember, WrongVerb };
    // The route for a member; *route is set when Found.
    Lookup find(const QString& path, Verb verb, const Route** route);

    // The object's members served under their own names (the supported actions).
    QStringList extraMembers();
    // Serves an action of the process under `name`, listed among the supported actions.
    void addProcessAction(const QString& name, ProcessAction run);
    // Whether a client has linked the object and not disconnected this device since; false
    // before the object exists.
    bool linked() const;
    // The object, created on first use.
    AutomationDevice& device();
    // Readable members and their values, for the setup page.
    Task<std::vector<std::pair<QString, QString>>> readAll();

protected:
    // Standard members of the interface. An object's member of the same name is reached
    // through the standard one only.
    virtual std::vector<Route> standardRoutes() = 0;
    // The operational values of the device for devicestate, in the API's names.
    virtual Task<Reply> deviceState() = 0;

    // Building blocks of the routes. They take their arguments by value: they are coroutines.
    Task<Reply> read(QString member);
    Task<Reply> write(QString member, QVariant value);
    Task<Reply> invoke(QString member, QVariantList args);
    // A route's run that reads the member.
    std::function<Task<Reply>(const QVariantList&)> reading(const QString& member) {
        return [this, member](const QVariantList&) { return read(member); };
    }
    static Reply notImplemented(const QString& what);
    Reply notConnected() const;
    // A standard member the interface refuses while the device is not connected.
    using Run = std::function<Task<Reply>(const QVariantList&)>;
    Run connectedOnly(Run run);

    Clock& clock() const { return context_.clock; }
    KeptValues* kept() const { return context_.kept; }
    // A mirror of status members read through this object (see StatusMirror); it reads only
    // while the device is connected.
    std::unique_ptr<StatusMirror> makeMirror(QStringList members, qint64 queryIntervalMs);
    // One member's value from a mirror.
    Task<Reply> mirrored(StatusMirror& mirror, QString member);
    // A member of a mirror's values, or why there is none.
    static Reply valueOf(const StatusMirror::Values& values, const QString& member);

    // Coroutines of the endpoint copy this first and check it after every co_await: the server
    // may have gone meanwhile.
    using Alive = std::shared_ptr<const bool>;
    Alive alive() const { return alive_; }
    static bool gone(const Alive& token) { return !*token; }

    // devicestate from named reads: each pair is (name in the reply, object member). Values that
    // cannot be read are left out, as the API allows.
    struct StateItem {
        QString name;
        std::function<Task<Reply>()> read;
    };
    Task<Reply> collectState(std::vector<StateItem> items);

private:
    void buildRoutes();
    std::vector<Route> commonRoutes();
    std::vector<Route> extraRoutes();
    Task<Reply> action(QString name, QString parameters);
    Task<Reply> connectInBackground();
    Reply connecting();
    Task<Reply> disconnectDevice();
    // Whether a client connected this device through the standard members and still has it.
    bool clientConnected() const { return clientConnected_ && linked(); }

    EndpointContext& context_;
    DeviceProvider& provider_;
    DeviceIdentity identity_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    std::vector<Route> routes_;
    QStringList extras_;
    std::vector<std::pair<QString, ProcessAction>> processActions_;
    bool built_ = false;
    // Alpaca's connected is per device, while the unit's objects share one port: a device that
    // a client disconnected while another device or a console still uses the port is released
    // (it answers as not connected) without closing the port under the others.
    bool clientConnected_ = false;
    bool released_ = false;
    // Platform 7 connect: in progress, and how the last one ended (reported once by connecting).
    std::shared_ptr<bool> connecting_ = std::make_shared<bool>(false);
    std::shared_ptr<std::optional<Reply>> connectOutcome_ =
        std::make_shared<std::optional<Reply>>();
};

// A device that moves (the focuser, the rotator). Its Position and IsMoving are served from one
// status mirror, and a move the server sent is followed (see MoveWatch) until the unit's replies
// show that it ended or a client halts it.
class MovingEndpoint : public DeviceEndpoint {
protected:
    // queryIntervalMs: the object's own bound on its status queries.
    MovingEndpoint(EndpointContext& context, DeviceIdentity identity, qint64 queryIntervalMs);

    // Whether the unit, standing at `position`, has arrived at the followed move's target.
    virtual bool atTarget(double position, double target) const = 0;
    // The followed move has ended: the unit's replies showed it, or a client halted it.
    virtual void onMoveEnded() {}

    // Follows a move just sent, towards target.
    void followMove(double target);
    bool following() const { return watch_.active(); }
    double followedTarget() const { return watch_.target(); }

    // The object's position from the mirror.
    Task<Reply> position() { return mirrored(*status_, QStringLiteral("Position")); }
    // IsMoving: true while a move the server sent is under way, else as the mirror last read it.
    Task<Reply> moving();
    // Halt: the object's own, and the move is no longer followed.
    Task<Reply> halt();

private:
    void onStatus(const StatusMirror::Values& values, qint64 startedAt);

    MoveWatch watch_;
    std::unique_ptr<StatusMirror> status_;
};

std::unique_ptr<DeviceEndpoint> makeFocuserEndpoint(EndpointContext& context);
std::unique_ptr<DeviceEndpoint> makeRotatorEndpoint(EndpointContext& context);
std::unique_ptr<DeviceEndpoint> makeSwitchEndpoint(EndpointContext& context);

} // namespace mivel::alpaca
