#pragma once

#include <QString>

#include <optional>
#include <utility>
#include <variant>

namespace mivel {

// An error as the unit's automation objects raise it: a number, a source and a description,
// each exactly as the object defines it. Errors travel as values; the automation layer turns
// them into its protocol's error numbers in one place.
struct AutomationError {
    qint64 number = 0;
    QString source;
    QString description;

    friend bool operator==(const AutomationError&, const AutomationError&) = default;
};

// Either a value or the error that stopped the operation.
template <class T> class Result {
public:
    Result(T value)
        : v_(std::move(value)) {}
    Result(AutomationError error)
        : v_(std::move(error)) {}

    bool ok() const { return v_.index() == 0; }
    explicit operator bool() const { return ok(); }
    const T& value() const { return std::get<0>(v_); }
    const T& operator*() const { return value(); }
    const AutomationError& error() const { return std::get<1>(v_); }

private:
    std::variant<T, AutomationError> v_;
};

// An operation that returns nothing: empty on success.
using Status = std::optional<AutomationError>;

} // namespace mivel
