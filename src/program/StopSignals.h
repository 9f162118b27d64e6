#pragma once

class QObject;

namespace mivel {

// Makes SIGINT and SIGTERM (Ctrl+C and Ctrl+Break on Windows) end the application's event loop,
// so that the program stops between events and closes its port on the way out. The handler does
// nothing but wake the event loop. Returns false when the signals cannot be watched.
bool quitOnStopSignals(QObject* context);

} // namespace mivel
