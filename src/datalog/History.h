#pragma once

#include "LiveReadings.h"

#include <QtGlobal>

#include <array>
#include <cstddef>
#include <vector>

namespace mivel::datalog {

// One point of the history: the readings at a moment, times in milliseconds since the epoch.
// Kept in single precision: a tenth of a degree and whole counts need no more, and a night of
// points then takes half the memory.
struct HistoryPoint {
    qint64 atMs = 0;
    std::array<float, 7> values{}; // indexed by Series; NaN when not known
};

// The series a point holds, in the order of HistoryPoint::values.
enum class Series { Ambient, Primary, Secondary, Electronics, FanPower, HeaterPower, Focus };
inline constexpr int SeriesCount = 7;

HistoryPoint pointOf(qint64 atMs, const Reading& reading);

// The readings of the process since the first one, in bounded memory. Three rings hold them at
// three resolutions: every reading (at most one per console poll) for the last quarter hour and
// more, five-second means for the last six hours, thirty-second means for the last day. A ring
// that is full lets its oldest point go, so the memory never grows past the three capacities,
// whatever the length of the run.
class History {
public:
    struct Level {
        qint64 bucketMs; // 0: every reading
        std::size_t capacity;
    };
    // One reading per poll at most: readings closer than this to the last point replace it.
    static constexpr qint64 MinSpacingMs = 250;
    static constexpr std::array<Level, 3> Levels{{
        {0, 4000},     // 4 readings a second for 16 minutes; far longer at slower rates
        {5000, 4400},  // 6 hours and a little more
        {30000, 2900}, // 24 hours and a little more
    }};
    static std::size_t capacity();

    History();

    void add(const HistoryPoint& point);
    // Points from fromMs on, at the finest resolution that reaches back that far (or the
    // coarsest when none does), oldest first.
    std::vector<HistoryPoint> since(qint64 fromMs) const;
    std::size_t size() const;
    bool empty() const { return size() == 0; }
    // The oldest time any resolution still holds, or 0 when empty.
    qint64 oldestMs() const;
    std::size_t bytes() const { return capacity() * sizeof(HistoryPoint); }

private:
    // A fixed ring of points and the mean being built for its next one.
    struct Ring {
        Level level;
        std::vector<HistoryPoint> points; // allocated once, to capacity
        std::size_t start = 0;            // the oldest point
        std::size_t count = 0;
        bool dropped = false;  // the ring has let points go: it no longer reaches the start
        qint64 slotStart = -1; // the first reading of the newest point (every-reading ring)
        // The bucket being averaged.
        qint64 bucketStart = -1;
        double timeSum = 0;
        int timeCount = 0;
        std::array<double, SeriesCount> sums{};
        std::array<int, SeriesCount> counts{};

        const HistoryPoint& at(std::size_t i) const { return points[(start + i) % points.size()]; }
        HistoryPoint& last() { return points[(start + count - 1) % points.size()]; }
        void push(const HistoryPoint& p);
        void add(const HistoryPoint& p);
        void flushBucket();
        bool reaches(qint64 fromMs) const {
            return !dropped || (count > 0 && at(0).atMs <= fromMs);
        }
    };

    std::array<Ring, Levels.size()> rings_;
};

} // namespace mivel::datalog
