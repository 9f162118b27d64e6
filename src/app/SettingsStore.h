#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <cstdint>
#include <optional>

namespace mivel {

// The settings store seam, shaped like the machine's registry: hives, keys by path, and named
// values with a type and raw bytes. The registry on Windows; on Linux a typed text file; in
// tests an in-memory store. Calls return a status: 0 success, 2 not found, other values failure.
// Unlike the rest of the program these return the registry's status codes, not a Status: callers
// tell "not found" from other failures, and number their own errors with the code (the keys,
// the settings routine and the dialogs report it as it is).
class SettingsStore {
public:
    enum class Hive { LocalMachine, ClassesRoot };
    enum class Type : std::uint32_t {
        None = 0,
        String = 1,         // text with its terminating zero byte included in the length
        Dword = 4,          // 32-bit integer, 4 bytes little-endian
        DwordBigEndian = 5, // 4 bytes; the settings primitives put a single float here
    };
    using Key = std::uintptr_t;
    static constexpr long Success = 0;
    static constexpr long NotFound = 2;
    static constexpr long Failed = 1;
    static constexpr long AccessDenied = 5;      // no right to write to the hive
    static constexpr long InvalidHandle = 6;     // a key handle that is not open
    static constexpr long InvalidParameter = 87; // a value the primitive cannot convert

    virtual ~SettingsStore() = default;

    virtual long openKey(Hive hive, const QString& path, Key* key) = 0;
    virtual long createKey(Hive hive, const QString& path, Key* key, bool* createdNew) = 0;
    virtual long closeKey(Key key) = 0;
    virtual long deleteKey(Hive hive, const QString& path) = 0;
    virtual long setValue(Key key, const QString& name, Type type, const QByteArray& data) = 0;
    virtual long queryValue(Key key, const QString& name, Type* type, QByteArray* data) = 0;

    // Why the store cannot be used, for the user (a corrupt or unreadable file); empty if it can.
    virtual QString problem() const { return {}; }
};

// The two primitives the settings routine is written with.
// Type 1 writes the text with its terminating zero; type 4 converts to a 32-bit integer; type 5
// converts to a single float and writes its 4 bytes under the big-endian DWORD type; other
// types write nothing and return InvalidParameter, as does a value that does not convert.
// Text is stored as UTF-8; a boolean becomes 1 or 0.
long setSettingValue(SettingsStore& store, SettingsStore::Key key, const QString& name, int type,
                     const QVariant& value);
// 0 read, 2 absent, other failure, -1 an unsupported stored type. Type 1 comes back without its
// terminating zero, type 4 as a 32-bit integer, type 5 as a single float.
long querySettingValue(SettingsStore& store, SettingsStore::Key key, const QString& name,
                       QVariant* value);

// The number a setting value stands for: a number as it is, a boolean as 1 or 0, text only
// when it reads as a decimal number (blanks around it allowed); empty otherwise.
std::optional<double> settingNumber(const QVariant& value);

// The key all settings live under, in the local-machine hive.
inline const QString SettingsKeyPath =
    QStringLiteral("SOFTWARE\\ASCOM\\Focuser Drivers\\Vark_AE.Focuser");
// The profile key of an older driver name, deleted by the settings routine.
inline const QString LegacySettingsKeyPath =
    QStringLiteral("SOFTWARE\\ASCOM\\Focuser Drivers\\VarkMivel.Focuser");

} // namespace mivel
