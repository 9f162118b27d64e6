#pragma once

// The calibration window's logic. Two jobs: calibrating the unit's temperature sensors (record
// points of sensor readings against a reference temperature, fit a line per sensor, upload the
// slopes and intercepts), and editing the unit's controller parameters (read them from the unit,
// upload them, keep them in a parameter file). The window is a thin view over this object; tests
// drive it without a display.

#include "CalibrationParams.h"
#include "FitLine.h"

#include "app/AppContext.h"
#include "core/Clock.h"
#include "core/Task.h"
#include "wire/Tokeniser.h"

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QStringList>

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace mivel::tempcomp {

class CalibrationWindow : public QObject {
    Q_OBJECT
public:
    static constexpr int SensorCount = 3;
    // The window asks for fresh readings this often while the port is open.
    static constexpr qint64 ReadingPollMs = 1000;
    // The unit stores each coefficient in its non-volatile memory before it takes the next
    // command; the pause leaves it that time.
    static constexpr qint64 CoefficientPauseMs = 250;

    explicit CalibrationWindow(AppContext& ctx, QObject* parent = nullptr);
    ~CalibrationWindow() override;

    // The sensor of each column of the point table: "Ambient", "Primary", "Secondary".
    static QString sensorName(int sensor);

    // --- Controller parameters ---
    QString value(Param param) const { return values_[std::size_t(param)]; }
    // A change the user makes. A value the parameter cannot take is refused with a message and
    // the parameter keeps its value.
    bool edit(Param param, const QString& text);
    bool changed() const { return changed_; }
    bool parameterUploadEnabled() const { return parameterUploadEnabled_; }
    // cmdRead: asks the unit for its parameters; the replies fill the window.
    void readParameters();
    // cmdUploadMivel: asks, then sends every parameter in the unit's order. A value the unit
    // cannot take is left out, and the user is told which and why. A value as the unit reported
    // it goes back exactly as the unit holds it, whatever the rounding of its display.
    bool uploadParameters();

    // --- Calibration ---
    // The three sensors' latest readings, once the unit has reported them.
    std::optional<double> reading(int sensor) const;
    bool canRecordPoint() const;
    // Why no point can be recorded now; empty when one can.
    QString recordNote() const;
    // cmdCalMark: the current readings against the reference temperature typed by the user.
    bool recordPoint(const QString& referenceText);
    // Clears the points and, with them, the coefficients fitted to them.
    void clearPoints();
    const PointTable& points() const { return points_; }
    // cmdCalibrate: fits each sensor's line; false (with a message) with fewer than two points or
    // when the sums overflow, which leaves no coefficients at all.
    bool calibrate();
    std::optional<LineFit> fit(int sensor) const { return fits_[std::size_t(sensor)]; }
    QString slopeText(int sensor) const { return shown_[std::size_t(sensor)].slope; }
    QString interceptText(int sensor) const { return shown_[std::size_t(sensor)].intercept; }
    QString r2Text(int sensor) const { return shown_[std::size_t(sensor)].r2; }
    // Coefficients are there and none would zero a sensor's calibration.
    bool coefficientUploadEnabled() const;
    // Why the coefficients cannot be uploaded (a slope the unit would hold as 0, an overflow);
    // empty when they can or when there are none.
    QString coefficientNote() const { return coefficientNote_; }
    // cmdCalUpload: asks, then sends the six coefficients with a pause after each. Once started
    // the upload goes on to the end even when the window closes: a unit holding new slopes with
    // old intercepts reports every temperature wrong. The task ends with true when all were sent.
    Task<bool> uploadCoefficients();
    bool coefficientUploadRunning() const { return coefficientUploadRunning_; }

    // --- Files ---
    // Each asks before replacing an existing file and reports its own failures. Saving adds
    // ".dat" to a name without an extension, so that the open dialog's filter shows the file.
    // Loading says which items it skipped and why.
    bool saveParameterFile(const QString& path);
    bool loadParameterFile(const QString& path);
    bool saveCoefficientFile(const QString& path);
    bool loadCoefficientFile(const QString& path);
    // The path a chosen file name is saved under: with ".dat" when it has no extension and
    // names nothing yet.
    static QString dataFilePath(const QString& chosen);
    // What "now" is for the date written into the files.
    void setNow(std::function<QDateTime()> now) { now_ = std::move(now); }

    // Closing: offers to upload changes and keeps the step size in the settings. Returns true;
    // the window closes in any case.
    bool close();

signals:
    void valueChanged(Param param);
    void readingsChanged();
    void pointsChanged();
    void fitsChanged();
    void buttonsChanged();

private:
    struct ShownFit {
        QString slope;
        QString intercept;
        QString r2;
    };

    void onChunk(std::string_view chunk);
    void onReply(std::string_view tag, std::string_view value);
    void setValue(Param param, const QString& value);
    void clearCoefficients(const QString& note);
    QString zeroSlopeNote() const;
    void reportFileProblem(const QString& headline, const QStringList& details);
    void reportNothingLoaded(bool empty, const QString& what, QStringList skipped,
                             const QStringList& unknown);
    void setChanged(bool changed);
    bool portOpen() const;
    bool checkPort();
    void send(const QByteArray& command);
    void sendParameters();
    bool confirmReplace(const QString& path);
    bool writeFile(const QString& path, const QByteArray& data);
    std::optional<QByteArray> readFile(const QString& path);
    // The file's lines, or nothing after saying why (it would not open, or it is not text).
    std::optional<std::vector<QStringList>> readCsvFile(const QString& path, const QString& kind);
    void reportOpenError();
    void saveStepSize();
    void pollReadings();

    AppContext& ctx_;
    Connector connector_;
    wire::Tokeniser tokeniser_;
    LinkHub::Subscription subscription_;
    Timer poll_;
    std::array<QString, ParamCount> values_;
    // What the unit last reported for a parameter: the text shown and the value on the wire.
    struct UnitValue {
        QString shown;
        double wire;
    };
    std::array<std::optional<UnitValue>, ParamCount> unitValues_;
    std::optional<double> internalFanOn_; // :ifo and :ifa together give the fan mode
    std::optional<double> internalFanAuto_;
    std::array<std::optional<double>, SensorCount> readings_;
    PointTable points_;
    std::array<std::optional<LineFit>, SensorCount> fits_;
    std::array<ShownFit, SensorCount> shown_;
    // The coefficients the upload sends: slope and intercept of each sensor.
    std::array<std::array<double, SensorCount>, 2> coefficients_{};
    bool changed_ = false;
    bool parameterUploadEnabled_ = false;
    bool coefficientsReady_ = false;
    QString coefficientNote_;
    bool coefficientUploadRunning_ = false;
    std::function<QDateTime()> now_ = [] { return QDateTime::currentDateTime(); };
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace mivel::tempcomp
