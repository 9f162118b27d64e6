#include "CheckRegistry.h"

#include "AppContext.h"
#include "Registration.h"
#include "SettingsKey.h"
#include "SettingsTable.h"

namespace mivel {

namespace {

using Hive = SettingsStore::Hive;
constexpr Hive Machine = Hive::LocalMachine;

using Outcome = std::optional<RegistryCheckError>;

Outcome failed(int step, const Error& error) {
    return RegistryCheckError{step, error.number, error.description};
}

Outcome unableToRead(long status) {
    return RegistryCheckError{4, status, QStringLiteral("Unable to read registry value")};
}

void deleteLegacyKeyOnceInstalled(SettingsStore& store) {
    ScopedKey settingsKey(store);
    if (settingsKey.open(Machine, SettingsKeyPath) == SettingsStore::Success)
        store.deleteKey(Machine, LegacySettingsKeyPath);
}

void writeFirstContents(SettingsStore& store, SettingsStore::Key key, Settings& settings) {
    for (const SettingValue& value : settingValues()) {
        setSettingValue(store, key, value.key, value.first);
        QVariant held = value.first;
        if (value.firstAgain) {
            setSettingValue(store, key, value.key.name, int(value.firstAgain->first),
                            value.firstAgain->second);
            held = value.firstAgain->second;
        }
        if (value.assign)
            value.assign(settings, held);
    }
}

Outcome readValues(SettingsStore& store, SettingsStore::Key key, Settings& settings) {
    for (const SettingValue& value : settingValues()) {
        if (!value.missing)
            continue;
        QVariant stored;
        const long status = querySettingValue(store, key, value.key, &stored);
        if (status == SettingsStore::NotFound) {
            setSettingValue(store, key, value.key, *value.missing);
            stored = *value.missing;
        } else if (status != SettingsStore::Success) {
            return unableToRead(status);
        }
        if (auto error = value.assign(settings, stored))
            return failed(4, *error);
    }
    QVariant device;
    const long status = querySettingValue(store, key, setting::PortDevice, &device);
    if (status == SettingsStore::Success)
        settings.portDevice = device.toString();
    else if (status != SettingsStore::NotFound)
        return unableToRead(status);
    return std::nullopt;
}

Outcome run(SettingsStore& store, Settings& settings) {
    deleteLegacyKeyOnceInstalled(store);

    ScopedKey settingsKey(store);
    bool createdNew = false;
    if (const long status = settingsKey.create(Machine, SettingsKeyPath, &createdNew))
        return RegistryCheckError{2, status, QStringLiteral("Unable to create key")};

    if (createdNew)
        writeFirstContents(store, settingsKey.handle(), settings);
    else if (auto error = readValues(store, settingsKey.handle(), settings))
        return error;
    settingsKey.close();

#ifdef Q_OS_WIN
    if (auto error = repairRegistration(store))
        return failed(5, *error);
#endif
    return std::nullopt;
}

void showProblemOnce(const SettingsStore& store, Prompt& prompt, QString& problemShown) {
    const QString problem = store.problem();
    if (problem.isEmpty() || problem == problemShown)
        return;
    problemShown = problem;
    prompt.inform(problem, MessageTitle, Prompt::Icon::Warning);
}

} // namespace

QString RegistryCheckError::message() const {
    return QStringLiteral("Error in module CheckRegistry.  Line Number: ") + QString::number(step) +
           QStringLiteral(" Error Number: ") + QString::number(number) +
           QStringLiteral(" Error Description: ") + description;
}

std::optional<RegistryCheckError> checkRegistry(SettingsStore& store, Settings& settings,
                                                Prompt& prompt, QString& problemShown) {
    showProblemOnce(store, prompt, problemShown);
    const Outcome outcome = run(store, settings);
    if (outcome)
        prompt.inform(outcome->message(), MessageTitle, Prompt::Icon::Critical);
    // Closing the key is when a file store writes; a failure to write shows up only now.
    showProblemOnce(store, prompt, problemShown);
    return outcome;
}

std::optional<RegistryCheckError> checkRegistry(AppContext& context) {
    QString& problemShown = context.shared().settingsProblemShown;
    if (context.settingsLoaded()) {
        // The copy already holds every stored value and every change made since; reading the
        // store again could only bring back older values. The store is still repaired.
        Settings scratch = context.settings();
        return checkRegistry(context.store(), scratch, context.prompt(), problemShown);
    }
    // A store that fails part-way fails the same way at every run; what the first run read
    // stays in effect either way.
    context.markSettingsLoaded();
    return checkRegistry(context.store(), context.settings(), context.prompt(), problemShown);
}

} // namespace mivel
