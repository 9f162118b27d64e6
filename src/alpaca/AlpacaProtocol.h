#pragma once

// The request and reply shapes of the Alpaca API, without any HTTP or device in them.

#include "AlpacaErrors.h"

#include "drivers/AutomationDevice.h"

#include <QByteArray>
#include <QJsonValue>
#include <QList>
#include <QPair>
#include <QString>
#include <QVariant>

#include <optional>

namespace mivel::alpaca {

// The parameters of one request. In a GET query the names are matched without regard to case;
// in a PUT form body they must be spelled exactly as the API spells them.
class Params {
public:
    enum class Casing { AnyCase, Exact };

    static Params fromQuery(const QByteArray& query);
    static Params fromForm(const QByteArray& body);
    Params() = default;
    Params(QList<QPair<QString, QString>> pairs, Casing casing)
        : pairs_(std::move(pairs))
        , casing_(casing) {}

    struct Lookup {
        bool found = false;
        bool wrongCase = false; // present, but not spelled as required (PUT only)
        QString value;
        QString spelled; // the name as the client wrote it
    };
    Lookup find(QStringView name) const;

    // Absent or misspelt ids read as 0, as the API asks.
    quint32 clientTransactionId() const { return id(u"ClientTransactionID"); }
    quint32 clientId() const { return id(u"ClientID"); }
    // Why a client id given is not one: the API's ids are unsigned 32-bit integers written in
    // plain digits (0 to 4294967295). Empty when both are absent or usable.
    QString idProblem() const;
    Casing casing() const { return casing_; }

private:
    quint32 id(QStringView name) const;
    QList<QPair<QString, QString>> pairs_;
    Casing casing_ = Casing::AnyCase;
};

// Decodes an application/x-www-form-urlencoded text: '&'-separated, '+' for space, %XX escapes,
// UTF-8. The first occurrence of a name is the one used.
QList<QPair<QString, QString>> decodeForm(const QByteArray& text);

// Alpaca's text forms of values: "true"/"false" in any case, integers and decimals with a full
// stop. Nothing else is accepted (no spaces, no trailing text, no NaN or infinity).
std::optional<bool> parseBool(const QString& text);
std::optional<qint32> parseInt(const QString& text);
std::optional<double> parseDouble(const QString& text);
// A value of a member's type from its text form; nullopt when the text is not one.
std::optional<QVariant> parseAs(QMetaType::Type type, const QString& text);
// A short name of the type for a refusal ("a number", "True or False").
QString describeType(QMetaType::Type type);

// A member's value in JSON. Singles are written with the digits they were given (0.1, not
// 0.10000000149011612); an invalid variant is undefined (no Value key).
QJsonValue toJson(const QVariant& value);

// What one Alpaca member call answers.
struct Reply {
    QJsonValue value = QJsonValue(QJsonValue::Undefined);
    int errorNumber = NoError;
    QString errorMessage;

    static Reply of(QJsonValue v) { return {std::move(v), NoError, {}}; }
    static Reply none() { return {}; }
    static Reply failure(int number, QString message) {
        return {QJsonValue(QJsonValue::Undefined), number, std::move(message)};
    }
    // A member's result: the value it returned, and the error it recorded if any.
    static Reply fromCall(const CallResult& r);
    bool ok() const { return errorNumber == NoError; }
};

// The JSON body of a device or management reply, keys spelled exactly as the API spells them.
QByteArray encodeReply(const Reply& reply, quint32 clientTransactionId,
                       quint32 serverTransactionId);
// Management replies carry no error keys.
QByteArray encodeManagementReply(const QJsonValue& value, quint32 clientTransactionId,
                                 quint32 serverTransactionId);

} // namespace mivel::alpaca
