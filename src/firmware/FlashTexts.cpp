#include "FlashTexts.h"

namespace mivel::firmware {
namespace {

const QString RebootAndRetry =
    QStringLiteral("Please reboot the Vark Mivel by temporarily removing "
                   "power and try uploading the firmware again.");

} // namespace

PageText pageText(int step) {
    switch (step) {
    case 0:
        return {QStringLiteral("Welcome to the Firmware Upgrade Wizard"),
                QStringLiteral("This wizard will guide you through upgrading the firmware on you "
                               "Vark Mivel.\n") +
                    QStringLiteral("  The most recent firmware version can be downloaded from '") +
                    text::DownloadPage + QStringLiteral("'.")};
    case 1:
        return {QStringLiteral("Choose Firmware File"),
                QStringLiteral("Please type the path and file name of firmware upgrade file.  You "
                               "can search the hard drive by pressing the 'Browse' button.")};
    case 2:
        return {QStringLiteral("Complete Upgrade"),
                QStringLiteral("You are now ready to upgrade the Vark Mivel firmware.  Once "
                               "started, this process must be allowed to complete "
                               "uninterrupted.  ") +
                    QStringLiteral("If for some reason the upgrade gets interrupted, the Vark "
                                   "Mivel will attempt to recover its last firmware.  If this is "
                                   "not possible then this ") +
                    QStringLiteral("will need to be repeated.\n") +
                    QStringLiteral("To continue press 'Next'")};
    case 3:
        return {QStringLiteral("Uploading Firmware"), text::Initializing};
    case 4:
        return {QStringLiteral("Success"),
                QStringLiteral("The Vark Mivel firmware has been upload successfully.\n") +
                    QStringLiteral("Please reboot the Vark Mivel by temporarily removing power.")};
    default:
        return {};
    }
}

FailureText failureText(int code) {
    switch (code) {
    case NoResponse:
        return {QStringLiteral("NO RESPONSE DURING INITIALIZATION"), RebootAndRetry};
    case NoProgrammingVoltage:
        return {QStringLiteral("PROGRAMMING VOLTAGE NOT PRESENT"),
                QStringLiteral("This may be indicative of hardware damage.  If this error "
                               "continues please contact Vark for repair.")};
    case EraseFailed:
        return {QStringLiteral("UNABLE TO ERASE FLASH"),
                RebootAndRetry +
                    QStringLiteral("  If this error persists please contact Vark for repair.")};
    case FileUnreadable:
        return {
            QStringLiteral("UNABLE TO OPEN FIRMWARE FILE"),
            QStringLiteral("Please verify that a valid file was chosen for the firmware upgrade.")};
    case LineNotSent:
        return {QStringLiteral("ERROR WHILE SENDING FIRMWARE LINE"),
                QStringLiteral("This may be indicative of a corrupt firmware file.")};
    case NoHandshake:
        return {QStringLiteral("TIMED OUT WAITING FOR PROGRAM HANDSHAKE"),
                RebootAndRetry +
                    QStringLiteral("  This error can be caused by a corrupt firmware file.")};
    default:
        return {};
    }
}

QString errorPageText(int code) {
    const FailureText f = failureText(code);
    return QStringLiteral("The firmware upload was terminated with an error code: ") +
           QString::number(code) + QStringLiteral("\n\n") + f.titleLine + QStringLiteral("\n\n") +
           f.advice;
}

QString progressText(int linesSent, int lineCount, qint64 msLeft) {
    QString out = QStringLiteral("Line %1 of %2").arg(linesSent).arg(lineCount);
    if (msLeft < 0)
        return out;
    const qint64 seconds = (msLeft + 999) / 1000;
    if (seconds >= 60)
        return out + QStringLiteral(", about %1 min %2 s left").arg(seconds / 60).arg(seconds % 60);
    return out + QStringLiteral(", about %1 s left").arg(seconds);
}

} // namespace mivel::firmware
