#pragma once

#include <QByteArray>

#include <map>
#include <optional>
#include <span>
#include <string_view>

namespace mivel::sim {

// The controller parameters the unit keeps: motor loop, motion, internal fan, fan pulse, dead
// band, error reporting and heater loop. Each is stored as the text it was sent with and read
// back under its reply tag, so a round trip returns exactly what was uploaded.
class ControllerParams {
public:
    ControllerParams();

    // The reply tag of the parameter a command word sets, if the word sets one.
    static std::optional<std::string_view> tagFor(std::string_view word);
    // The tags answered to "G " and to "< ", in the order the unit sends them.
    static std::span<const std::string_view> firstGroup();
    static std::span<const std::string_view> secondGroup();

    QByteArray value(std::string_view tag) const;
    // The value as a number, 0 when it is not one.
    double number(std::string_view tag) const;
    void set(std::string_view tag, const QByteArray& text);

    // The internal fan words: "{" n turns the fan on (n 0 = off), "}" n puts it on its
    // thermostat; either one clears the other.
    void setInternalFan(std::string_view word, const QByteArray& text);

private:
    std::map<std::string_view, QByteArray, std::less<>> values_;
};

} // namespace mivel::sim
