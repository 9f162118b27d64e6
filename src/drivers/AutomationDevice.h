#pragma once

#include "core/Error.h"
#include "core/Task.h"

#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>
#include <span>

namespace mivel {

// What an automation client gets back from a member: the value the member returned and the
// error it recorded on the way. Members trap their errors and carry on at the next statement,
// so a call always returns; the error, if any, travels beside the value.
struct CallResult {
    QVariant value;
    Status error;
};

// How a member of a driver object is reached.
struct MemberInfo {
    enum class Kind { Property, Method };
    const char* name; // as the object names it: "Position", "TempCompCoefficient", "Move"
    Kind kind;
    bool readable; // property get
    bool writable; // property let
    // Value type of the property, or of the method's argument. QVariant: the member takes any
    // value and judges it itself ("not numeric" is its own error, not the transport's).
    QMetaType::Type type;
    const char* parameter; // the method's argument name ("Position", "Angle"), or nullptr
};

// Where the member of that name is among members, without regard to case.
inline std::optional<std::size_t> memberIndex(std::span<const MemberInfo> members,
                                              const QString& name) {
    for (std::size_t i = 0; i < members.size(); ++i)
        if (name.compare(QLatin1String(members[i].name), Qt::CaseInsensitive) == 0)
            return i;
    return std::nullopt;
}

// A driver object as automation clients see it: named members, called by name. The transport
// (Alpaca) maps its standard members and every extra member onto these.
class AutomationDevice {
public:
    virtual ~AutomationDevice() = default;
    virtual std::span<const MemberInfo> members() const = 0;
    // Property get.
    virtual Task<CallResult> get(const QString& member) = 0;
    // Property let.
    virtual Task<CallResult> set(const QString& member, const QVariant& value) = 0;
    // Method call; args in the member's parameter order.
    virtual Task<CallResult> call(const QString& method, const QVariantList& args) = 0;
    // Whether a client has linked the object (Link / Connected).
    virtual bool linked() const = 0;
    // A client had linked the object and the link to the unit went away; the object is bringing
    // it back. It is not linked meanwhile, but the client's link still stands.
    virtual bool linkLost() const { return false; }

    const MemberInfo* member(const QString& name) const {
        const auto index = memberIndex(members(), name);
        return index ? &members()[*index] : nullptr;
    }
};

// The driver objects of the process. Each is created when a client first addresses it and
// lives until the server stops.
class DeviceProvider {
public:
    enum class Kind { Focuser, Rotator, Temperature };
    virtual ~DeviceProvider() = default;
    virtual AutomationDevice& device(Kind kind) = 0;
    // The object if it has been created, else nullptr.
    virtual AutomationDevice* existing(Kind kind) const = 0;
};

} // namespace mivel
