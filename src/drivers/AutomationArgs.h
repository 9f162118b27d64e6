#pragma once

// Arguments of automation calls arrive as variants (numbers, booleans, or the text of a form
// parameter). These conversions give each member its declared type the way the automation
// runtime did: numbers round half to even, text is numeric when it reads as a decimal number,
// a value beyond the type's range overflows.

#include "core/Error.h"

#include <QVariant>

#include <optional>

namespace mivel::args {

// The number a variant holds or reads as; booleans count as numbers (true is -1).
std::optional<double> number(const QVariant& value);

// What a let of a variant property compares with False: false, 0, or the texts "False" and "0".
bool isFalse(const QVariant& value);

Result<bool> toBool(const QVariant& value);
Result<qint16> toInt16(const QVariant& value);
Result<qint32> toInt32(const QVariant& value);
Result<float> toSingle(const QVariant& value);
Result<double> toDouble(const QVariant& value);

// A single-precision value as a client should see it: the double nearest its shortest decimal
// text, so that 0.3f reads 0.3 and not 0.30000001192092896.
QVariant singleToVariant(float value);

} // namespace mivel::args
