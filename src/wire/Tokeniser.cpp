#include "Tokeniser.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcReplies, "mivel.replies")

namespace mivel::wire {

void noticeOverlongToken(std::size_t maxLength) {
    qCWarning(lcReplies).noquote()
        << QStringLiteral("The serial device sent text without the spaces that end the unit's "
                          "replies (a token longer than %1 bytes): it does not look like the "
                          "Mivel unit. Check the chosen port. The excess is dropped.")
               .arg(maxLength);
}

} // namespace mivel::wire
