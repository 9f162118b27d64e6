#pragma once

// The comma-separated text files the program writes: items separated by commas, text in double
// quotation marks, numbers unquoted with a full stop, lines ended by carriage return and line
// feed. Reading is lenient about line ends and blanks around items, since users edit these
// files by hand.

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace mivel::tempcomp {

// One item of a line: text goes in quotation marks, numbers stand bare.
struct CsvItem {
    QString text;
    bool quoted;
    static CsvItem quote(const QString& text) { return {text, true}; }
    static CsvItem bare(const QString& text) { return {text, false}; }
};

QByteArray csvLine(const std::vector<CsvItem>& items);

// The lines of a file, each split into its items with the quotation marks removed. Empty when
// the data is not text (it holds NUL bytes). An item whose closing quotation mark is missing was
// cut off, and the line ends before it.
std::optional<std::vector<QStringList>> csvLines(const QByteArray& data);

} // namespace mivel::tempcomp
