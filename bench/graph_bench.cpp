// graph_bench: the temperature graph with a night of data. A night of sixteen hours arrives at
// the console's poll rate (a reading every 250 ms, 230 400 readings) through the link, as the
// unit's replies would; then the graph window is redrawn and painted for each period, and a data
// log of the same night (a row a second) is read back and drawn.
//
//   graph_bench [redraws]      default 20 redraws per period; run under QT_QPA_PLATFORM=offscreen
//                              or a display. Prints points, memory and redraw times.

#include "support/TestRig.h"

#include "datalog/LogFileReader.h"
#include "datalog/LogLine.h"
#include "datalog/Recording.h"
#include "datalog/ui/GraphWindow.h"

#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QTextStream>

#include <algorithm>
#include <cmath>
#include <vector>

using namespace mivel;
using namespace mivel::datalog;

namespace {

QTextStream out(stdout);

double medianMs(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

QByteArray readingsAt(qint64 i) {
    const double h = double(i) / 14400.0; // hours, at four readings a second
    return QStringLiteral(":t1 %1 :t2 %2 :t3 %3 :t7 %4 :fs %5 :ss %6 :a %7 ")
        .arg(qRound(5500 - 150 * h + 30 * std::sin(i / 700.0)))
        .arg(qRound(5600 - 140 * h))
        .arg(qRound(5700 - 120 * h))
        .arg(qRound(7400 - 60 * h))
        .arg(40 + int(i / 2000) % 30)
        .arg(20 + int(i / 3000) % 40)
        .arg(12500 + qRound(40 * h))
        .toLatin1();
}

} // namespace

int main(int argc, char* argv[]) {
    QApplication app(argc, argv);
    const int redraws = argc > 1 ? std::max(1, atoi(argv[1])) : 20;

    test::AppRig rig;
    Recording recording(*rig.ctx);
    const qint64 dusk = QDateTime(QDate(2024, 3, 9), QTime(19, 0)).toMSecsSinceEpoch();
    const qint64 started = rig.clock.nowMs();
    recording.setWallClock([&] { return dusk + rig.clock.nowMs() - started; });

    // The night arrives.
    constexpr qint64 Readings = 16 * 3600 * 4;
    QElapsedTimer timer;
    timer.start();
    for (qint64 i = 0; i < Readings; ++i) {
        rig.clock.advance(250);
        rig.ctx->hub().deliver(readingsAt(i));
    }
    const double feedS = timer.nsecsElapsed() / 1e9;
    const History& h = recording.history();
    out << "night: " << Readings << " readings through the link in " << feedS << " s ("
        << feedS / Readings * 1e6 << " us each, parsing included)\n";
    out << "history: " << h.size() << " points kept, " << h.bytes() / 1024
        << " KiB fixed (capacity " << History::capacity() << " points)\n";

    GraphWindow graph(recording, rig.ctx->prompt());
    graph.resize(1200, 700);
    graph.show();
    auto* periods = graph.findChild<QComboBox*>(QStringLiteral("cboPeriod"));
    out << "redraw and paint, median of " << redraws << ", window 1200x700:\n";
    for (GraphPeriod p : GraphPeriods) {
        periods->setCurrentIndex(int(p));
        std::vector<double> times;
        for (int i = 0; i < redraws; ++i) {
            timer.restart();
            graph.redraw();
            graph.grab();
            times.push_back(timer.nsecsElapsed() / 1e6);
        }
        out << "  " << periodCaption(p).leftJustified(20) << graph.model().points().size()
            << " points per series, " << medianMs(times) << " ms\n";
    }

    // The same night as a data log of a row a second, read back and drawn.
    ColumnSet all{true, true, true, true, true, true};
    QByteArray file = headerLine(all);
    Reading r;
    for (qint64 s = 0; s < 16 * 3600; ++s) {
        r.ambient = 55 - 1.5 * s / 3600.0;
        r.primary = r.secondary = r.ambient + 1;
        r.fanPower = 50;
        r.heaterPower = 20;
        r.focusPosition = 12500;
        file += rowLine(QTime(19, 0).addSecs(int(s)).toString(QStringLiteral("HH:mm:ss")), all, r);
    }
    timer.restart();
    const Result<LoadedLog> loaded = readDataLog(file, QDateTime(QDate(2024, 3, 10), QTime(11, 0)));
    const double readMs = timer.nsecsElapsed() / 1e6;
    out << "data log: " << file.size() / 1024 << " KiB, " << loaded.value().points.size()
        << " rows read in " << readMs << " ms\n";
    graph.model().showFile(loaded.value(), QStringLiteral("night.csv"));
    std::vector<double> times;
    for (int i = 0; i < redraws; ++i) {
        timer.restart();
        graph.redraw();
        graph.grab();
        times.push_back(timer.nsecsElapsed() / 1e6);
    }
    out << "  data log drawn in " << graph.model().points().size() << " points per series, "
        << medianMs(times) << " ms" << Qt::endl;
    return 0;
}
