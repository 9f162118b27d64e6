#pragma once

#include "wire/Tokeniser.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

// What a receiver makes of the unit's replies: every chunk goes through the program's own
// tokeniser, and each tag is kept with its value in the order they came.
struct Heard {
    mivel::wire::Tokeniser tokeniser;
    std::vector<std::pair<std::string, std::string>> pairs;
    QByteArray bytes;
    int chunks = 0;

    void operator()(const QByteArray& chunk) {
        bytes += chunk;
        ++chunks;
        tokeniser.feed(std::string_view(chunk.constData(), std::size_t(chunk.size())),
                       [this](std::string_view tag, std::string_view value) {
                           if (!value.empty())
                               pairs.emplace_back(tag, value);
                       });
    }

    QStringList tags() const {
        QStringList out;
        for (const auto& [tag, value] : pairs)
            out << QString::fromStdString(tag);
        return out;
    }
    bool has(const char* tag) const { return tags().contains(QLatin1String(tag)); }
    // The last value heard for a tag, or an empty string.
    QString value(const char* tag) const {
        for (auto it = pairs.rbegin(); it != pairs.rend(); ++it)
            if (it->first == tag)
                return QString::fromStdString(it->second);
        return {};
    }
    int number(const char* tag) const { return value(tag).toInt(); }
    void clear() {
        pairs.clear();
        bytes.clear();
        chunks = 0;
    }
};
