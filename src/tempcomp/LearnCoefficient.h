#pragma once

// The compensation coefficient learned from the observer's own data. Each stored focus position
// carries the compensation sensor's temperature at which it was taken, and a data log can hold
// the focus position beside the temperatures: the straight line of position against temperature
// through those points has, as its slope, the counts per degree the unit should move the focus.
// The line is the calibration's fit (FitLine.h).

#include "FitLine.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace mivel::records {
class RecordList;
}

namespace mivel::tempcomp {

struct LearnPoint {
    double temperature; // degrees F
    double position;    // focuser counts
};

struct LearnedCoefficient {
    std::vector<LearnPoint> points;
    std::optional<LineFit> fit; // slope in counts per degree F
    QString why;                // when there is no fit: why no coefficient can be learned

    // The slope as the compensation dialog's coefficient control holds it, in tenths of counts
    // per degree F; empty without a fit or when the slope is beyond the control's range.
    std::optional<int> coefficientTenths() const;
};

// Fits the points. `source` names them in the reasons ("the stored focus positions").
LearnedCoefficient learnCoefficient(std::vector<LearnPoint> points, const QString& source);

// Every stored focus position with its temperature.
std::vector<LearnPoint> pointsFromRecords(const records::RecordList& focus);

// The points of a data log: a header line naming the columns, then one line per sample.
struct DataLogPoints {
    QStringList temperatureColumns; // the log's temperature headings, trimmed, in file order
    QString temperatureColumn;      // the one the points were taken from
    std::vector<LearnPoint> points;
    int skippedRows = 0; // rows without a number in either column
    QString problem;     // why the file gives no points at all
};

// Reads a data log, taking the temperature from `temperatureColumn` (a heading as the log
// writes it, with or without its trailing blank), or from the first temperature column when
// that is empty.
DataLogPoints pointsFromDataLog(const QByteArray& data, const QString& temperatureColumn = {});

} // namespace mivel::tempcomp
