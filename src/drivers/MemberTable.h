#pragma once

// The table through which a driver object's members are reached by name. Each object lists
// every member once, in the order of its interface, with how it is read, written or called;
// the object hands the automation calls to its table (DriverObject.h), and the automation
// transport walks the table instead of knowing the objects.

#include "AutomationArgs.h"
#include "AutomationDevice.h"
#include "DriverErrors.h"

#include <QString>

#include <optional>
#include <vector>

namespace mivel {

// The value a member returned and the error it recorded on the way (members trap their errors
// and carry on, so both can be present).
template <class T> struct Outcome {
    T value{};
    Status error;
};

namespace reply {

inline QVariant toVariant(bool v) {
    return v;
}
inline QVariant toVariant(qint16 v) {
    return int(v);
}
inline QVariant toVariant(qint32 v) {
    return int(v);
}
inline QVariant toVariant(double v) {
    return v;
}
inline QVariant toVariant(float v) {
    return args::singleToVariant(v);
}
inline QVariant toVariant(const QString& v) {
    return v;
}
// An empty variant: the member has nothing to report yet.
template <class T> QVariant toVariant(const std::optional<T>& v) {
    return v ? toVariant(*v) : QVariant();
}

template <class T> CallResult toCall(const T& v) {
    return {toVariant(v), {}};
}
template <class T> CallResult toCall(const Outcome<T>& o) {
    return {toVariant(o.value), o.error};
}
inline CallResult toCall(const Status& s) {
    return {QVariant(), s};
}

inline Task<CallResult> ready(CallResult r) {
    return Task<CallResult>::ready(std::move(r));
}
inline Task<CallResult> failed(const Error& e) {
    return ready({QVariant(), e});
}

// What a member gave back, as a call result; members that wait give a task.
template <class T> Task<CallResult> of(T v) {
    return ready(toCall(v));
}
template <class T> Task<CallResult> of(Task<T> task) {
    co_return toCall(co_await task);
}
inline Task<CallResult> of(Task<void> task) {
    co_await task;
    co_return CallResult{};
}

} // namespace reply

class DriverObject;

// The members of one class of driver object, reached by name on an object of that class.
class MemberDirectory {
public:
    virtual ~MemberDirectory() = default;
    virtual std::span<const MemberInfo> infos() const = 0;
    virtual Task<CallResult> get(DriverObject& obj, const QString& name) const = 0;
    virtual Task<CallResult> set(DriverObject& obj, const QString& name,
                                 const QVariant& value) const = 0;
    virtual Task<CallResult> call(DriverObject& obj, const QString& name,
                                  const QVariantList& args) const = 0;
};

// The table of the driver objects of class Obj; it is only ever given objects of that class.
template <class Obj> class MemberTable final : public MemberDirectory {
public:
    using Getter = Task<CallResult> (*)(Obj&);
    using Setter = Task<CallResult> (*)(Obj&, const QVariant&);
    using Caller = Task<CallResult> (*)(Obj&, const QVariantList&);

    struct Entry {
        MemberInfo info;
        Getter get = nullptr;
        Setter set = nullptr;
        Caller call = nullptr;
    };

    static Entry readOnly(const char* name, QMetaType::Type type, Getter get) {
        return {{name, MemberInfo::Kind::Property, true, false, type, nullptr}, get};
    }
    static Entry readWrite(const char* name, QMetaType::Type type, Getter get, Setter set) {
        return {{name, MemberInfo::Kind::Property, true, true, type, nullptr}, get, set};
    }
    static Entry method(const char* name, Caller call) {
        return {{name, MemberInfo::Kind::Method, false, false, QMetaType::UnknownType, nullptr},
                nullptr,
                nullptr,
                call};
    }
    static Entry method(const char* name, QMetaType::Type type, const char* parameter,
                        Caller call) {
        return {{name, MemberInfo::Kind::Method, false, false, type, parameter},
                nullptr,
                nullptr,
                call};
    }

    MemberTable(QString objectName, std::initializer_list<Entry> entries)
        : objectName_(std::move(objectName))
        , entries_(entries) {
        for (const Entry& e : entries_)
            infos_.push_back(e.info);
    }

    std::span<const MemberInfo> infos() const override { return infos_; }

    Task<CallResult> get(DriverObject& obj, const QString& name) const override {
        const Entry* e = find(name);
        return e && e->get ? e->get(of(obj)) : reply::failed(noSuchMember(objectName_, name));
    }
    Task<CallResult> set(DriverObject& obj, const QString& name,
                         const QVariant& value) const override {
        const Entry* e = find(name);
        return e && e->set ? e->set(of(obj), value)
                           : reply::failed(noSuchMember(objectName_, name));
    }
    Task<CallResult> call(DriverObject& obj, const QString& name,
                          const QVariantList& args) const override {
        const Entry* e = find(name);
        if (!e || !e->call)
            return reply::failed(noSuchMember(objectName_, name));
        if (e->info.parameter && args.isEmpty())
            return reply::failed(errors::TypeMismatch);
        return e->call(of(obj), args);
    }

private:
    static Obj& of(DriverObject& obj) { return static_cast<Obj&>(obj); }
    const Entry* find(const QString& name) const {
        const auto index = memberIndex(infos_, name);
        return index ? &entries_[*index] : nullptr;
    }

    QString objectName_;
    std::vector<Entry> entries_;
    std::vector<MemberInfo> infos_;
};

// Converts an argument to the member's type and passes it on, or fails the call with the
// conversion's error before the member runs.
template <class T, class F> Task<CallResult> withArg(const Result<T>& arg, F&& member) {
    if (!arg)
        return reply::failed(arg.error());
    return member(*arg);
}

} // namespace mivel
