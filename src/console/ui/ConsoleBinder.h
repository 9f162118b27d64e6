#pragma once

#include "console/MainConsole.h"

#include <QObject>
#include <QPointer>
#include <QWidget>

namespace mivel::console {

struct UnitControl;

// Wires a console window's controls, found by object name, to the console logic: clicks and
// edits go to the logic, readings come back into the labels and controls. The main and the mini
// console name their controls alike, so one table serves both; a control a window lacks is
// skipped.
class ConsoleBinder : public QObject {
    Q_OBJECT
public:
    ConsoleBinder(QWidget* root, MainConsole& console, QObject* parent = nullptr);

    // Copies the readings into the window; values that did not change are left alone.
    void refresh();
    // Enables the commands while the port is open, and the link controls as the logic says.
    void refreshLink();

private:
    template <class W> W* find(const char* name) const;
    void bindButtons();
    void bindChecks();
    void bindSpinners();
    void bindLevel(const UnitControl& row);
    void showLevel(const UnitControl& row, int value);
    void bindModes();
    void bindInputs();
    void bindTabs();

    QWidget* root_;
    MainConsole& console_;
};

} // namespace mivel::console
