#pragma once

#include <QString>

#include <optional>
#include <utility>
#include <variant>

namespace mivel {

// What kind of failure an error is. It is decided where the error is raised and travels with it;
// a protocol turns the kind into its own error number in one place, so the number, source and
// description stay exactly as the raising object defines them.
enum class ErrorKind {
    NotLinked,      // the port is not open or the object is not linked
    OutOfRange,     // an argument outside the member's range
    InvalidValue,   // an argument that is not a number, or not of the member's type
    WrongMode,      // refused in the current mode (compensation active, mode not manual)
    NotKnown,       // the value has not been reported by the unit yet
    NoAnswer,       // the unit did not answer
    NotImplemented, // the member does not exist or needs something this process lacks (a window)
    PortFailure,    // the serial device failed: it would not open, or it went away
    Unavailable,    // something this process needs was refused: a network port, a file
    OtherFailure,   // anything else: a setting not saved, a registry key not read
};

// An error as a value: its kind, and the number, source and description exactly as the object
// that raised it defines them. The kind comes first so that every place that raises an error
// has to say which kind it is.
struct Error {
    ErrorKind kind = ErrorKind::OtherFailure;
    qint64 number = 0;
    QString source;
    QString description;

    friend bool operator==(const Error&, const Error&) = default;
};

// Either a value or the error that stopped the operation.
template <class T> class Result {
public:
    Result(T value)
        : v_(std::move(value)) {}
    Result(Error error)
        : v_(std::move(error)) {}

    bool ok() const { return v_.index() == 0; }
    explicit operator bool() const { return ok(); }
    const T& value() const { return std::get<0>(v_); }
    const T& operator*() const { return value(); }
    const Error& error() const { return std::get<1>(v_); }

private:
    std::variant<T, Error> v_;
};

// An operation that returns nothing: empty on success.
using Status = std::optional<Error>;

// An error of the program's own machinery rather than of an automation object (a network port
// or a device that cannot be had): number 0 and the program's source, as the objects' own
// unnumbered errors have.
inline Error programError(ErrorKind kind, const QString& description) {
    return {kind, 0, QStringLiteral("Mivel"), description};
}

// The description of a failed operation, or empty text when it succeeded.
inline QString describe(const Status& status) {
    return status ? status->description : QString();
}

} // namespace mivel
