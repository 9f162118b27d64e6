#pragma once

#include "Prompt.h"
#include "Settings.h"
#include "SettingsStore.h"

#include <QString>

#include <optional>

namespace mivel {

class AppContext;

// What stopped the settings routine: the step it was in, an error number (the store's status
// for a key or value that failed, 13 "Type mismatch" or 6 "Overflow" for a stored value that
// does not fit its copy) and a description.
struct RegistryCheckError {
    int step = 0;
    qint64 number = 0;
    QString description;

    // The text shown to the user.
    QString message() const;
};

// Makes sure the settings key exists with every value present and loads the program-wide copy
// of the settings from it; on Windows it then repairs the server registration. Run by the main
// console's load and by the start of every driver object, so it must leave a good store as it
// is. Steps, as the error message numbers them:
//   1. When the settings key opens, delete the older driver's key (so a legacy key disappears
//      only from the second run on).
//   2. Create or open the settings key, noting whether it is new.
//   3. A new key: write the display name and every value of settingValues() in table order
//      with its First content; the copies take the same contents.
//   4. An existing key: read every value with Missing content, in table order, into its copy;
//      an absent one is written with its Missing content, which the copy takes. Then the
//      Linux device path "PortDevice" is read when present.
//   5. Close the key; on Windows repair the registration (Registration.h).
// An error ends the routine with one message (title "Mivel") through the prompt; values read up
// to it stay in effect, the others keep their previous values. A store that reports a problem()
// has it shown too, once for as long as the text stays the same (`problemShown` keeps it).
std::optional<RegistryCheckError> checkRegistry(SettingsStore& store, Settings& settings,
                                                Prompt& prompt, QString& problemShown);
// The same on the context's store, settings and prompt, with one difference: the context's copy
// is loaded from the store by the first run only. The program is the store's
// only writer, so from then on the copy is the newer of the two: it holds the choices made
// during the run (the port in use, the console's jog step) that a later reload would silently
// undo, and that a later save would then write back undone. Later runs still repair the store
// and report its problems.
std::optional<RegistryCheckError> checkRegistry(AppContext& context);

} // namespace mivel
