// libFuzzer target for the settings file format. Whatever the text, reading it must not crash;
// what reads without error must write out as a file that reads back to the same tree, and that
// writes out the same again. Built with AddressSanitizer and UndefinedBehaviorSanitizer.

#include "app/SettingsFileFormat.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using mivel::SettingsTree;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray text(reinterpret_cast<const char*>(data), qsizetype(size));
    SettingsTree tree;
    if (const auto error = mivel::parseSettingsFile(text, &tree)) {
        if (error->line < 1 || error->what.isEmpty())
            std::abort();
        return 0;
    }
    const QByteArray written = mivel::writeSettingsFile(tree);
    SettingsTree again;
    if (mivel::parseSettingsFile(written, &again))
        std::abort();
    if (mivel::writeSettingsFile(again) != written)
        std::abort();
    return 0;
}
