#pragma once

#include "link/Commands.h"
#include "link/Replies.h"

#include <QByteArray>

#include <map>
#include <optional>
#include <span>

namespace mivel::sim {

// The controller parameters the unit keeps: motor loop, motion, internal fan, fan pulse, dead
// band, error reporting and heater loop. Each is stored as the text it was sent with and read
// back under its reply tag, so a round trip returns exactly what was uploaded.
class ControllerParams {
public:
    ControllerParams();

    // The tag a parameter command sets, if the command sets one.
    static std::optional<wire::Tag> tagFor(wire::Cmd cmd);
    // The tags answered to "G " and to "< ", in the order the unit sends them.
    static std::span<const wire::Tag> firstGroup();
    static std::span<const wire::Tag> secondGroup();

    QByteArray value(wire::Tag tag) const;
    // The value as a number, 0 when it is not one.
    double number(wire::Tag tag) const;
    void set(wire::Tag tag, const QByteArray& text);

    // The internal fan words: "{" n turns the fan on (n 0 = off), "}" n puts it on its
    // thermostat; either one clears the other.
    void setInternalFan(wire::Cmd cmd, const QByteArray& text);

private:
    std::map<wire::Tag, QByteArray> values_;
};

} // namespace mivel::sim
