#include "SettingsFileFormat.h"

#include <QStringDecoder>
#include <QtEndian>

#include <algorithm>
#include <array>

namespace mivel {

namespace {

using Hive = SettingsStore::Hive;
using Type = SettingsStore::Type;

struct HiveName {
    Hive hive;
    QLatin1StringView full;
    QLatin1StringView abbreviation;
};
constexpr std::array<HiveName, 2> HiveNames{{
    {Hive::LocalMachine, QLatin1StringView("HKEY_LOCAL_MACHINE"), QLatin1StringView("HKLM")},
    {Hive::ClassesRoot, QLatin1StringView("HKEY_CLASSES_ROOT"), QLatin1StringView("HKCR")},
}};

const QString ExpectedValue =
    QStringLiteral("expected \"text\", dword:00000000 or hex(N):00,11 after the \"=\" of a value");

// ---- reading ----

struct Fault {
    QString what;
};

// One line being read, left to right.
class Cursor {
public:
    explicit Cursor(QStringView text)
        : text_(text) {}
    bool atEnd() const { return pos_ >= text_.size(); }
    QChar peek() const { return atEnd() ? QChar() : text_[pos_]; }
    bool take(QChar c) {
        if (peek() != c)
            return false;
        ++pos_;
        return true;
    }
    bool take(QLatin1StringView word) {
        if (!text_.mid(pos_).startsWith(word, Qt::CaseInsensitive))
            return false;
        pos_ += word.size();
        return true;
    }
    void skipBlanks() {
        while (!atEnd() && peek().isSpace())
            ++pos_;
    }
    QStringView rest() const { return text_.mid(pos_); }

    // A double-quoted text with its escapes; the opening quote is next.
    std::optional<Fault> quoted(QString* out) {
        take(QLatin1Char('"'));
        while (!atEnd()) {
            const QChar c = text_[pos_++];
            if (c == QLatin1Char('"'))
                return std::nullopt;
            if (c != QLatin1Char('\\')) {
                out->append(c);
                continue;
            }
            if (atEnd())
                break;
            const QChar e = text_[pos_++];
            if (e == QLatin1Char('\\') || e == QLatin1Char('"'))
                out->append(e);
            else if (e == QLatin1Char('n'))
                out->append(QLatin1Char('\n'));
            else if (e == QLatin1Char('r'))
                out->append(QLatin1Char('\r'));
            else
                return Fault{QStringLiteral("unknown escape \"\\%1\" in quoted text").arg(e)};
        }
        return Fault{QStringLiteral("the quoted text has no closing \"")};
    }

private:
    QStringView text_;
    qsizetype pos_ = 0;
};

std::optional<Fault> parseHex(QStringView text, QByteArray* bytes) {
    if (text.trimmed().isEmpty())
        return std::nullopt;
    for (QStringView part : text.split(QLatin1Char(','))) {
        part = part.trimmed();
        bool ok = part.size() == 2;
        const uint byte = ok ? part.toUInt(&ok, 16) : 0;
        if (!ok)
            return Fault{QStringLiteral("\"%1\" is not a byte in hexadecimal (00 to ff)")
                             .arg(part.toString())};
        bytes->append(char(byte));
    }
    return std::nullopt;
}

bool isHexDigits(QStringView text, int maxDigits) {
    if (text.isEmpty() || text.size() > maxDigits)
        return false;
    for (QChar c : text)
        if (!c.isDigit() && !QStringView(u"abcdefABCDEF").contains(c))
            return false;
    return true;
}

// The part after "=": text, dword or hex bytes.
std::optional<Fault> parseData(Cursor& in, Type* type, QByteArray* data) {
    if (in.peek() == QLatin1Char('"')) {
        QString text;
        if (auto fault = in.quoted(&text))
            return fault;
        in.skipBlanks();
        if (!in.atEnd())
            return Fault{QStringLiteral("unexpected \"%1\" after the closing quote")
                             .arg(in.rest().toString())};
        *type = Type::String;
        *data = text.toUtf8() + QByteArray(1, '\0');
        return std::nullopt;
    }
    if (in.take(QLatin1StringView("dword:"))) {
        const QStringView digits = in.rest().trimmed();
        if (!isHexDigits(digits, 8))
            return Fault{QStringLiteral("dword: needs 1 to 8 hexadecimal digits, not \"%1\"")
                             .arg(digits.toString())};
        *type = Type::Dword;
        *data = QByteArray(4, '\0');
        qToLittleEndian(quint32(digits.toUInt(nullptr, 16)), data->data());
        return std::nullopt;
    }
    if (in.take(QLatin1StringView("hex:"))) {
        *type = Type(3); // binary, as a registry export writes it
        return parseHex(in.rest(), data);
    }
    if (in.take(QLatin1StringView("hex("))) {
        const QStringView rest = in.rest();
        const qsizetype close = rest.indexOf(QLatin1StringView("):"));
        if (close < 0 || !isHexDigits(rest.left(close), 8))
            return Fault{QStringLiteral("hex( needs a type number in hexadecimal and \"):\"")};
        *type = Type(rest.left(close).toUInt(nullptr, 16));
        return parseHex(rest.mid(close + 2), data);
    }
    return Fault{ExpectedValue};
}

std::optional<Fault> parseSection(QStringView line, Hive* hive, QString* path) {
    if (!line.endsWith(QLatin1Char(']')))
        return Fault{QStringLiteral("a key line must end with \"]\"")};
    const QStringView inner = line.mid(1, line.size() - 2);
    const qsizetype slash = inner.indexOf(QLatin1Char('\\'));
    const QStringView hiveText = slash < 0 ? inner : inner.left(slash);
    const auto named = std::find_if(HiveNames.begin(), HiveNames.end(), [&](const HiveName& h) {
        return hiveText.compare(h.full, Qt::CaseInsensitive) == 0 ||
               hiveText.compare(h.abbreviation, Qt::CaseInsensitive) == 0;
    });
    if (named == HiveNames.end())
        return Fault{QStringLiteral("unknown hive \"%1\" (expected HKEY_LOCAL_MACHINE or "
                                    "HKEY_CLASSES_ROOT)")
                         .arg(hiveText.toString())};
    if (slash < 0 || inner.mid(slash + 1).isEmpty())
        return Fault{QStringLiteral("the key has no path after the hive name")};
    *hive = named->hive;
    *path = inner.mid(slash + 1).toString();
    return std::nullopt;
}

std::optional<Fault> parseValue(QStringView line, SettingsTree::Key* key) {
    if (!key)
        return Fault{QStringLiteral("a value comes before the first [key] line")};
    Cursor in(line);
    QString name;
    if (!in.take(QLatin1Char('@'))) {
        if (in.peek() != QLatin1Char('"'))
            return Fault{QStringLiteral("expected a [key] line, a \"name\"= or @= value line, "
                                        "or a comment starting with ;")};
        if (auto fault = in.quoted(&name))
            return fault;
    }
    in.skipBlanks();
    if (!in.take(QLatin1Char('=')))
        return Fault{QStringLiteral("expected \"=\" after the value name")};
    in.skipBlanks();
    SettingsTree::Value value{name, Type::None, {}};
    if (auto fault = parseData(in, &value.type, &value.data))
        return fault;
    const auto same = std::find_if(key->values.begin(), key->values.end(), [&](const auto& v) {
        return v.name.compare(name, Qt::CaseInsensitive) == 0;
    });
    if (same != key->values.end())
        return Fault{QStringLiteral("the value \"%1\" appears twice in this key").arg(name)};
    key->values.push_back(std::move(value));
    return std::nullopt;
}

std::optional<QString> decodedLine(const QByteArray& bytes) {
    QStringDecoder decode(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString line = decode(bytes);
    return decode.hasError() ? std::nullopt : std::optional<QString>(line.trimmed());
}

bool isHeaderOrComment(QStringView line) {
    return line.isEmpty() || line.startsWith(QLatin1Char(';')) ||
           line.startsWith(QLatin1Char('#')) ||
           line.compare(QLatin1StringView("Windows Registry Editor Version 5.00")) == 0 ||
           line.compare(QLatin1StringView("REGEDIT4")) == 0;
}

// ---- writing ----

QString escaped(const QString& text) {
    QString out;
    out.reserve(text.size() + 2);
    out += QLatin1Char('"');
    for (QChar c : text) {
        if (c == QLatin1Char('\\') || c == QLatin1Char('"'))
            out += QLatin1Char('\\') + c;
        else if (c == QLatin1Char('\n'))
            out += QLatin1StringView("\\n");
        else if (c == QLatin1Char('\r'))
            out += QLatin1StringView("\\r");
        else
            out += c;
    }
    out += QLatin1Char('"');
    return out;
}

// Text that comes back exactly as it was: valid UTF-8 ending in its one terminating zero.
std::optional<QString> plainText(const QByteArray& data) {
    if (!data.endsWith('\0') || data.indexOf('\0') != data.size() - 1)
        return std::nullopt;
    QStringDecoder decode(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decode(data.left(data.size() - 1));
    return decode.hasError() ? std::nullopt : std::optional<QString>(text);
}

QString hexBytes(const QByteArray& data) {
    return QString::fromLatin1(data.toHex(','));
}

QString dataText(const SettingsTree::Value& value) {
    if (value.type == Type::String)
        if (const auto text = plainText(value.data))
            return escaped(*text);
    if (value.type == Type::Dword && value.data.size() == 4)
        return QStringLiteral("dword:%1")
            .arg(qFromLittleEndian<quint32>(value.data.constData()), 8, 16, QLatin1Char('0'));
    if (value.type == Type(3))
        return QStringLiteral("hex:") + hexBytes(value.data);
    return QStringLiteral("hex(%1):").arg(quint32(value.type), 0, 16) + hexBytes(value.data);
}

} // namespace

std::optional<SettingsFileError> parseSettingsFile(const QByteArray& text, SettingsTree* tree) {
    QList<QByteArray> lines = text.split('\n');
    if (!lines.isEmpty() && lines.front().startsWith("\xEF\xBB\xBF"))
        lines.front().remove(0, 3);
    SettingsTree::Key* key = nullptr;
    for (int i = 0; i < lines.size(); ++i) {
        const int lineNumber = i + 1;
        auto line = decodedLine(lines[i]);
        // Long hex data may go on over several lines, each but the last ending in "\".
        while (line && line->endsWith(QLatin1Char('\\')) &&
               line->contains(QLatin1StringView("hex"), Qt::CaseInsensitive) &&
               i + 1 < lines.size()) {
            line->chop(1);
            const auto more = decodedLine(lines[++i]);
            line = more ? std::optional<QString>(*line + *more) : std::nullopt;
        }
        if (!line)
            return SettingsFileError{i + 1, QStringLiteral("the line is not UTF-8 text")};
        if (isHeaderOrComment(*line))
            continue;
        std::optional<Fault> fault;
        if (line->startsWith(QLatin1Char('['))) {
            Hive hive{};
            QString path;
            fault = parseSection(*line, &hive, &path);
            if (!fault)
                key = &tree->keyAt(hive, path);
        } else {
            fault = parseValue(*line, key);
        }
        if (fault)
            return SettingsFileError{lineNumber, fault->what};
    }
    return std::nullopt;
}

QByteArray writeSettingsFile(const SettingsTree& tree) {
    QString out = QStringLiteral(
        "; Mivel settings. Edit only while the program is not running.\n"
        "; [hive\\key] lines; under each, \"name\"=value lines (@ is the key's default value):\n"
        "; \"text\", dword:0000002a (hexadecimal), hex(N):00,11 for a value of any other type "
        "N.\n");
    for (const SettingsTree::Key& key : tree.keys()) {
        const auto named = std::find_if(HiveNames.begin(), HiveNames.end(),
                                        [&](const HiveName& h) { return h.hive == key.hive; });
        out += QStringLiteral("\n[%1\\%2]\n").arg(named->full, key.path);
        for (const SettingsTree::Value& value : key.values)
            out += (value.name.isEmpty() ? QStringLiteral("@") : escaped(value.name)) +
                   QLatin1Char('=') + dataText(value) + QLatin1Char('\n');
    }
    return out.toUtf8();
}

} // namespace mivel
