#pragma once

// Driver objects as the console's process model sees them: created or not, linked or not.

#include "drivers/AutomationDevice.h"

namespace mivel::test {

class FakeDevice final : public AutomationDevice {
public:
    bool isLinked = false;
    std::span<const MemberInfo> members() const override { return {}; }
    Task<CallResult> get(const QString&) override { return Task<CallResult>::ready({}); }
    Task<CallResult> set(const QString&, const QVariant&) override {
        return Task<CallResult>::ready({});
    }
    Task<CallResult> call(const QString&, const QVariantList&) override {
        return Task<CallResult>::ready({});
    }
    bool linked() const override { return isLinked; }
};

class FakeProvider final : public DeviceProvider {
public:
    FakeDevice rotator;
    bool rotatorCreated = false;
    AutomationDevice& device(Kind) override {
        rotatorCreated = true;
        return rotator;
    }
    AutomationDevice* existing(Kind kind) const override {
        return kind == Kind::Rotator && rotatorCreated ? const_cast<FakeDevice*>(&rotator)
                                                       : nullptr;
    }
};

} // namespace mivel::test
