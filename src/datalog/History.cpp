#include "History.h"

#include <algorithm>
#include <cmath>

namespace mivel::datalog {

HistoryPoint pointOf(qint64 atMs, const Reading& r) {
    HistoryPoint p;
    p.atMs = atMs;
    p.values = {float(r.ambient),      float(r.primary),  float(r.secondary),
                float(r.electronics),  float(r.fanPower), float(r.heaterPower),
                float(r.focusPosition)};
    return p;
}

std::size_t History::capacity() {
    std::size_t total = 0;
    for (const Level& l : Levels)
        total += l.capacity;
    return total;
}

History::History() {
    for (std::size_t i = 0; i < Levels.size(); ++i) {
        rings_[i].level = Levels[i];
        rings_[i].points.resize(Levels[i].capacity);
    }
}

void History::Ring::push(const HistoryPoint& p) {
    if (count == points.size()) {
        start = (start + 1) % points.size();
        --count;
        dropped = true;
    }
    points[(start + count) % points.size()] = p;
    ++count;
}

void History::Ring::flushBucket() {
    if (bucketStart < 0)
        return;
    HistoryPoint mean;
    // The mean stands at the mean time of its readings, never before the first of them.
    mean.atMs = qint64(std::llround(timeSum / timeCount));
    for (int s = 0; s < SeriesCount; ++s)
        mean.values[s] = counts[s] > 0 ? float(sums[s] / counts[s]) : NAN;
    push(mean);
    sums.fill(0);
    counts.fill(0);
    timeSum = 0;
    timeCount = 0;
    bucketStart = -1;
}

void History::Ring::add(const HistoryPoint& p) {
    if (level.bucketMs == 0) {
        // Readings within one poll of the point's first reading replace it.
        if (count > 0 && p.atMs - slotStart < MinSpacingMs) {
            last() = p;
        } else {
            push(p);
            slotStart = p.atMs;
        }
        return;
    }
    const qint64 bucket = p.atMs - p.atMs % level.bucketMs;
    if (bucket != bucketStart) {
        flushBucket();
        bucketStart = bucket;
    }
    timeSum += double(p.atMs);
    ++timeCount;
    for (int s = 0; s < SeriesCount; ++s) {
        if (std::isnan(p.values[s]))
            continue;
        sums[s] += p.values[s];
        ++counts[s];
    }
}

void History::add(const HistoryPoint& point) {
    for (Ring& r : rings_)
        r.add(point);
}

std::vector<HistoryPoint> History::since(qint64 fromMs) const {
    const Ring* chosen = &rings_.back();
    for (const Ring& r : rings_) {
        if (r.reaches(fromMs)) {
            chosen = &r;
            break;
        }
    }
    std::vector<HistoryPoint> out;
    for (std::size_t i = 0; i < chosen->count; ++i)
        if (chosen->at(i).atMs >= fromMs)
            out.push_back(chosen->at(i));
    // The bucket still being averaged is the newest stretch of a coarse ring: the finest ring
    // supplies it, so the view reaches the present.
    if (chosen != &rings_.front()) {
        const qint64 after = chosen->bucketStart >= 0 ? chosen->bucketStart
                             : out.empty()            ? fromMs
                                                      : out.back().atMs + 1;
        const Ring& fine = rings_.front();
        for (std::size_t i = 0; i < fine.count; ++i)
            if (fine.at(i).atMs >= std::max(after, fromMs))
                out.push_back(fine.at(i));
    }
    return out;
}

std::size_t History::size() const {
    std::size_t n = 0;
    for (const Ring& r : rings_)
        n += r.count;
    return n;
}

qint64 History::oldestMs() const {
    qint64 oldest = 0;
    for (const Ring& r : rings_)
        if (r.count > 0 && (oldest == 0 || r.at(0).atMs < oldest))
            oldest = r.at(0).atMs;
    return oldest;
}

} // namespace mivel::datalog
