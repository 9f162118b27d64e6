#include "FitLine.h"

#include <cmath>

namespace mivel::tempcomp {

bool PointTable::add(double sensor0, double sensor1, double sensor2, double reference) {
    if (full())
        return false;
    cells_[0][count_] = sensor0;
    cells_[1][count_] = sensor1;
    cells_[2][count_] = sensor2;
    cells_[ReferenceColumn][count_] = reference;
    ++count_;
    return true;
}

std::optional<double> PointTable::at(int column, int row) const {
    if (column < 0 || column >= Columns || row < 0 || row >= count_)
        return std::nullopt;
    return cells_[column][row];
}

std::optional<LineFit> fitLine(const PointTable& points, int column) {
    if (column < 0 || column >= PointTable::Columns)
        return std::nullopt;
    return fitLine(points.column(column), points.column(PointTable::ReferenceColumn));
}

std::optional<LineFit> fitLine(std::span<const double> xs, std::span<const double> ys) {
    const int n = int(xs.size());
    if (n == 0 || ys.size() != xs.size())
        return std::nullopt;
    const auto x = [&](int i) { return xs[size_t(i)]; };
    const auto y = [&](int i) { return ys[size_t(i)]; };

    double sxx = 0, sy = 0, sx = 0, sxy = 0;
    for (int i = 0; i < n; ++i) {
        sxx += x(i) * x(i);
        sy += y(i);
        sx += x(i);
        sxy += x(i) * y(i);
    }
    const double meanX = sx / n;
    const double meanY = sy / n;

    double cxy = 0, ssx = 0, ssy = 0;
    for (int i = 0; i < n; ++i) {
        const double dx = x(i) - meanX;
        const double dy = y(i) - meanY;
        cxy += dx * dy;
        ssx += dx * dx;
        ssy += dy * dy;
    }
    for (double sum : {sxx, sy, sx, sxy, cxy, ssx, ssy})
        if (!std::isfinite(sum))
            return std::nullopt;

    LineFit fit;
    if (ssx != 0) {
        fit.intercept = (sxx * sy - sx * sxy) / (n * ssx);
        fit.slope = cxy / ssx;
    }
    if (ssx != 0 && ssy != 0) {
        const double covariance = cxy / n;
        fit.r2 = covariance * covariance / ((ssy / n) * (ssx / n));
    }
    if (!std::isfinite(fit.slope) || !std::isfinite(fit.intercept) || !std::isfinite(fit.r2))
        return std::nullopt;
    return fit;
}

} // namespace mivel::tempcomp
