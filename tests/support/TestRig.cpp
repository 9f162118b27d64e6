#include "support/TestRig.h"

#include <QCoreApplication>
#include <QTest>

namespace mivel::test {

void TestRig::settle() {
    for (int i = 0; i < 10; ++i)
        QCoreApplication::processEvents();
}

void TestRig::advance(qint64 ms, qint64 stepMs) {
    const auto letWorkRun = [this] {
        settle();
        if (realMsPerStep > 0)
            QTest::qWait(realMsPerStep);
    };
    letWorkRun();
    for (qint64 t = 0; t < ms; t += stepMs) {
        clock.advance(stepMs);
        letWorkRun();
    }
}

AppRig::AppRig(SerialDeviceFactory otherDevice) {
    auto s = std::make_unique<MemorySettingsStore>();
    auto p = std::make_unique<ScriptedPrompt>();
    store = s.get();
    prompt = p.get();
    if (!otherDevice)
        otherDevice = [this] { return makeFake(); };
    ctx = std::make_unique<AppContext>(std::move(s), std::move(p), std::move(otherDevice),
                                       AppPaths::inDirectory(dir.path()), clock);
}

AppRig::~AppRig() = default;

std::unique_ptr<SerialDevice> AppRig::makeFake() {
    auto d = std::make_unique<FakeSerialDevice>();
    device = d.get();
    device->respond = respond;
    return d;
}

} // namespace mivel::test
