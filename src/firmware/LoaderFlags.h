#pragma once

#include <QtGlobal>

namespace mivel::firmware {

// What the reply parsers and the wizard share about the unit's loader. A ":x" reply counts only
// while a wizard is open, so that one arriving late, after the wizard has ended, changes
// nothing.
struct LoaderFlags {
    bool loaderAnswered = false;
    bool wizardClosed = true;
    qint16 loaderStatus = 0; // the code of the character after ":x"

    void onLoaderReply(int statusCode) {
        if (wizardClosed)
            return;
        loaderAnswered = true;
        loaderStatus = qint16(statusCode);
    }
};

} // namespace mivel::firmware
