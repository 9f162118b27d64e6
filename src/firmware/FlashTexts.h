#pragma once

#include <QString>

namespace mivel::firmware {

// The wizard's words, as the observer sees them. The spelling slips ("on you Vark Mivel",
// "upload successfully", "succesfully") are the unit's documentation's own and stay.
namespace text {
inline const QString VarkTitle = QStringLiteral("Vark");
inline const QString DownloadPage = QStringLiteral("http://www.vark-mivel.example/firmware");
inline const QString Initializing = QStringLiteral("Status:  Initializing");
inline const QString Erasing = QStringLiteral("Erasing");
inline const QString Erased = QStringLiteral("Erased succesfully");
inline const QString Programming = QStringLiteral("Programming...this may take a moment");
inline const QString NoResponseBox = QStringLiteral("Timed out waiting for response");
inline const QString CancelQuestion = QStringLiteral("Cancel firmware upgrade?");
// The file dialog's filter: the name ends in lower-case ".s19", as the Next rule wants it.
inline const QString BrowseFilter = QStringLiteral("S19 File (*.s19)");
inline const QString ProposedName = QStringLiteral("Vark.s19");
// The one content rule of the file box: Next needs this, in exactly this case.
inline const QString FileMark = QStringLiteral(".s19");
} // namespace text

// The title and text of a page (0 to 4; the error page is errorPageText()).
struct PageText {
    QString title;
    QString text;
};
PageText pageText(int step);
inline const QString ErrorPageTitle = QStringLiteral("Error Encountered");

// The upload's error codes, 1 to 6, with the error page's title line and advice.
enum UploadError : int {
    NoError = 0,
    NoResponse = 1,
    NoProgrammingVoltage = 2,
    EraseFailed = 3,
    FileUnreadable = 4,
    LineNotSent = 5,
    NoHandshake = 6,
};
struct FailureText {
    QString titleLine;
    QString advice;
};
// Empty texts for a code outside 1 to 6.
FailureText failureText(int code);
// The whole text of the error page for a code.
QString errorPageText(int code);

// "Line 120 of 2048, about 2 min 31 s left"; without an estimate yet, the lines alone.
QString progressText(int linesSent, int lineCount, qint64 msLeft);

} // namespace mivel::firmware
