#pragma once

// The lines of a data log file: the header of the chosen columns and one row of readings. Items
// are separated by commas without blanks, text is quoted, numbers stand bare with a full stop
// whatever the user's locale, and every line ends with carriage return and line feed.

#include "LiveReadings.h"
#include "LogColumns.h"

#include <QByteArray>
#include <QString>

namespace mivel::datalog {

// "Time" and the heading of every chosen column, in the fixed order.
QByteArray headerLine(const ColumnSet& columns);

// The time of day as text, then the chosen readings in the order of the header. Temperatures are
// written in their shortest exact decimal form, powers and the focus position as whole numbers.
// A reading the unit has not reported yet is written as 0, the value the console shows for it.
QByteArray rowLine(const QString& timeOfDay, const ColumnSet& columns, const Reading& reading);

// A number as the log writes it: shortest exact decimal form, full stop, no thousands separator.
QString numberText(double value);

} // namespace mivel::datalog
