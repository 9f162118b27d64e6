#include "support/FakeDevices.h"

#include "support/FakeSerialDevice.h"
#include "support/MemorySettingsStore.h"
#include "support/ScriptedPrompt.h"

namespace mivel::test {

Task<CallResult> FakeDevice::get(const QString& m) {
    calls << "get " + m;
    return answer(m, values.value(m));
}

Task<CallResult> FakeDevice::set(const QString& m, const QVariant& v) {
    calls << "set " + m + " " + v.toString();
    if (!errors.contains(m))
        values[m] = v;
    return answer(m, QVariant());
}

Task<CallResult> FakeDevice::call(const QString& m, const QVariantList& args) {
    QStringList text;
    for (const QVariant& a : args)
        text << a.toString();
    calls << "call " + m + "(" + text.join(',') + ")";
    return answer(m, QVariant());
}

Task<CallResult> FakeDevice::answer(QString m, QVariant value) {
    if (const qint64 ms = waitMs.value(m); ms > 0) {
        ++waiting;
        co_await waits_.delay(ms);
        --waiting;
        if (!value.isNull())
            value = values.value(m); // what the member holds once its wait is over
    }
    Status error;
    if (errors.contains(m))
        error = errors.value(m);
    co_return CallResult{value, error};
}

FakeProvider::FakeProvider(Waits& waits)
    : waits_(waits)
    , ctx_(std::make_unique<AppContext>(
          std::make_unique<MemorySettingsStore>(), std::make_unique<ScriptedPrompt>(),
          [] { return std::make_unique<FakeSerialDevice>(); }, AppPaths::inDirectory(dir_.path())))
    , real_(std::make_unique<DriverSet>(*ctx_)) {}

FakeProvider::~FakeProvider() = default;

AutomationDevice* FakeProvider::existing(Kind kind) const {
    auto it = devices_.find(kind);
    return it == devices_.end() ? nullptr : it->second.get();
}

FakeDevice& FakeProvider::fake(Kind kind) {
    auto& d = devices_[kind];
    if (!d)
        d = std::make_unique<FakeDevice>(real_->device(kind).members(), waits_);
    return *d;
}

} // namespace mivel::test
