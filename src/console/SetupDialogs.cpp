#include "SetupDialogs.h"

#include "StepSizeCalculator.h"

#include "app/SettingsKey.h"
#include "app/SettingsTable.h"
#include "core/Format.h"
#include "core/Numbers.h"
#include "wire/Commands.h"

namespace mivel::console {
namespace {

using Hive = SettingsStore::Hive;

const QString kUnableToRead = QStringLiteral("Unable to read registry value");

std::optional<double> numberIn(const QString& text) {
    return wire::toNumber(text.trimmed().toStdString());
}

std::optional<double> numberIn(const QVariant& value) {
    bool ok = false;
    const double d = value.toDouble(&ok);
    if (value.typeId() == QMetaType::QString)
        return numberIn(value.toString());
    return ok ? std::optional<double>(d) : std::nullopt;
}

// Reads one value; a missing or unreadable one is reported and leaves `out` as it is.
template <class Take>
void readValue(SettingsStore& store, SettingsStore::Key key, const Setting& name, Prompt& prompt,
               Take take) {
    QVariant value;
    if (querySettingValue(store, key, name, &value) == SettingsStore::Success)
        take(value);
    else
        prompt.inform(kUnableToRead, MessageTitle, Prompt::Icon::Warning);
}

long firstFailure(std::initializer_list<long> statuses) {
    for (long s : statuses)
        if (s != SettingsStore::Success)
            return s;
    return SettingsStore::Success;
}

} // namespace

// --- PortSetup ------------------------------------------------------------------------------

PortSetup::PortSetup(AppContext& ctx, QList<PortEntry> ports)
    : ctx_(ctx)
    , ports_(std::move(ports)) {
    inUse_ = portIndexFor(ports_, ctx.settings().port, ctx.settings().portDevice);
    portIndex_ = inUse_;
}

void PortSetup::tell(const QString& text) {
    ctx_.prompt().inform(text, MessageTitle, Prompt::Icon::Warning);
}

long PortSetup::loadPort(SettingsStore::Key key) {
    QVariant port;
    return querySettingValue(ctx_.store(), key, setting::PORT, &port);
}

void PortSetup::applyPort() {
    storePort_ = portPicked() && !ports_[portIndex_].temporary;
    if (!portPicked())
        return;
    Settings& settings = ctx_.settings();
    settings.port = std::int16_t(portIndex_ + 1);
    settings.portDevice = ports_[portIndex_].device;
    inUse_ = portIndex_;
    Serial* serial = ctx_.hub().serial();
    if (!serial)
        return;
    const bool wasOpen = serial->connected();
    if (wasOpen)
        serial->setConnected(false);
    serial->setPort(settings.port);
    serial->setDevicePath(settings.portDevice);
    if (wasOpen) {
        if (const Status failed = serial->setConnected(true))
            ctx_.prompt().inform(failed->description, QStringLiteral("Vark"),
                                 Prompt::Icon::Warning);
    }
    ctx_.shared().portChanged = true;
}

long PortSetup::writePort(SettingsStore::Key key) {
    if (!storePort_)
        return SettingsStore::Success;
    SettingsStore& store = ctx_.store();
    const Settings& settings = ctx_.settings();
    return firstFailure({setSettingValue(store, key, setting::PORT, settings.port),
                         setSettingValue(store, key, setting::PortDevice, settings.portDevice)});
}

// --- FocuserSetup ---------------------------------------------------------------------------

FocuserSetup::FocuserSetup(AppContext& ctx, QList<PortEntry> ports)
    : PortSetup(ctx, std::move(ports)) {}

void FocuserSetup::load() {
    SettingsStore& store = ctx_.store();
    ScopedKey key(store);
    if (key.open(Hive::LocalMachine, SettingsKeyPath) != SettingsStore::Success) {
        tell(QStringLiteral("Unable to read registry"));
        return;
    }
    Prompt& prompt = ctx_.prompt();
    if (loadPort(key.handle()) != SettingsStore::Success)
        tell(kUnableToRead);
    readValue(store, key.handle(), setting::ControlConsole, prompt,
              [this](const QVariant& v) { consoleOnConnect = v.toInt() != 0; });
    readValue(store, key.handle(), setting::StepSize, prompt, [this](const QVariant& v) {
        if (const auto step = numberIn(v))
            stepSizeText = formatNumber(*step, "0.00");
    });
    readValue(store, key.handle(), setting::LargeStepSize, prompt,
              [this](const QVariant& v) { largeStepText = QString::number(v.toInt()); });
    readValue(store, key.handle(), setting::SmallStepSize, prompt,
              [this](const QVariant& v) { smallStepText = QString::number(v.toInt()); });
}

void FocuserSetup::takeCalculation(const StepSizeResult& result) {
    if (result.stepSize)
        stepSizeText = formatNumber(*result.stepSize, "0.00");
    if (result.smallStep)
        smallStepText = QString::number(*result.smallStep);
    if (result.largeStep)
        largeStepText = QString::number(*result.largeStep);
}

bool FocuserSetup::accept() {
    // Every value is checked before anything is taken, so a refusal leaves all as it was.
    const auto small = numberIn(smallStepText);
    const auto smallStep = small ? wire::roundToInt<std::int16_t>(*small) : std::nullopt;
    if (!smallStep || *small < 1) {
        tell(QStringLiteral("Illegal value for SmallStepSize"));
        return false;
    }
    const auto large = numberIn(largeStepText);
    const auto largeStep = large ? wire::roundToInt<std::int16_t>(*large) : std::nullopt;
    if (!largeStep || *large < *small) {
        tell(QStringLiteral("Illegal value for LargeStepSize"));
        return false;
    }
    Settings& settings = ctx_.settings();
    settings.controlConsole = consoleOnConnect;
    settings.smallStepSize = *smallStep;
    settings.largeStepSize = *largeStep;
    if (const auto step = numberIn(stepSizeText))
        settings.stepSize = float(*step);
    applyPort();

    SettingsStore& store = ctx_.store();
    ScopedKey key(store);
    long status = key.create(Hive::LocalMachine, SettingsKeyPath);
    if (status == SettingsStore::Success) {
        const auto k = key.handle();
        status = firstFailure(
            {writePort(k),
             setSettingValue(store, k, setting::ControlConsole, settings.controlConsole ? 1 : 0),
             setSettingValue(store, k, setting::StepSize, wire::decimalText(settings.stepSize)),
             setSettingValue(store, k, setting::LargeStepSize, settings.largeStepSize),
             setSettingValue(store, k, setting::SmallStepSize, settings.smallStepSize),
             key.close()});
    }
    if (status != SettingsStore::Success)
        tell(QStringLiteral("Unable to create key"));
    return true;
}

// --- RotatorSetup ---------------------------------------------------------------------------

RotatorSetup::RotatorSetup(AppContext& ctx, QList<PortEntry> ports)
    : PortSetup(ctx, std::move(ports)) {}

void RotatorSetup::load() {
    SettingsStore& store = ctx_.store();
    ScopedKey key(store);
    if (key.open(Hive::LocalMachine, SettingsKeyPath) != SettingsStore::Success) {
        tell(QStringLiteral("Unable to read registry"));
        return;
    }
    if (loadPort(key.handle()) != SettingsStore::Success)
        tell(kUnableToRead);
    readValue(store, key.handle(), setting::ControlConsole, ctx_.prompt(),
              [this](const QVariant& v) { consoleOnConnect = v.toInt() != 0; });
}

bool RotatorSetup::accept() {
    ctx_.settings().controlConsole = consoleOnConnect;
    applyPort();
    SettingsStore& store = ctx_.store();
    ScopedKey key(store);
    long status = key.create(Hive::LocalMachine, SettingsKeyPath);
    if (status == SettingsStore::Success)
        status = firstFailure({writePort(key.handle()),
                               setSettingValue(store, key.handle(), setting::ControlConsole,
                                               consoleOnConnect ? 1 : 0),
                               key.close()});
    if (status != SettingsStore::Success)
        tell(QStringLiteral("Unable to create key"));
    return true;
}

// --- PortProperties -------------------------------------------------------------------------

PortProperties::PortProperties(AppContext& ctx, QList<PortEntry> ports)
    : PortSetup(ctx, std::move(ports)) {}

void PortProperties::loadPropertySettings() {
    ScopedKey key(ctx_.store());
    if (key.open(Hive::LocalMachine, SettingsKeyPath) != SettingsStore::Success) {
        tell(QStringLiteral("Unable to open registry key"));
        return;
    }
    const long status = loadPort(key.handle());
    if (status != SettingsStore::Success && status != SettingsStore::NotFound)
        tell(QStringLiteral("Error number: %1 Unable to read the port number").arg(status));
}

bool PortProperties::accept() {
    applyPort();
    ScopedKey key(ctx_.store());
    long status = key.create(Hive::LocalMachine, SettingsKeyPath);
    if (status == SettingsStore::Success)
        status = firstFailure({writePort(key.handle()), key.close()});
    if (status != SettingsStore::Success)
        tell(QStringLiteral("Error number: %1 Unable to save the port number").arg(status));
    return true;
}

} // namespace mivel::console
