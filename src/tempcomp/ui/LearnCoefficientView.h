#pragma once

#include "tempcomp/LearnCoefficient.h"

#include <QDialog>

#include <memory>

class QChartView;
class QLineSeries;
class QScatterSeries;
class QValueAxis;

namespace Ui {
class frmLearnCoef;
}

namespace mivel::tempcomp {

// The compensation coefficient learned from the stored focus positions or a data log: the
// points, the fitted line, its slope and R², and a button that hands the slope to the
// compensation dialog, where OK still uploads it.
class LearnCoefficientView : public QDialog {
    Q_OBJECT
public:
    // Without stored positions (none kept in this run) only a data log can be used.
    explicit LearnCoefficientView(const records::RecordList* focusRecords,
                                  QWidget* parent = nullptr);
    ~LearnCoefficientView() override;

    const LearnedCoefficient& learned() const { return learned_; }
    void useRecords();
    void useDataLog(const QString& path);

signals:
    // The user took the slope, in tenths of counts per degree F.
    void coefficientChosen(int tenths);

private:
    void browse();
    void relearn();
    void learnFromLog();
    void showResult(const QString& pointsNote);
    void drawChart();

    std::unique_ptr<Ui::frmLearnCoef> ui_;
    const records::RecordList* records_;
    QString logPath_;
    LearnedCoefficient learned_;
    QChartView* chart_;
    QScatterSeries* points_;
    QLineSeries* line_;
    QValueAxis* axisX_;
    QValueAxis* axisY_;
    bool updating_ = false;
};

} // namespace mivel::tempcomp
