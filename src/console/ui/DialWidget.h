#pragma once

#include <QPointer>
#include <QWidget>

namespace mivel {
class RotatorIndicator;
}

namespace mivel::console {

// The rotator indicator's drawing area: a dial with the two hands of the indicator's logic.
class DialWidget : public QWidget {
    Q_OBJECT
public:
    using QWidget::QWidget;
    void setIndicator(RotatorIndicator* indicator) { indicator_ = indicator; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QPointer<RotatorIndicator> indicator_;
};

} // namespace mivel::console
