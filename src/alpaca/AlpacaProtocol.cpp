#include "AlpacaProtocol.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QSet>

#include <algorithm>
#include <charconv>
#include <cmath>

namespace mivel::alpaca {

QList<QPair<QString, QString>> decodeForm(const QByteArray& text) {
    QList<QPair<QString, QString>> out;
    QSet<QString> seen; // a list search per field would make a form bomb quadratic
    for (const QByteArray& field : text.split('&')) {
        if (field.isEmpty())
            continue;
        const qsizetype eq = field.indexOf('=');
        auto decode = [](QByteArray s) {
            s.replace('+', ' ');
            return QString::fromUtf8(QByteArray::fromPercentEncoding(s));
        };
        const QString name = decode(eq < 0 ? field : field.left(eq));
        const QString value = eq < 0 ? QString() : decode(field.mid(eq + 1));
        if (!seen.contains(name)) {
            seen.insert(name);
            out.append({name, value});
        }
    }
    return out;
}

Params Params::fromQuery(const QByteArray& query) {
    return Params(decodeForm(query), Casing::AnyCase);
}

Params Params::fromForm(const QByteArray& body) {
    return Params(decodeForm(body), Casing::Exact);
}

Params::Lookup Params::find(QStringView name) const {
    for (const auto& [n, v] : pairs_)
        if (n == name)
            return {true, false, v, n};
    for (const auto& [n, v] : pairs_)
        if (n.compare(name, Qt::CaseInsensitive) == 0)
            return {casing_ == Casing::AnyCase, casing_ == Casing::Exact, v, n};
    return {};
}

namespace {

std::optional<quint32> parseId(const QString& text) {
    if (text.isEmpty() || text.size() > 10 ||
        !std::all_of(text.begin(), text.end(), [](QChar c) { return c >= u'0' && c <= u'9'; }))
        return std::nullopt;
    const qulonglong v = text.toULongLong();
    if (v > 0xFFFFFFFFull)
        return std::nullopt;
    return quint32(v);
}

} // namespace

quint32 Params::id(QStringView name) const {
    const Lookup l = find(name);
    return l.found ? parseId(l.value).value_or(0) : 0;
}

QString Params::idProblem() const {
    for (const QStringView name : {u"ClientID", u"ClientTransactionID"}) {
        const Lookup l = find(name);
        if (l.found && !parseId(l.value))
            return QStringLiteral("%1=%2 is not a whole number from 0 to 4294967295")
                .arg(name.toString(), l.value);
    }
    return {};
}

std::optional<bool> parseBool(const QString& text) {
    if (text.compare(u"true", Qt::CaseInsensitive) == 0)
        return true;
    if (text.compare(u"false", Qt::CaseInsensitive) == 0)
        return false;
    return std::nullopt;
}

std::optional<qint32> parseInt(const QString& text) {
    bool ok = false;
    const int v = QLocale::c().toInt(text, &ok);
    if (!ok || text.startsWith(u'+') || text.contains(u','))
        return std::nullopt;
    return v;
}

std::optional<double> parseDouble(const QString& text) {
    bool ok = false;
    QLocale c = QLocale::c();
    c.setNumberOptions(QLocale::RejectGroupSeparator);
    const double v = c.toDouble(text, &ok);
    if (!ok || !std::isfinite(v) || text.startsWith(u'+'))
        return std::nullopt;
    return v;
}

std::optional<QVariant> parseAs(QMetaType::Type type, const QString& text) {
    switch (type) {
    case QMetaType::Bool:
        if (auto b = parseBool(text))
            return QVariant(*b);
        return std::nullopt;
    case QMetaType::Short:
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
        if (auto i = parseInt(text))
            return QVariant(*i);
        return std::nullopt;
    case QMetaType::Float:
    case QMetaType::Double:
        if (auto d = parseDouble(text))
            return QVariant(*d);
        return std::nullopt;
    default: // text and variants go to the member as written: it judges them itself
        return QVariant(text);
    }
}

QString describeType(QMetaType::Type type) {
    switch (type) {
    case QMetaType::Bool:
        return QStringLiteral("True or False");
    case QMetaType::Short:
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
        return QStringLiteral("an integer");
    case QMetaType::Float:
    case QMetaType::Double:
        return QStringLiteral("a number");
    default:
        return QStringLiteral("a text");
    }
}

QJsonValue toJson(const QVariant& value) {
    if (!value.isValid())
        return QJsonValue(QJsonValue::Undefined);
    switch (value.typeId()) {
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::Float: {
        // The shortest text that reads back as the same single, then as a double.
        char buf[32];
        const auto r = std::to_chars(buf, buf + sizeof buf, value.toFloat());
        return QByteArray(buf, r.ptr - buf).toDouble();
    }
    case QMetaType::Double:
        return value.toDouble();
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::LongLong:
        return value.toLongLong();
    case QMetaType::QStringList:
        return QJsonArray::fromStringList(value.toStringList());
    case QMetaType::QVariantList: {
        QJsonArray a;
        for (const QVariant& v : value.toList())
            a.append(toJson(v));
        return a;
    }
    default:
        return value.toString();
    }
}

Reply Reply::fromCall(const CallResult& r) {
    Reply reply;
    reply.value = toJson(r.value);
    if (r.error) {
        const ReplyError e = replyError(*r.error);
        reply.errorNumber = e.number;
        reply.errorMessage = e.message;
    }
    return reply;
}

namespace {

// A value as QJsonDocument's compact form writes it, for the values it would write otherwise
// (arrays, text with escapes): the same writer, so the bytes are the same.
void appendThroughQJson(QByteArray& out, const QJsonValue& value) {
    const QByteArray array = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    out.append(array.constData() + 1, array.size() - 2); // without the brackets
}

// Text as the compact JSON writer writes it. Printable ASCII needs no more than its quotes and
// backslashes escaped; anything else goes through the writer itself.
void appendString(QByteArray& out, const QString& text) {
    for (const QChar c : text)
        if (c.unicode() < 0x20 || c.unicode() >= 0x7f)
            return appendThroughQJson(out, QJsonValue(text));
    out += '"';
    for (const QChar c : text) {
        const char ch = char(c.unicode());
        if (ch == '"' || ch == '\\')
            out += '\\';
        out += ch;
    }
    out += '"';
}

void appendValue(QByteArray& out, const QJsonValue& value) {
    switch (value.type()) {
    case QJsonValue::Bool:
        out += value.toBool() ? "true" : "false";
        return;
    case QJsonValue::Double: {
        // Kept as an integer or as a double, a number is written the way it is kept.
        const QVariant number = value.toVariant();
        if (number.typeId() == QMetaType::LongLong)
            out += QByteArray::number(number.toLongLong());
        else if (const double d = number.toDouble(); std::isfinite(d))
            out += QByteArray::number(d, 'g', QLocale::FloatingPointShortest);
        else
            out += "null";
        return;
    }
    case QJsonValue::String:
        return appendString(out, value.toString());
    case QJsonValue::Null:
        out += "null";
        return;
    default:
        return appendThroughQJson(out, value);
    }
}

void appendId(QByteArray& out, const char* key, quint32 id) {
    out += key;
    out += QByteArray::number(id);
}

} // namespace

// Every device call answers with this one shape, so it is written directly, keys in the order
// the JSON writer sorts them: byte for byte what QJsonDocument made of it, at a fraction of the
// cost.
QByteArray encodeReply(const Reply& reply, quint32 clientTransactionId,
                       quint32 serverTransactionId) {
    QByteArray out;
    out.reserve(128 + reply.errorMessage.size());
    appendId(out, "{\"ClientTransactionID\":", clientTransactionId);
    out += ",\"ErrorMessage\":";
    appendString(out, reply.errorMessage);
    out += ",\"ErrorNumber\":";
    out += QByteArray::number(reply.errorNumber);
    appendId(out, ",\"ServerTransactionID\":", serverTransactionId);
    if (!reply.value.isUndefined()) {
        out += ",\"Value\":";
        appendValue(out, reply.value);
    }
    out += '}';
    return out;
}

QByteArray encodeManagementReply(const QJsonValue& value, quint32 clientTransactionId,
                                 quint32 serverTransactionId) {
    QJsonObject o;
    o.insert(QStringLiteral("Value"), value);
    o.insert(QStringLiteral("ClientTransactionID"), qint64(clientTransactionId));
    o.insert(QStringLiteral("ServerTransactionID"), qint64(serverTransactionId));
    return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

} // namespace mivel::alpaca
