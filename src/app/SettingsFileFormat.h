#pragma once

#include "SettingsTree.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace mivel {

// The settings file: UTF-8 text in the manner of a registry export, so it can be read and
// edited by hand.
//
//   ; comment
//   [HKEY_LOCAL_MACHINE\SOFTWARE\ASCOM\Focuser Drivers\Vark_AE.Focuser]
//   @="Vark Mivel"                 the key's default value
//   "PORT"=dword:00000001          a DWORD, eight hexadecimal digits
//   "StepSize"="0.25"              text; \\ \" \n \r escaped
//   "Scale"=hex(5):00,00,80,3e     any other type: type number and bytes in hexadecimal
//
// The hives are HKEY_LOCAL_MACHINE (HKLM) and HKEY_CLASSES_ROOT (HKCR). Keys and values keep
// their order, and every value keeps its type: a DWORD 0 and the text "0" stay different.
struct SettingsFileError {
    int line = 0; // 1-based
    QString what;
};

// Reads `text` into `tree`; on an error the tree holds what came before the faulty line.
std::optional<SettingsFileError> parseSettingsFile(const QByteArray& text, SettingsTree* tree);
QByteArray writeSettingsFile(const SettingsTree& tree);

} // namespace mivel
