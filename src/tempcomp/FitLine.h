#pragma once

// The straight-line fit of the sensor calibration, computed exactly as the calibration window has
// always computed it: two passes over the points in double precision, the intercept from the raw
// sums and the slope from the centred sums. The two forms agree on paper but round differently,
// and the coefficients uploaded to units in the field were computed this way, so neither is
// "simplified" into the other.

#include <array>
#include <optional>
#include <span>

namespace mivel::tempcomp {

// The recorded calibration points: columns 0..2 hold the three sensors' readings of a point, the
// reference column the reference temperature of the same point.
class PointTable {
public:
    static constexpr int Columns = 4;
    static constexpr int ReferenceColumn = 3;
    static constexpr int Capacity = 101;

    int count() const { return count_; }
    bool full() const { return count_ == Capacity; }

    // Appends a point; false (and nothing stored) when the table already holds Capacity points.
    bool add(double sensor0, double sensor1, double sensor2, double reference);
    void clear() { count_ = 0; }

    // The value in a column of a row in use; empty outside the table or the rows in use.
    std::optional<double> at(int column, int row) const;
    // The rows in use of one column (0 to ReferenceColumn).
    std::span<const double> column(int column) const {
        return {cells_[size_t(column)].data(), size_t(count_)};
    }

private:
    std::array<std::array<double, Capacity>, Columns> cells_{};
    int count_ = 0;
};

struct LineFit {
    double slope = 0;
    double intercept = 0;
    double r2 = 0; // coefficient of determination
};

// Fits the reference column against one sensor column. Empty when the column is outside the
// table, when no point is recorded (the means would divide by zero) or when a sum overflows.
// All readings equal gives slope, intercept and R² of 0; all references equal gives slope 0,
// the mean reference as intercept, and R² 0.
std::optional<LineFit> fitLine(const PointTable& points, int column);

// The same fit of y against x over any number of points (x and y of equal length), for lines
// that are not calibrations: the compensation coefficient learned from stored positions.
std::optional<LineFit> fitLine(std::span<const double> x, std::span<const double> y);

} // namespace mivel::tempcomp
