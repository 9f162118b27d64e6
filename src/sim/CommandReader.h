#pragma once

#include <QByteArray>

#include <optional>

namespace mivel::sim {

// One command as the unit reads it off the line: the command word and its argument text.
struct ReadCommand {
    QByteArray word;
    QByteArray argument;
    bool operator==(const ReadCommand&) const = default;
};

// Splits the PC's byte stream into commands the way the unit's input routine does: a command
// word of one character (or ":V"), then the argument up to the closing space. Spaces between
// commands are only separators. A few words are acted on the moment they arrive, with no closing
// space: "h" and "u" normally, "E" and "P" in the firmware loader. While the loader is
// programming, the stream is raw S-records with no separator at all, so each record is cut off by
// its own byte count.
//
// Bytes are fed one at a time because a command can change how the next byte is read (entering
// the loader, starting to program).
class CommandReader {
public:
    enum class Mode { Commands, Loader, Records };

    Mode mode() const { return mode_; }
    // Takes effect from the next byte on; a command half read is dropped.
    void setMode(Mode mode);

    // The command this byte completes, if any. In Records mode the word is "S" and the argument
    // the whole record, "S1" included.
    std::optional<ReadCommand> push(char byte);

private:
    enum class State { Between, Colon, Argument, Record };

    std::optional<ReadCommand> startWord(char byte);
    std::optional<ReadCommand> continueRecord(char byte);
    bool isBare(char byte) const;

    Mode mode_ = Mode::Commands;
    State state_ = State::Between;
    QByteArray word_;
    QByteArray text_;
};

} // namespace mivel::sim
