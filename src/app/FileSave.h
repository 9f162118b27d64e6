#pragma once

#include "core/Error.h"

#include <QByteArray>
#include <QString>

namespace mivel {

// Every file the program writes is replaced whole through here: the new text goes to a
// temporary beside the file and is renamed over it only once all of it has been written. A save
// that fails for any reason (a full disk, a read-only folder, a file-size limit) leaves the old
// file exactly as it was, removes the temporary, says why in the log, and returns the reason as
// an unavailable file. The folder must exist.
Status replaceFile(const QString& path, const QByteArray& data);

// Removes the temporaries that saves of `path` left behind when the process was killed between
// writing and renaming ("settings.reg.Ab12Cd" beside "settings.reg"). Only those older than
// `minAgeSeconds` go, so a save running in another process right now is not disturbed. Returns
// how many were removed.
int removeStaleTemporaries(const QString& path, int minAgeSeconds = 60);

} // namespace mivel
