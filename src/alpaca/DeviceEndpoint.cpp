#include "DeviceEndpoint.h"

#include <algorithm>

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>

namespace mivel::alpaca {
namespace {

const QString Connected = QStringLiteral("Connected");

QString driverVersion() {
    return QStringLiteral("%1.%2").arg(MIVEL_VERSION_MAJOR).arg(MIVEL_VERSION_MINOR);
}

// Texts of the coroutines below, built outside them.
Reply unsupportedAction(const QString& name) {
    return Reply::failure(ActionNotImplemented,
                          QStringLiteral("Action %1 is not supported").arg(name));
}

Reply badActionParameters(const QString& member, QMetaType::Type type) {
    return Reply::failure(
        InvalidValue,
        QStringLiteral("Parameters of %1 must be %2").arg(member, describeType(type)));
}

QString withError(QString text, const QString& description) {
    return text + QStringLiteral(" (") + description + QLatin1Char(')');
}

QJsonObject stateItem(const QString& name, const QJsonValue& value) {
    return QJsonObject{{QStringLiteral("Name"), name}, {QStringLiteral("Value"), value}};
}

QJsonObject timeStamp() {
    return stateItem(QStringLiteral("TimeStamp"),
                     QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs));
}

// Actions answer text; the member's value is written as its usual text form.
QJsonValue asActionText(const QJsonValue& v) {
    if (v.isUndefined())
        return v;
    return v.toVariant().toString();
}

} // namespace

DeviceEndpoint::DeviceEndpoint(EndpointContext& context, DeviceIdentity identity)
    : context_(context)
    , provider_(context.provider)
    , identity_(std::move(identity)) {}

DeviceEndpoint::~DeviceEndpoint() {
    *alive_ = false;
}

AutomationDevice& DeviceEndpoint::device() {
    return provider_.device(identity_.kind);
}

bool DeviceEndpoint::linked() const {
    const AutomationDevice* d = provider_.existing(identity_.kind);
    return !released_ && d != nullptr && d->linked();
}

DeviceEndpoint::Lookup DeviceEndpoint::find(const QString& path, Verb verb, const Route** route) {
    buildRoutes();
    bool pathKnown = false;
    for (const Route& r : routes_) {
        if (r.path != path)
            continue;
        pathKnown = true;
        if (r.verb == verb) {
            *route = &r;
            return Lookup::Found;
        }
    }
    return pathKnown ? Lookup::WrongVerb : Lookup::NoSuchMember;
}

QStringList DeviceEndpoint::extraMembers() {
    buildRoutes();
    return extras_;
}

void DeviceEndpoint::addProcessAction(const QString& name, ProcessAction run) {
    processActions_.emplace_back(name, std::move(run));
}

void DeviceEndpoint::buildRoutes() {
    if (built_)
        return;
    built_ = true;
    routes_ = commonRoutes();
    for (Route& r : standardRoutes())
        routes_.push_back(std::move(r));
    for (Route& r : extraRoutes())
        routes_.push_back(std::move(r));
}

std::vector<Route> DeviceEndpoint::commonRoutes() {
    using T = QMetaType::Type;
    auto constant = [](QJsonValue v) {
        return [v](const QVariantList&) { return Task<Reply>::ready(Reply::of(v)); };
    };
    auto unsupported = [](const QVariantList&) {
        return Task<Reply>::ready(notImplemented(QStringLiteral("Raw commands")));
    };
    return {
        {"connected",
         Verb::Get,
         {},
         [this](const QVariantList&) {
             return released_ ? Task<Reply>::ready(Reply::of(false)) : read(Connected);
         }},
        {"connected",
         Verb::Put,
         {{"Connected", T::Bool}},
         [this](const QVariantList& a) {
             if (!a[0].toBool())
                 return disconnectDevice();
             released_ = false;
             clientConnected_ = true;
             return write(Connected, true);
         }},
        {"connect", Verb::Put, {}, [this](const QVariantList&) { return connectInBackground(); }},
        {"disconnect", Verb::Put, {}, [this](const QVariantList&) { return disconnectDevice(); }},
        {"connecting",
         Verb::Get,
         {},
         [this](const QVariantList&) { return Task<Reply>::ready(connecting()); }},
        {"description", Verb::Get, {}, constant(identity_.description)},
        {"driverinfo",
         Verb::Get,
         {},
         constant(QStringLiteral("Mivel driver server %1, %2").arg(MIVEL_VERSION, identity_.name))},
        {"driverversion", Verb::Get, {}, constant(driverVersion())},
        {"interfaceversion", Verb::Get, {}, constant(identity_.interfaceVersion)},
        {"name", Verb::Get, {}, constant(identity_.name)},
        {"supportedactions",
         Verb::Get,
         {},
         [this](const QVariantList&) {
             QStringList names = extras_;
             for (const auto& [name, run] : processActions_)
                 names << name;
             return Task<Reply>::ready(Reply::of(QJsonArray::fromStringList(names)));
         }},
        {"action",
         Verb::Put,
         {{"Action", T::QString}, {"Parameters", T::QString}},
         [this](const QVariantList& a) { return action(a[0].toString(), a[1].toString()); }},
        {"commandblind", Verb::Put, {}, unsupported},
        {"commandbool", Verb::Put, {}, unsupported},
        {"commandstring", Verb::Put, {}, unsupported},
        {"devicestate", Verb::Get, {}, [this](const QVariantList&) { return deviceState(); }},
    };
}

std::vector<Route> DeviceEndpoint::extraRoutes() {
    std::vector<Route> out;
    for (const MemberInfo& m : device().members()) {
        const QString name = QString::fromLatin1(m.name);
        const QString path = name.toLower();
        const bool servedAlready = std::any_of(routes_.begin(), routes_.end(),
                                               [&](const Route& r) { return r.path == path; });
        if (servedAlready)
            continue;
        extras_ << name;
        if (m.kind == MemberInfo::Kind::Method) {
            std::vector<ParamSpec> params;
            if (m.parameter != nullptr)
                params.push_back({QString::fromLatin1(m.parameter), m.type});
            out.push_back({path, Verb::Put, params,
                           [this, name](const QVariantList& a) { return invoke(name, a); }});
            continue;
        }
        if (m.readable)
            out.push_back({path, Verb::Get, {}, reading(name)});
        if (m.writable)
            out.push_back({path, Verb::Put, {{name, m.type}}, [this, name](const QVariantList& a) {
                               return write(name, a[0]);
                           }});
    }
    return out;
}

Task<Reply> DeviceEndpoint::read(QString member) {
    const CallResult r = co_await device().get(member);
    co_return Reply::fromCall(r);
}

Task<Reply> DeviceEndpoint::write(QString member, QVariant value) {
    const CallResult r = co_await device().set(member, value);
    co_return Reply::fromCall(r);
}

Task<Reply> DeviceEndpoint::invoke(QString member, QVariantList args) {
    const CallResult r = co_await device().call(member, args);
    co_return Reply::fromCall(r);
}

Reply DeviceEndpoint::notImplemented(const QString& what) {
    return Reply::failure(NotImplemented, what + QStringLiteral(" not implemented"));
}

Reply DeviceEndpoint::notConnected() const {
    return Reply::failure(NotConnected, identity_.name + QStringLiteral(" is not connected"));
}

DeviceEndpoint::Run DeviceEndpoint::connectedOnly(Run run) {
    return [this, run = std::move(run)](const QVariantList& args) {
        if (!linked())
            return Task<Reply>::ready(notConnected());
        return run(args);
    };
}

std::unique_ptr<StatusMirror> DeviceEndpoint::makeMirror(QStringList members,
                                                         qint64 queryIntervalMs) {
    auto mirror = std::make_unique<StatusMirror>(
        context_.clock, std::move(members), [this](const QString& m) { return read(m); },
        queryIntervalMs);
    mirror->setActive([this] { return linked(); });
    return mirror;
}

Reply DeviceEndpoint::valueOf(const StatusMirror::Values& values, const QString& member) {
    const auto it = values.find(member);
    if (it == values.end())
        return Reply::failure(UnitFailure, QStringLiteral("%1 has not been read").arg(member));
    return *it;
}

Task<Reply> DeviceEndpoint::mirrored(StatusMirror& mirror, QString member) {
    const StatusMirror::Values values = co_await mirror.current();
    co_return valueOf(values, member);
}

Task<Reply> DeviceEndpoint::action(QString name, QString parameters) {
    for (const auto& [served, run] : processActions_) {
        if (served.compare(name, Qt::CaseInsensitive) != 0)
            continue;
        const Result<QString> answer = run(parameters);
        if (!answer) {
            const ReplyError e = replyError(answer.error());
            co_return Reply::failure(e.number, e.message);
        }
        co_return Reply::of(*answer);
    }
    buildRoutes();
    const MemberInfo* m = device().member(name);
    if (m == nullptr || !extras_.contains(name, Qt::CaseInsensitive))
        co_return unsupportedAction(name);
    const QString member = QString::fromLatin1(m->name);
    CallResult r;
    if (m->kind == MemberInfo::Kind::Property && m->readable &&
        (parameters.isEmpty() || !m->writable)) {
        r = co_await device().get(member);
    } else if (m->kind == MemberInfo::Kind::Method && m->parameter == nullptr) {
        r = co_await device().call(member, QVariantList());
    } else {
        const std::optional<QVariant> value = parseAs(m->type, parameters);
        if (!value)
            co_return badActionParameters(member, m->type);
        // Arguments are built before the co_await: GCC 12 cannot keep an initializer list in a
        // coroutine frame ("array used as initializer").
        const QVariantList args{*value};
        if (m->kind == MemberInfo::Kind::Method)
            r = co_await device().call(member, args);
        else
            r = co_await device().set(member, *value);
    }
    Reply reply = Reply::fromCall(r);
    reply.value = asActionText(reply.value);
    co_return reply;
}

Task<Reply> DeviceEndpoint::connectInBackground() {
    released_ = false;
    clientConnected_ = true;
    // Platform 7 connect: answer at once; connecting reads true until the link attempt ends.
    if (!*connecting_) {
        *connecting_ = true;
        connectOutcome_->reset();
        device()
            .set(Connected, true)
            .then([busy = connecting_, outcome = connectOutcome_](const CallResult& r) {
                *busy = false;
                *outcome = Reply::fromCall(r);
            });
    }
    return Task<Reply>::ready(Reply::none());
}

// The port closes only when no other device a client connected and no console still uses it;
// otherwise this device alone lets go. The object's own Link member keeps closing it for all.
Task<Reply> DeviceEndpoint::disconnectDevice() {
    clientConnected_ = false;
    released_ = false;
    const bool othersUseLink = std::any_of(context_.endpoints.begin(), context_.endpoints.end(),
                                           [this](const DeviceEndpoint* e) {
                                               return e != this && e->clientConnected();
                                           }) ||
                               (context_.consoleUsesLink && context_.consoleUsesLink());
    if (othersUseLink && linked()) {
        released_ = true;
        return Task<Reply>::ready(Reply::none());
    }
    return write(Connected, false);
}

Reply DeviceEndpoint::connecting() {
    if (*connecting_)
        return Reply::of(true);
    // A connect that failed reports its error once, on the first poll after it ended.
    std::optional<Reply> outcome = std::exchange(*connectOutcome_, std::nullopt);
    if (outcome && !outcome->ok())
        return Reply{false, outcome->errorNumber, outcome->errorMessage};
    return Reply::of(false);
}

Task<Reply> DeviceEndpoint::collectState(std::vector<StateItem> items) {
    QJsonArray state;
    for (const StateItem& item : items) {
        const Reply r = co_await item.read();
        if (r.ok() && !r.value.isUndefined())
            state.append(stateItem(item.name, r.value));
    }
    state.append(timeStamp());
    co_return Reply::of(state);
}

Task<std::vector<std::pair<QString, QString>>> DeviceEndpoint::readAll() {
    std::vector<std::pair<QString, QString>> rows;
    for (const MemberInfo& m : device().members()) {
        if (m.kind != MemberInfo::Kind::Property || !m.readable)
            continue;
        const QString name = QString::fromLatin1(m.name);
        const CallResult r = co_await device().get(name);
        QString text = toJson(r.value).toVariant().toString();
        if (r.error)
            text = withError(text, r.error->description);
        rows.emplace_back(name, text);
    }
    co_return rows;
}

// Moving devices.

MovingEndpoint::MovingEndpoint(EndpointContext& context, DeviceIdentity identity,
                               qint64 queryIntervalMs)
    : DeviceEndpoint(context, std::move(identity))
    , watch_(queryIntervalMs)
    , status_(
          makeMirror({QStringLiteral("Position"), QStringLiteral("IsMoving")}, queryIntervalMs)) {
    status_->setWanted([this] { return watch_.active(); });
    status_->setOnReading(
        [this](const StatusMirror::Values& v, qint64 startedAt) { onStatus(v, startedAt); });
}

void MovingEndpoint::followMove(double target) {
    watch_.start(target, clock().nowMs());
    status_->wake();
}

Task<Reply> MovingEndpoint::moving() {
    const Alive token = alive();
    const StatusMirror::Values values = co_await status_->current();
    if (gone(token))
        co_return Reply::none();
    if (watch_.active())
        co_return Reply::of(true);
    co_return valueOf(values, QStringLiteral("IsMoving"));
}

Task<Reply> MovingEndpoint::halt() {
    const Alive token = alive();
    const Reply r = co_await invoke(QStringLiteral("Halt"), {});
    if (gone(token))
        co_return Reply::none();
    watch_.stop();
    onMoveEnded();
    co_return r;
}

void MovingEndpoint::onStatus(const StatusMirror::Values& values, qint64 startedAt) {
    const Reply position = valueOf(values, QStringLiteral("Position"));
    if (!watch_.active() || !position.value.isDouble())
        return;
    const double at = position.value.toDouble();
    const bool moving = valueOf(values, QStringLiteral("IsMoving")).value.toBool();
    if (watch_.ended(startedAt, moving, at, atTarget(at, watch_.target())))
        onMoveEnded();
}

} // namespace mivel::alpaca
