#include "CommandReader.h"
#include "UnitWords.h"

#include "core/Numbers.h"

namespace mivel::sim {
namespace {

bool is(char byte, std::string_view word) {
    return word.size() == 1 && word.front() == byte;
}

// "S", the record type, two hex digits of byte count: the count says how much follows.
constexpr qsizetype RecordHeader = 4;

} // namespace

void CommandReader::setMode(Mode mode) {
    mode_ = mode;
    state_ = State::Between;
    word_.clear();
    text_.clear();
}

bool CommandReader::isBare(char byte) const {
    if (mode_ == Mode::Loader)
        return is(byte, word::LoaderErase) || is(byte, word::LoaderProgram);
    return is(byte, word::FocusHome) || is(byte, word::EndUpload);
}

std::optional<ReadCommand> CommandReader::push(char byte) {
    switch (state_) {
    case State::Between:
        return startWord(byte);
    case State::Record:
        return continueRecord(byte);
    case State::Colon:
        state_ = State::Argument;
        if (byte == word::TempCompPrepare[1]) {
            word_ += byte;
            return std::nullopt;
        }
        [[fallthrough]];
    case State::Argument:
        if (byte != ' ') {
            text_ += byte;
            return std::nullopt;
        }
        state_ = State::Between;
        return ReadCommand{std::exchange(word_, {}), std::exchange(text_, {})};
    }
    return std::nullopt;
}

std::optional<ReadCommand> CommandReader::startWord(char byte) {
    if (mode_ == Mode::Records) {
        // Anything between records (line ends a sender may add) is skipped up to the next "S".
        if (byte == 'S') {
            text_ = QByteArray(1, byte);
            state_ = State::Record;
        }
        return std::nullopt;
    }
    if (byte == ' ')
        return std::nullopt;
    if (isBare(byte))
        return ReadCommand{QByteArray(1, byte), {}};
    word_ = QByteArray(1, byte);
    text_.clear();
    state_ = byte == word::TempCompPrepare[0] ? State::Colon : State::Argument;
    return std::nullopt;
}

std::optional<ReadCommand> CommandReader::continueRecord(char byte) {
    text_ += byte;
    if (text_.size() < RecordHeader)
        return std::nullopt;
    const int high = wire::hexDigit(text_[2]);
    const int low = wire::hexDigit(text_[3]);
    if (high < 0 || low < 0) {
        // Not a record after all: look for the next "S" from here.
        state_ = State::Between;
        text_.clear();
        return byte == 'S' ? startWord(byte) : std::nullopt;
    }
    const qsizetype length = RecordHeader + 2 * (high * 16 + low);
    if (text_.size() < length)
        return std::nullopt;
    state_ = State::Between;
    return ReadCommand{QByteArrayLiteral("S"), std::exchange(text_, {})};
}

} // namespace mivel::sim
