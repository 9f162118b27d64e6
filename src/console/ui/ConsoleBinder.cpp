#include "ConsoleBinder.h"

#include "console/DiagnosticFile.h"
#include "console/UnitControls.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QTabWidget>
#include <QTableWidget>

#include <cmath>

namespace mivel::console {
namespace {

using Flag = MainConsole::Flag;

struct TextBinding {
    const char* name; // a QLabel or a button whose caption follows the unit
    QString Readings::*field;
};
constexpr TextBinding kTexts[] = {
    {"lblActual", &Readings::focusActual},
    {"lblTarget", &Readings::focusTarget},
    {"lblCurrent", &Readings::motorCurrent},
    {"lblMotor", &Readings::motorState},
    {"lblSpacing", &Readings::spacing},
    {"lblAmbient", &Readings::ambient},
    {"lblPrimary", &Readings::primary},
    {"lblSecondary", &Readings::secondary},
    {"lblRotActual", &Readings::rotatorActual},
    {"lblRotTarget", &Readings::rotatorTarget},
    {"lblWrap", &Readings::wrap},
    {"lblWrapLimit", &Readings::wrapLimit},
    {"lblRotHomed", &Readings::rotatorHomedText},
    {"lblSpacingUnit", &Readings::spacingUnit},
    {"lblMivelTemp", &Readings::electronicsStatus},
    {"lblAmbTemp", &Readings::ambientStatus},
    {"cmdRecordFocus", &Readings::focusRecordCaption},
    {"cmdRecordRotator", &Readings::rotatorRecordCaption},
    {"cmdTempComp", &Readings::tempCompCaption},
};

struct ButtonBinding {
    const char* name;
    void (MainConsole::*action)();
};
constexpr ButtonBinding kButtons[] = {
    {"cmdGoto", &MainConsole::focusGoto},
    {"cmdHome", &MainConsole::focusHome},
    {"cmdStopFocus", &MainConsole::focusStop},
    {"cmdRecordFocus", &MainConsole::recordFocus},
    {"cmdSetMirrorSpacing", &MainConsole::setMirrorSpacing},
    {"cmdSynchTempComp", &MainConsole::synchTempComp},
    {"cmdTempComp", &MainConsole::openTempComp},
    {"cmdRotGOTO", &MainConsole::rotatorGoto},
    {"cmdRotHome", &MainConsole::rotatorHome},
    {"cmdStopRot", &MainConsole::rotatorStop},
    {"cmdRecordRotator", &MainConsole::recordRotator},
    {"cmdWrapZero", &MainConsole::wrapZero},
    {"cmdUnwrap", &MainConsole::unwrap},
    {"cmdConnect", &MainConsole::connectLink},
    {"cmdDisconnect", &MainConsole::disconnectLink},
};

struct JogBinding {
    const char* name;
    MainConsole::JogAxis axis;
    int direction;
};
constexpr JogBinding kJogs[] = {
    {"cmdFocusIn", MainConsole::JogAxis::Focus, -1},
    {"cmdFocusOut", MainConsole::JogAxis::Focus, 1},
    {"cmdRotCCW", MainConsole::JogAxis::Rotator, -1},
    {"cmdRotCW", MainConsole::JogAxis::Rotator, 1},
};

// The fan, heater and dew spinners, the mode buttons and the check boxes come from the control
// table (UnitControls.h): one row names the control, its reading and its watchdog flag.
constexpr int AutomaticMode = 1;
constexpr int ManualMode = 2;

template <ControlKind kind, class Fn> void forRows(Fn&& fn) {
    for (const UnitControl& row : kUnitControls)
        if (row.kind == kind)
            fn(row);
}

// Controls that stay usable with the port closed.
constexpr const char* kAlwaysEnabled[] = {"txtPosition",  "txtRotGOTO",  "txtRot",
                                          "cmbFocusStep", "optSpacing1", "optSpacing2",
                                          "udWrapLimit"};
// A setting rather than a reading: it stays as bright as ever with the port closed.
constexpr const char* kWrapLimitLabel = "lblWrapLimit";

void setIfChanged(QSpinBox* spin, int value) {
    if (spin->value() != value) {
        const QSignalBlocker block(spin);
        spin->setValue(value);
    }
}

} // namespace

ConsoleBinder::ConsoleBinder(QWidget* root, MainConsole& console, QObject* parent)
    : QObject(parent)
    , root_(root)
    , console_(console) {
    bindButtons();
    bindChecks();
    bindSpinners();
    bindModes();
    bindInputs();
    bindTabs();
    connect(&console_, &MainConsole::readingsChanged, this, &ConsoleBinder::refresh);
    connect(&console_, &MainConsole::linkStateChanged, this, &ConsoleBinder::refreshLink);
    refresh();
    refreshLink();
}

template <class W> W* ConsoleBinder::find(const char* name) const {
    return root_->findChild<W*>(QLatin1String(name));
}

void ConsoleBinder::bindButtons() {
    for (const auto& b : kButtons)
        if (auto* button = find<QAbstractButton>(b.name))
            connect(button, &QAbstractButton::clicked, &console_, b.action);
    for (const auto& j : kJogs) {
        if (auto* button = find<QAbstractButton>(j.name)) {
            const auto axis = j.axis;
            const int direction = j.direction;
            connect(button, &QAbstractButton::pressed, &console_,
                    [this, axis, direction] { console_.jogPress(axis, direction); });
            connect(button, &QAbstractButton::released, &console_, &MainConsole::jogRelease);
        }
    }
}

void ConsoleBinder::bindChecks() {
    forRows<ControlKind::Switch>([this](const UnitControl& row) {
        const Flag flag = row.flag;
        if (auto* box = find<QAbstractButton>(row.control)) // the user's clicks only
            connect(box, &QAbstractButton::clicked, &console_,
                    [this, flag](bool on) { console_.setControl(flag, on ? 1 : 0); });
    });
}

void ConsoleBinder::bindSpinners() {
    forRows<ControlKind::Level>([this](const UnitControl& row) { bindLevel(row); });
    if (auto* wrapLimit = find<QSpinBox>("udWrapLimit")) {
        wrapLimit->setRange(0, MainConsole::WrapLimitMaxDeg);
        wrapLimit->setValue(console_.wrapLimitDeg());
        wrapLimit->setKeyboardTracking(false);
        connect(wrapLimit, &QSpinBox::valueChanged, &console_,
                [this](int degrees) { console_.setWrapLimitDeg(degrees); });
    }
    if (auto* limits = find<QSpinBox>("udLimits")) {
        limits->setKeyboardTracking(false);
        connect(limits, &QSpinBox::valueChanged, &console_, &MainConsole::setLimits);
    }
}

void ConsoleBinder::bindLevel(const UnitControl& row) {
    const Flag flag = row.flag;
    QAbstractSpinBox* box = nullptr;
    if (row.shownDivisor == 1) {
        auto* spin = find<QSpinBox>(row.control);
        if (spin)
            connect(spin, &QSpinBox::valueChanged, &console_,
                    [this, flag](int value) { console_.setControl(flag, value); });
        box = spin;
    } else {
        auto* spin = find<QDoubleSpinBox>(row.control);
        const int divisor = row.shownDivisor;
        if (spin)
            connect(spin, &QDoubleSpinBox::valueChanged, &console_,
                    [this, flag, divisor](double shown) {
                        console_.setControl(flag, int(std::lround(shown * divisor)));
                    });
        box = spin;
    }
    if (!box)
        return;
    box->setKeyboardTracking(false); // typed values count once they are committed
    connect(box->findChild<QLineEdit*>(), &QLineEdit::textEdited, &console_,
            [this, flag] { console_.beginEdit(flag); });
}

void ConsoleBinder::showLevel(const UnitControl& row, int value) {
    if (row.shownDivisor == 1) {
        if (auto* spin = find<QSpinBox>(row.control))
            setIfChanged(spin, value);
    } else if (auto* spin = find<QDoubleSpinBox>(row.control);
               spin && std::lround(spin->value() * row.shownDivisor) != value) {
        const QSignalBlocker block(spin);
        spin->setValue(value / double(row.shownDivisor));
    }
}

void ConsoleBinder::bindModes() {
    forRows<ControlKind::Mode>([this](const UnitControl& row) {
        const Flag flag = row.flag;
        if (auto* automatic = find<QRadioButton>(row.control))
            connect(automatic, &QRadioButton::clicked, &console_,
                    [this, flag] { console_.setControl(flag, AutomaticMode); });
        if (auto* manual = find<QRadioButton>(row.manualButton))
            connect(manual, &QRadioButton::clicked, &console_,
                    [this, flag] { console_.setControl(flag, ManualMode); });
    });
    if (auto* first = find<QRadioButton>("optSpacing1"))
        connect(first, &QRadioButton::clicked, &console_, [this] { console_.setSpacingUnit(0); });
    if (auto* second = find<QRadioButton>("optSpacing2"))
        connect(second, &QRadioButton::clicked, &console_, [this] { console_.setSpacingUnit(1); });
}

void ConsoleBinder::bindInputs() {
    const struct {
        const char* name;
        void (MainConsole::*set)(const QString&);
        QString (MainConsole::*get)() const;
    } inputs[] = {
        {"txtPosition", &MainConsole::setFocusGotoText, &MainConsole::focusGotoText},
        {"txtRotGOTO", &MainConsole::setRotatorGotoText, &MainConsole::rotatorGotoText},
        {"txtRot", &MainConsole::setRotatorJogText, &MainConsole::rotatorJogText},
    };
    for (const auto& in : inputs) {
        if (auto* edit = find<QLineEdit>(in.name)) {
            if (edit->text().isEmpty())
                edit->setText((console_.*in.get)());
            else
                (console_.*in.set)(edit->text());
            connect(edit, &QLineEdit::textChanged, &console_, in.set);
        }
    }
    if (auto* steps = find<QComboBox>("cmbFocusStep")) {
        steps->clear();
        for (int s : MainConsole::focusJogSteps())
            steps->addItem(s == 1 ? QStringLiteral("1 count") : QStringLiteral("%1 counts").arg(s));
        const auto jog = MainConsole::focusJogSteps();
        const auto at = std::find(jog.begin(), jog.end(), console_.focusJogStep());
        steps->setCurrentIndex(int(at - jog.begin()));
        connect(steps, &QComboBox::currentIndexChanged, &console_,
                &MainConsole::setFocusJogStepIndex);
    }
}

void ConsoleBinder::bindTabs() {
    if (auto* tabs = find<QTabWidget>("SSTab1")) {
        console_.setTab(ConsoleTab(tabs->currentIndex()));
        connect(tabs, &QTabWidget::currentChanged, &console_,
                [this](int index) { console_.setTab(ConsoleTab(index)); });
    }
}

void ConsoleBinder::refresh() {
    const Readings& r = console_.readings();
    for (const auto& t : kTexts) {
        const QString& text = r.*t.field;
        if (auto* label = find<QLabel>(t.name)) {
            if (label->text() != text)
                label->setText(text);
        } else if (auto* button = find<QAbstractButton>(t.name)) {
            if (button->text() != text)
                button->setText(text);
        }
    }
    forRows<ControlKind::Switch>([&](const UnitControl& row) {
        auto* box = find<QAbstractButton>(row.control);
        if (box && box->isChecked() != r.*row.state) {
            const QSignalBlocker block(box);
            box->setChecked(r.*row.state);
        }
    });
    forRows<ControlKind::Level>([&](const UnitControl& row) {
        if (!console_.watchdog().isSet(row.flag))
            showLevel(row, r.*row.level);
    });
    forRows<ControlKind::Mode>([&](const UnitControl& row) {
        const bool automatic = r.*row.level == AutomaticMode;
        if (auto* a = find<QRadioButton>(row.control); a && a->isChecked() != automatic) {
            const QSignalBlocker block(a);
            a->setChecked(automatic);
        }
        if (auto* b = find<QRadioButton>(row.manualButton); b && b->isChecked() == automatic) {
            const QSignalBlocker block(b);
            b->setChecked(!automatic);
        }
    });
    if (auto* wrapLimit = find<QSpinBox>("udWrapLimit"); wrapLimit && !wrapLimit->hasFocus())
        setIfChanged(wrapLimit, console_.wrapLimitDeg());
    if (auto* table = find<QTableWidget>("tblDiagnostic")) {
        const QStringList& names = DiagnosticFile::fieldNames();
        for (int row = 0; row < table->rowCount() && row < names.size() - 1; ++row) {
            const QString value = row < r.lastDiagnosticRecord.size() ? r.lastDiagnosticRecord[row]
                                                                      : QStringLiteral("-");
            if (auto* item = table->item(row, 1); item && item->text() != value)
                item->setText(value);
        }
    }
    refreshLink(); // the synch button follows the compensation mode
}

void ConsoleBinder::refreshLink() {
    const bool open = console_.portOpen();
    const auto always = [](const QString& name) {
        for (const char* n : kAlwaysEnabled)
            if (name == QLatin1String(n))
                return true;
        return false;
    };
    const auto setEnabled = [&](QWidget* w, bool on) {
        if (w && !always(w->objectName()) && w->isEnabled() != on)
            w->setEnabled(on);
    };
    // Readings of a closed port are the last ones the unit sent, not live: they are greyed.
    for (const auto& t : kTexts)
        if (auto* label = find<QLabel>(t.name); label && qstrcmp(t.name, kWrapLimitLabel) != 0)
            setEnabled(label, open);
    for (const auto& b : kButtons)
        setEnabled(find<QWidget>(b.name), open);
    for (const auto& j : kJogs)
        setEnabled(find<QWidget>(j.name), open);
    for (const UnitControl& row : kUnitControls) {
        setEnabled(find<QWidget>(row.control), open);
        if (row.manualButton)
            setEnabled(find<QWidget>(row.manualButton), open);
    }
    setEnabled(find<QWidget>("udLimits"), open);
    setEnabled(find<QWidget>("cmdSynchTempComp"), open && console_.readings().synchEnabled);
    setEnabled(find<QWidget>("cmdTempComp"), open && console_.tempCompAvailable());
    setEnabled(find<QWidget>("cmdConnect"), console_.connectEnabled());
    setEnabled(find<QWidget>("cmdDisconnect"), console_.disconnectEnabled());
}

} // namespace mivel::console
