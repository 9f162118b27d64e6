#include "CsvLines.h"

namespace mivel::tempcomp {

QByteArray csvLine(const std::vector<CsvItem>& items) {
    QByteArray line;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (i > 0)
            line += ',';
        const QByteArray text = items[i].text.toLatin1();
        line += items[i].quoted ? '"' + text + '"' : text;
    }
    return line + "\r\n";
}

namespace {

QStringList splitLine(const QByteArray& line) {
    QStringList items;
    qsizetype at = 0;
    const qsizetype n = line.size();
    while (at <= n) {
        while (at < n && line[at] == ' ')
            ++at;
        QByteArray item;
        qsizetype next;
        if (at < n && line[at] == '"') {
            const qsizetype close = line.indexOf('"', at + 1);
            if (close < 0)
                break; // cut off inside the quotation
            item = line.mid(at + 1, close - at - 1);
            next = line.indexOf(',', close + 1);
        } else {
            next = line.indexOf(',', at);
            item = line.mid(at, next < 0 ? -1 : next - at).trimmed();
        }
        items << QString::fromLatin1(item);
        if (next < 0)
            break;
        at = next + 1;
    }
    return items;
}

} // namespace

std::optional<std::vector<QStringList>> csvLines(const QByteArray& data) {
    if (data.contains('\0'))
        return std::nullopt;
    std::vector<QStringList> lines;
    for (QByteArray line : data.split('\n')) {
        if (line.endsWith('\r'))
            line.chop(1);
        if (line.trimmed().isEmpty())
            continue;
        lines.push_back(splitLine(line));
    }
    return lines;
}

} // namespace mivel::tempcomp
