#pragma once

#include "core/Clock.h"
#include "link/LinkHub.h"
#include "wire/Tokeniser.h"

#include <QObject>

#include <cmath>
#include <limits>
#include <string_view>

namespace mivel::datalog {

// The readings the log and the graph use, in the console's units. A value the unit has not
// reported yet is NaN.
struct Reading {
    static constexpr double Unknown = std::numeric_limits<double>::quiet_NaN();
    double ambient = Unknown;       // :t1, degrees Fahrenheit
    double primary = Unknown;       // :t2
    double secondary = Unknown;     // :t3
    double electronics = Unknown;   // :t7
    double fanPower = Unknown;      // :fs, percent
    double heaterPower = Unknown;   // :ss, secondary heater, percent
    double focusPosition = Unknown; // :a, counts
};

// The unit's latest readings, kept for the whole process from the first chunk on, whichever
// holder asked for them: the consoles, the driver objects, the log or the graph. It listens as
// the driver objects do, so it keeps reading while a console is closed or during a firmware
// transfer.
class LiveReadings : public QObject {
    Q_OBJECT
public:
    explicit LiveReadings(LinkHub& hub, QObject* parent = nullptr);

    const Reading& latest() const { return latest_; }
    // When a temperature reading last arrived (the clock's time), or -1 before the first.
    qint64 lastTemperatureMs() const { return lastTemperatureMs_; }

signals:
    // A chunk brought temperatures (a reply to " T "); the other values are as fresh as they are.
    void temperaturesRead();

private:
    void onChunk(std::string_view chunk);
    void onValue(std::string_view tag, std::string_view value);

    Clock& clock_;
    wire::Tokeniser tokeniser_;
    LinkHub::Subscription subscription_;
    Reading latest_;
    qint64 lastTemperatureMs_ = -1;
    bool temperaturesInChunk_ = false;
};

} // namespace mivel::datalog
