#include "AutomationArgs.h"

#include "DriverErrors.h"

#include "core/Numbers.h"

#include <cmath>
#include <limits>

namespace mivel::args {

namespace {

std::optional<double> numberInText(const QString& text) {
    const QByteArray latin = text.trimmed().toLatin1();
    return wire::toNumber(std::string_view(latin.constData(), std::size_t(latin.size())));
}

template <class Int> Result<Int> toInteger(const QVariant& value) {
    const auto n = number(value);
    if (!n)
        return errors::TypeMismatch;
    const auto rounded = wire::roundToInt<Int>(*n);
    if (!rounded)
        return errors::Overflow;
    return *rounded;
}

} // namespace

std::optional<double> number(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::Bool:
        return value.toBool() ? -1.0 : 0.0;
    case QMetaType::QString:
        return numberInText(value.toString());
    case QMetaType::QByteArray:
        return numberInText(QString::fromLatin1(value.toByteArray()));
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::Float:
    case QMetaType::Double: {
        const double d = value.toDouble();
        return std::isfinite(d) ? std::optional<double>(d) : std::nullopt;
    }
    default:
        return std::nullopt;
    }
}

bool isFalse(const QVariant& value) {
    if (value.typeId() == QMetaType::QString) {
        const QString text = value.toString().trimmed();
        if (text.compare(QLatin1String("false"), Qt::CaseInsensitive) == 0)
            return true;
    }
    const auto n = number(value);
    return n && *n == 0;
}

Result<bool> toBool(const QVariant& value) {
    if (value.typeId() == QMetaType::QString) {
        const QString text = value.toString().trimmed();
        if (text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
            return true;
        if (text.compare(QLatin1String("false"), Qt::CaseInsensitive) == 0)
            return false;
    }
    const auto n = number(value);
    if (!n)
        return errors::TypeMismatch;
    return *n != 0;
}

Result<qint16> toInt16(const QVariant& value) {
    return toInteger<qint16>(value);
}

Result<qint32> toInt32(const QVariant& value) {
    return toInteger<qint32>(value);
}

Result<float> toSingle(const QVariant& value) {
    const auto n = number(value);
    if (!n)
        return errors::TypeMismatch;
    if (std::fabs(*n) > double(std::numeric_limits<float>::max()))
        return errors::Overflow;
    return float(*n);
}

Result<double> toDouble(const QVariant& value) {
    const auto n = number(value);
    if (!n)
        return errors::TypeMismatch;
    return *n;
}

QVariant singleToVariant(float value) {
    return QString::number(value, 'g', 7).toDouble();
}

} // namespace mivel::args
