#include "FirstOrderFit.h"

#include <QString>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace mivel::heater {
namespace {

struct Point {
    double t; // seconds after the step
    double y; // degrees F, less the mean of all readings
};

// The best baseline and rise for one dead time and time constant, and what they leave.
struct Profile {
    double squares = 0; // sum of squared residuals
    double baseline = 0;
    double rise = 0;
};

double shape(double t, double timeConstant, double deadTime) {
    return t > deadTime ? -std::expm1(-(t - deadTime) / timeConstant) : 0;
}

Profile profile(const std::vector<Point>& points, double timeConstant, double deadTime) {
    double sg = 0, sgg = 0, sgy = 0, syy = 0;
    for (const Point& p : points) {
        const double g = shape(p.t, timeConstant, deadTime);
        sg += g;
        sgg += g * g;
        sgy += g * p.y;
        syy += p.y * p.y;
    }
    const double n = double(points.size());
    const double mg = sg / n; // the readings' mean is 0 already
    const double sxx = sgg - n * mg * mg;
    if (sxx <= 1e-12)
        return {syy, 0, 0};
    const double rise = sgy / sxx;
    return {std::max(0.0, syy - rise * sgy), -rise * mg, rise};
}

// The search runs over the logarithm of the time constant, which spans decades, and the dead
// time in seconds.
struct Search {
    const std::vector<Point>& points;
    double minLogTau;
    double maxLogTau;
    double maxDeadTime;

    double cost(double logTau, double deadTime) const {
        if (logTau < minLogTau || logTau > maxLogTau || deadTime < 0 || deadTime > maxDeadTime)
            return std::numeric_limits<double>::infinity();
        return profile(points, std::exp(logTau), deadTime).squares;
    }
};

using Vertex = std::array<double, 3>; // log tau, dead time, cost

// The grid is only a start for the simplex: a thinned-out copy of the readings will do for it.
Vertex gridSearch(const Search& full) {
    constexpr int Steps = 32;
    constexpr std::size_t MaxPoints = 400;
    std::vector<Point> thinned;
    const std::size_t stride = full.points.size() / MaxPoints + 1;
    for (std::size_t i = 0; i < full.points.size(); i += stride)
        thinned.push_back(full.points[i]);
    const Search s{thinned, full.minLogTau, full.maxLogTau, full.maxDeadTime};
    Vertex best{0, 0, std::numeric_limits<double>::infinity()};
    for (int i = 0; i < Steps; ++i) {
        const double logTau = s.minLogTau + (s.maxLogTau - s.minLogTau) * i / (Steps - 1);
        for (int j = 0; j < Steps; ++j) {
            const double deadTime = s.maxDeadTime * j / (Steps - 1);
            if (const double c = s.cost(logTau, deadTime); c < best[2])
                best = {logTau, deadTime, c};
        }
    }
    return best;
}

// Nelder and Mead's simplex, refining the grid's best point.
Vertex simplex(const Search& s, Vertex start, double logStep, double deadStep) {
    std::array<Vertex, 3> v{start, Vertex{start[0] + logStep, start[1], 0},
                            Vertex{start[0], start[1] + deadStep, 0}};
    const auto eval = [&](Vertex& x) { x[2] = s.cost(x[0], x[1]); };
    for (Vertex& x : v)
        eval(x);
    const auto towards = [](const Vertex& from, const Vertex& to, double f) {
        return Vertex{from[0] + f * (to[0] - from[0]), from[1] + f * (to[1] - from[1]), 0};
    };
    for (int iteration = 0; iteration < 400; ++iteration) {
        std::sort(v.begin(), v.end(), [](const Vertex& a, const Vertex& b) { return a[2] < b[2]; });
        const auto spread = [&](int axis) {
            return std::max(std::abs(v[1][axis] - v[0][axis]), std::abs(v[2][axis] - v[0][axis]));
        };
        if (spread(0) < 1e-7 && spread(1) < 1e-5)
            break;
        const Vertex centre{(v[0][0] + v[1][0]) / 2, (v[0][1] + v[1][1]) / 2, 0};
        Vertex reflected = towards(centre, v[2], -1);
        eval(reflected);
        if (reflected[2] < v[0][2]) {
            Vertex expanded = towards(centre, v[2], -2);
            eval(expanded);
            v[2] = expanded[2] < reflected[2] ? expanded : reflected;
        } else if (reflected[2] < v[1][2]) {
            v[2] = reflected;
        } else {
            Vertex contracted = towards(centre, v[2], 0.5);
            eval(contracted);
            if (contracted[2] < v[2][2]) {
                v[2] = contracted;
            } else {
                for (int k = 1; k < 3; ++k) {
                    v[std::size_t(k)] = towards(v[0], v[std::size_t(k)], 0.5);
                    eval(v[std::size_t(k)]);
                }
            }
        }
    }
    return *std::min_element(v.begin(), v.end(),
                             [](const Vertex& a, const Vertex& b) { return a[2] < b[2]; });
}

// The drift of the readings before the step, degrees F a second, when it stands out of their
// noise (three standard errors); 0 when it does not or when there are too few readings.
double driftBefore(const StepResponse& r) {
    std::vector<Reading> before;
    for (const Reading& x : r.readings)
        if (x.seconds < r.stepSeconds)
            before.push_back(x);
    const double n = double(before.size());
    if (n < 10)
        return 0;
    double mt = 0, my = 0;
    for (const Reading& x : before) {
        mt += x.seconds / n;
        my += x.degreesF / n;
    }
    double stt = 0, sty = 0;
    for (const Reading& x : before) {
        stt += (x.seconds - mt) * (x.seconds - mt);
        sty += (x.seconds - mt) * (x.degreesF - my);
    }
    if (stt <= 0)
        return 0;
    const double slope = sty / stt;
    double squares = 0;
    for (const Reading& x : before) {
        const double e = x.degreesF - my - slope * (x.seconds - mt);
        squares += e * e;
    }
    const double standardError = std::sqrt(squares / (n - 2) / stt);
    return std::abs(slope) > 3 * standardError ? slope : 0;
}

Error refused(const QString& why) {
    return programError(ErrorKind::InvalidValue, why);
}

QString degrees(double value) {
    return QStringLiteral("%1 °F").arg(value, 0, 'f', 2);
}

QString minutes(double seconds) {
    return QString::number(std::ceil(seconds / 60));
}

// Whether a fit that has been made is good enough to tune from; empty when it is.
QString judge(const StepResponse& r, const ModelFit& f, double maxTimeConstant) {
    using namespace fitlimits;
    const FirstOrderModel& m = f.model;
    if (m.gain <= 0)
        return QStringLiteral("The secondary did not warm with the heater: it moved %1 the wrong "
                              "way.  Check that the heater is connected.")
            .arg(degrees(std::abs(f.rise)));
    if (std::abs(f.rise) < MinRise)
        return QStringLiteral("The response is too small: the secondary moved only %1, and the "
                              "fit needs at least %2.  Make the step in power larger.")
            .arg(degrees(std::abs(f.rise)), degrees(MinRise));
    if (f.residual > MaxNoise * std::abs(f.rise))
        return QStringLiteral("The response is too noisy: the readings scatter by %1 about the "
                              "fitted curve, more than a tenth of the %2 the secondary moved.")
            .arg(degrees(f.residual), degrees(std::abs(f.rise)));
    const double after = r.lastSeconds() - r.stepSeconds;
    const double settles = m.deadTime + SettledAfter * m.timeConstant;
    if (m.timeConstant > 0.9 * maxTimeConstant || after < settles)
        return QStringLiteral("The response has not yet settled: the secondary needs about %1 "
                              "minutes after the step to settle, and the recording covers %2.  "
                              "Record for longer.")
            .arg(minutes(settles), minutes(after));
    const double drift = driftBefore(r) * r.lastSeconds();
    if (std::abs(drift) > MaxDrift * std::abs(f.rise))
        return QStringLiteral("The response had not settled before the step: the secondary "
                              "drifted %1 an hour at the start power.  Let it settle first.")
            .arg(degrees(driftBefore(r) * 3600));
    return {};
}

} // namespace

double FirstOrderModel::at(double seconds, double powerChange) const {
    return baseline + gain * powerChange * shape(seconds, timeConstant, deadTime);
}

Result<ModelFit> fitStepResponse(const StepResponse& r) {
    using namespace fitlimits;
    const auto after = std::count_if(r.readings.begin(), r.readings.end(),
                                     [&](const Reading& x) { return x.seconds > r.stepSeconds; });
    if (!r.stepped || after < MinReadings || qsizetype(r.readings.size()) < 2 * MinReadings)
        return refused(QStringLiteral("The recording holds too few readings after the step to "
                                      "fit (%1; at least %2 are needed).  Record for longer.")
                           .arg(after)
                           .arg(MinReadings));
    if (r.powerChange() == 0)
        return refused(QStringLiteral("The power did not change, so there is no response to fit."));

    double mean = 0;
    for (const Reading& x : r.readings)
        mean += x.degreesF;
    mean /= double(r.readings.size());
    std::vector<Point> points;
    points.reserve(r.readings.size());
    for (const Reading& x : r.readings)
        points.push_back({x.seconds - r.stepSeconds, x.degreesF - mean});

    // Time constants from a few reading intervals to five times the recording after the step;
    // dead times up to half of it.
    const double span = points.back().t;
    const double interval = span / double(after);
    const double maxTau = 5 * span;
    const Search search{points, std::log(std::max(1.0, 2 * interval)), std::log(maxTau), span / 2};
    const Vertex coarse = gridSearch(search);
    // The simplex is started again from where it ended: a simplex that collapsed on the kink
    // the dead time puts in the model can stop short of the least squares.
    const double logStep = (search.maxLogTau - search.minLogTau) / 31;
    const double deadStep = std::max(interval, search.maxDeadTime / 31);
    Vertex fine = coarse;
    for (int round = 0; round < 3; ++round)
        fine = simplex(search, fine, logStep, deadStep);

    const double tau = std::exp(fine[0]);
    const Profile p = profile(points, tau, fine[1]);
    ModelFit fit;
    fit.model = {p.baseline + mean, p.rise / r.powerChange(), tau, fine[1]};
    fit.rise = p.rise;
    fit.readings = int(points.size());
    fit.residual = std::sqrt(p.squares / std::max(1.0, double(points.size()) - 4));
    if (const QString why = judge(r, fit, maxTau); !why.isEmpty())
        return refused(why);
    return fit;
}

} // namespace mivel::heater
