#include "SettingsStore.h"

#include "core/Numbers.h"

#include <QtEndian>

#include <cstring>
#include <optional>

namespace mivel {

namespace {

using Type = SettingsStore::Type;

QByteArray littleEndian(quint32 bits) {
    QByteArray bytes(4, '\0');
    qToLittleEndian(bits, bytes.data());
    return bytes;
}

quint32 bitsOf(const QByteArray& bytes) {
    return qFromLittleEndian<quint32>(bytes.constData());
}

} // namespace

std::optional<double> settingNumber(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::Bool:
        return value.toBool() ? 1.0 : 0.0;
    case QMetaType::QString:
    case QMetaType::QByteArray:
        return wire::toNumber(value.toString().trimmed().toStdString());
    default:
        break;
    }
    bool ok = false;
    const double number = value.toDouble(&ok);
    return ok ? std::optional<double>(number) : std::nullopt;
}

long setSettingValue(SettingsStore& store, SettingsStore::Key key, const QString& name, int type,
                     const QVariant& value) {
    switch (Type(type)) {
    case Type::String: {
        QByteArray text = value.toString().toUtf8();
        text.append('\0');
        return store.setValue(key, name, Type::String, text);
    }
    case Type::Dword: {
        const auto number = settingNumber(value);
        const auto whole = number ? wire::roundToInt<qint32>(*number) : std::nullopt;
        if (!whole)
            return SettingsStore::InvalidParameter;
        return store.setValue(key, name, Type::Dword, littleEndian(quint32(*whole)));
    }
    case Type::DwordBigEndian: {
        const auto number = settingNumber(value);
        if (!number)
            return SettingsStore::InvalidParameter;
        const float single = float(*number);
        quint32 bits = 0;
        std::memcpy(&bits, &single, sizeof bits);
        return store.setValue(key, name, Type::DwordBigEndian, littleEndian(bits));
    }
    default:
        return SettingsStore::InvalidParameter;
    }
}

long querySettingValue(SettingsStore& store, SettingsStore::Key key, const QString& name,
                       QVariant* value) {
    Type type = Type::None;
    QByteArray data;
    const long status = store.queryValue(key, name, &type, &data);
    if (status != SettingsStore::Success)
        return status;
    switch (type) {
    case Type::String:
        // The stored length includes the terminating zero; the last character is dropped.
        data.chop(1);
        *value = QString::fromUtf8(data);
        return SettingsStore::Success;
    case Type::Dword:
        if (data.size() != 4)
            return SettingsStore::Failed;
        *value = qint32(bitsOf(data));
        return SettingsStore::Success;
    case Type::DwordBigEndian: {
        if (data.size() != 4)
            return SettingsStore::Failed;
        const quint32 bits = bitsOf(data);
        float single = 0;
        std::memcpy(&single, &bits, sizeof single);
        *value = single;
        return SettingsStore::Success;
    }
    default:
        return -1;
    }
}

} // namespace mivel
