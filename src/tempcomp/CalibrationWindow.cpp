#include "CalibrationWindow.h"

#include "CsvLines.h"
#include "HeaterLoopUpload.h"

#include "app/FileSave.h"
#include "app/SettingsKey.h"
#include "core/Format.h"
#include "core/Numbers.h"
#include "wire/Commands.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cmath>

namespace mivel::tempcomp {
namespace {

const QString Title = QStringLiteral("Mivel");
constexpr wire::Tag SensorTags[CalibrationWindow::SensorCount] = {
    wire::Tag::RawAmbient, wire::Tag::RawPrimary, wire::Tag::RawSecondary};
constexpr wire::Cmd SlopeCommands[CalibrationWindow::SensorCount] = {
    wire::Cmd::Sensor1Slope, wire::Cmd::Sensor2Slope, wire::Cmd::Sensor3Slope};
constexpr wire::Cmd InterceptCommands[CalibrationWindow::SensorCount] = {
    wire::Cmd::Sensor1Intercept, wire::Cmd::Sensor2Intercept, wire::Cmd::Sensor3Intercept};
constexpr std::string_view CoefficientKeys[CalibrationWindow::SensorCount] = {"T1", "T2", "T3"};
const char* const SensorNames[CalibrationWindow::SensorCount] = {"Ambient", "Primary", "Secondary"};

using Coefficients = std::array<std::array<double, CalibrationWindow::SensorCount>, 2>;

QString coefficientText(double value) {
    return formatNumber(value, "#.000000");
}

std::optional<double> number(const QString& text) {
    return wire::toNumber(text.trimmed().toStdString());
}

QString quoted(const QString& text) {
    return QLatin1Char('"') + text.trimmed() + QLatin1Char('"');
}

// Why a value the unit takes as a number was not sent.
QString notANumber(const QString& text) {
    return text.trimmed().isEmpty() ? QStringLiteral("no value")
                                    : quoted(text) + QStringLiteral(" is not a number");
}

QString beyondTheUnit(const QString& text) {
    return quoted(text) + QStringLiteral(" is more than the unit can hold");
}

// The unit keeps a slope times 100000 as a whole number: one that rounds to 0 there makes the
// sensor read one fixed temperature, and the console ignores coefficient replies scaled by it.
bool zeroOnTheUnit(double slope) {
    return std::abs(slope) * 100000 < 0.5;
}

// Sends the six coefficients, pausing after each. It holds the link and its own copy of the
// coefficients, so that it finishes when the window that started it has closed.
Task<bool> sendCoefficients(AppContext& ctx, Coefficients coefficients) {
    Connector link(ctx.hub());
    Waits& waits = ctx.hub().waits();
    int sent = 0;
    for (const auto& [commands, row] : {std::pair{SlopeCommands, 0}, {InterceptCommands, 1}}) {
        for (int sensor = 0; sensor < CalibrationWindow::SensorCount; ++sensor) {
            if (!link.serial().connected()) {
                ctx.prompt().inform(
                    QStringLiteral("The coefficient upload stopped after %1 of 6 commands: the "
                                   "communications port closed.  Upload the coefficients again.")
                        .arg(sent),
                    Title, Prompt::Icon::Warning);
                co_return false;
            }
            link.serial().transmit(wire::sensorCoefficient(
                commands[sensor], coefficients[std::size_t(row)][std::size_t(sensor)]));
            ++sent;
            co_await waits.delay(CalibrationWindow::CoefficientPauseMs);
        }
    }
    co_return true;
}

} // namespace

QString CalibrationWindow::sensorName(int sensor) {
    return sensor >= 0 && sensor < SensorCount ? QString::fromLatin1(SensorNames[sensor])
                                               : QString();
}

CalibrationWindow::CalibrationWindow(AppContext& ctx, QObject* parent)
    : QObject(parent)
    , ctx_(ctx)
    , connector_(ctx.hub())
    , subscription_(ctx.hub().subscribe(LinkHub::Audience::Console,
                                        [this](std::string_view chunk) { onChunk(chunk); }))
    , poll_(ctx.clock()) {
    for (const ParamInfo& info : params())
        if (info.input != Input::Number)
            values_[std::size_t(info.param)] = QString::number(info.min);
    const Settings& settings = ctx.settings();
    // All its digits: the window writes the step size back when it closes.
    values_[std::size_t(Param::StepSize)] = wire::decimalText(settings.stepSize);
    values_[std::size_t(Param::ErrorComputer)] = settings.errorMessage != 0 ? "1" : "0";
    values_[std::size_t(Param::CheckTelescope)] = settings.checkTelescope ? "1" : "0";
    values_[std::size_t(Param::PromptTheSky)] = settings.promptTheSky ? "1" : "0";
    values_[std::size_t(Param::AutoReverse)] = settings.autoReverse ? "1" : "0";

    poll_.setInterval(ReadingPollMs);
    connect(&poll_, &Timer::timeout, this, &CalibrationWindow::pollReadings);
    poll_.start();
    if (portOpen()) {
        readParameters();
        pollReadings();
    }
}

CalibrationWindow::~CalibrationWindow() {
    *alive_ = false;
}

// --- Replies ---

void CalibrationWindow::onChunk(std::string_view chunk) {
    tokeniser_.feed(chunk,
                    [this](std::string_view tag, std::string_view value) { onReply(tag, value); });
}

void CalibrationWindow::onReply(std::string_view tagText, std::string_view valueText) {
    const wire::TagInfo* info = wire::findTag(tagText);
    const auto value = wire::toNumber(valueText);
    if (!info || !value)
        return;
    for (int sensor = 0; sensor < SensorCount; ++sensor) {
        if (info->tag == SensorTags[sensor]) {
            readings_[std::size_t(sensor)] = *value;
            emit readingsChanged();
            emit buttonsChanged();
            return;
        }
    }
    if (info->tag == wire::Tag::IntFanOn || info->tag == wire::Tag::IntFanAuto) {
        (info->tag == wire::Tag::IntFanOn ? internalFanOn_ : internalFanAuto_) = *value;
        // The unit runs the internal fan automatically when asked to, else on or off.
        const int mode = internalFanAuto_.value_or(0) != 0 ? 2 : internalFanOn_.value_or(0) != 0;
        setValue(Param::IntFanMode, QString::number(mode));
        return;
    }
    if (const auto param = replyParam(info->tag)) {
        if (const auto shown = replyValue(*param, info->tag, *value)) {
            unitValues_[std::size_t(*param)] = UnitValue{*shown, *value};
            setValue(*param, *shown);
        }
    }
}

void CalibrationWindow::setValue(Param param, const QString& value) {
    QString& slot = values_[std::size_t(param)];
    if (slot == value)
        return;
    slot = value;
    emit valueChanged(param);
}

// --- Parameters ---

bool CalibrationWindow::edit(Param param, const QString& text) {
    const auto accepted = acceptedValue(param, text);
    if (!accepted) {
        // The view shows the value kept before the message takes the focus from it.
        emit valueChanged(param);
        const ParamInfo& info = paramInfo(param);
        ctx_.prompt().inform(
            QStringLiteral("Invalid %1.").arg(QLatin1String(info.label.data(), info.label.size())),
            Title, Prompt::Icon::Warning);
        return false;
    }
    if (*accepted == value(param))
        return true;
    setValue(param, *accepted);
    setChanged(true);
    return true;
}

void CalibrationWindow::setChanged(bool changed) {
    changed_ = changed;
    parameterUploadEnabled_ = changed;
    emit buttonsChanged();
}

void CalibrationWindow::readParameters() {
    send(wire::command(wire::Cmd::TempCompParams));
    send(wire::command(wire::Cmd::ReadParams));
    send(wire::command(wire::Cmd::ReadMoreParams));
}

bool CalibrationWindow::uploadParameters() {
    if (!ctx_.prompt().confirm(QStringLiteral("Upload changes to Mivel?"), Title))
        return false;
    if (!checkPort())
        return false;
    sendParameters();
    return true;
}

void CalibrationWindow::sendParameters() {
    using wire::Cmd;
    const auto text = [this](Param p) { return value(p).trimmed(); };
    const auto whole = [this](Param p) { return value(p).toInt(); };
    const auto flag = [this](Param p) { return value(p) == QLatin1String("1") ? 255 : 0; };
    // A value the unit cannot take is left out, so the unit keeps its own; the user is told.
    QStringList skipped;
    const auto skip = [&](Param p, const QString& why) {
        const ParamInfo& info = paramInfo(p);
        skipped << QLatin1String(info.label.data(), qsizetype(info.label.size())) +
                       QStringLiteral(": ") + why;
    };
    // Values the unit takes as text go out as the window shows them.
    const auto sendText = [&](Cmd cmd, Param p) {
        if (number(text(p)))
            send(wire::command(cmd, text(p)));
        else
            skip(p, notANumber(text(p)));
    };
    // Velocity and acceleration are fixed point with 16 fractional bits, shown with four
    // decimals: what the unit reported goes back as it came, not rounded through the display.
    const auto sendFixed = [&](Cmd cmd, Param p) {
        const auto& reported = unitValues_[std::size_t(p)];
        std::optional<std::int32_t> n;
        if (reported && reported->shown == value(p))
            n = wire::roundToInt<std::int32_t>(reported->wire);
        else if (const auto v = number(text(p)))
            n = wire::roundToInt<std::int32_t>(std::floor(*v * 65536));
        else
            return skip(p, notANumber(text(p)));
        if (n)
            send(wire::command(cmd, *n));
        else
            skip(p, beyondTheUnit(text(p)));
    };

    switch (whole(Param::IntFanMode)) {
    case 0:
        send(wire::command(Cmd::InternalFanOn, 0));
        break;
    case 1:
        send(wire::command(Cmd::InternalFanOn, 255));
        break;
    default:
        send(wire::command(Cmd::InternalFanOther, 255));
        break;
    }
    send(wire::command(Cmd::InternalFanSet, whole(Param::IntFanSet)));
    send(wire::command(Cmd::InternalFanHyst, whole(Param::IntFanHyst)));
    send(wire::command(Cmd::ParamAt, whole(Param::FanThreshold)));
    send(wire::command(Cmd::ParamZ, whole(Param::FanPulsePower)));
    sendText(Cmd::MotorPGain, Param::Kp);
    sendText(Cmd::MotorDGain, Param::Kd);
    sendText(Cmd::MotorDeriv, Param::Deriv);
    sendText(Cmd::MotorIGain, Param::Ki);
    sendText(Cmd::MotorILimit, Param::IntegralLimit);
    sendFixed(Cmd::Velocity, Param::Velocity);
    sendFixed(Cmd::Acceleration, Param::Acceleration);
    send(wire::command(Cmd::AutoCurrent, flag(Param::AutoCurrent), wire::Lead::Space));
    send(wire::command(Cmd::ErrorHandheld, flag(Param::ErrorHandheld), wire::Lead::Space));
    send(wire::command(Cmd::DeadbandOn, flag(Param::DeadbandOn), wire::Lead::Space));
    sendText(Cmd::Deadband, Param::Deadband);
    send(wire::command(Cmd::DeadbandSettle, whole(Param::DeadbandSettle)));
    constexpr Param HeaterParams[] = {Param::HeaterKp, Param::HeaterKd, Param::HeaterDerivTime,
                                      Param::HeaterKi, Param::HeaterILimit};
    const auto heater =
        heaterLoopCommands({value(HeaterParams[0]), value(HeaterParams[1]), value(HeaterParams[2]),
                            value(HeaterParams[3]), value(HeaterParams[4])});
    for (std::size_t i = 0; i < heater.size(); ++i) {
        if (heater[i])
            send(*heater[i]);
        else
            skip(HeaterParams[i], number(text(HeaterParams[i]))
                                      ? beyondTheUnit(text(HeaterParams[i]))
                                      : notANumber(text(HeaterParams[i])));
    }
    send(wire::command(Cmd::EndUpload));
    setChanged(false);
    if (!skipped.isEmpty())
        ctx_.prompt().inform(
            QStringLiteral("Not uploaded, so the Mivel keeps its own values:\n\n") +
                skipped.join(QLatin1Char('\n')),
            Title, Prompt::Icon::Warning);
}

bool CalibrationWindow::portOpen() const {
    const Serial* serial = ctx_.hub().serial();
    return serial && serial->connected();
}

bool CalibrationWindow::checkPort() {
    if (portOpen())
        return true;
    ctx_.prompt().inform(QStringLiteral("Error:  The communications port is not open."),
                         QStringLiteral("Vark"), Prompt::Icon::Warning);
    return false;
}

void CalibrationWindow::send(const QByteArray& command) {
    ctx_.hub().ensureSerial().transmit(command);
}

void CalibrationWindow::pollReadings() {
    if (portOpen())
        send(wire::command(wire::Cmd::Temperatures, wire::Lead::Space));
}

// --- Calibration ---

std::optional<double> CalibrationWindow::reading(int sensor) const {
    if (sensor < 0 || sensor >= SensorCount)
        return std::nullopt;
    return readings_[std::size_t(sensor)];
}

bool CalibrationWindow::canRecordPoint() const {
    return recordNote().isEmpty();
}

QString CalibrationWindow::recordNote() const {
    if (points_.full())
        return QStringLiteral("%1 points recorded, as many as the table holds.  Clear Points to "
                              "start again.")
            .arg(PointTable::Capacity);
    for (const auto& r : readings_)
        if (!r)
            return QStringLiteral("Waiting for the sensors' readings.");
    return {};
}

bool CalibrationWindow::recordPoint(const QString& referenceText) {
    const auto reference = number(referenceText);
    if (!reference) {
        ctx_.prompt().inform(QStringLiteral("Invalid reference temperature."), Title,
                             Prompt::Icon::Warning);
        return false;
    }
    if (const QString note = recordNote(); !note.isEmpty()) {
        ctx_.prompt().inform(note, Title, Prompt::Icon::Information);
        return false;
    }
    points_.add(*readings_[0], *readings_[1], *readings_[2], *reference);
    emit pointsChanged();
    emit buttonsChanged();
    return true;
}

void CalibrationWindow::clearPoints() {
    points_.clear();
    emit pointsChanged();
    clearCoefficients({});
}

void CalibrationWindow::clearCoefficients(const QString& note) {
    fits_ = {};
    shown_ = {};
    coefficients_ = {};
    coefficientsReady_ = false;
    coefficientNote_ = note;
    emit fitsChanged();
    emit buttonsChanged();
}

QString CalibrationWindow::zeroSlopeNote() const {
    QStringList zero;
    for (int sensor = 0; sensor < SensorCount; ++sensor)
        if (zeroOnTheUnit(coefficients_[0][std::size_t(sensor)]))
            zero << sensorName(sensor);
    if (zero.isEmpty())
        return {};
    const QString which =
        zero.size() == 1
            ? QStringLiteral("The %1 sensor's slope is 0").arg(zero[0])
            : QStringLiteral("The slopes of the %1 and %2 sensors are 0")
                  .arg(zero.mid(0, zero.size() - 1).join(QStringLiteral(", ")), zero.back());
    return which + QStringLiteral(": the unit would report one fixed temperature whatever the "
                                  "sensor reads, so these coefficients are not uploaded.  Record "
                                  "points over a range of temperatures in which every sensor's "
                                  "reading changes.");
}

bool CalibrationWindow::coefficientUploadEnabled() const {
    return coefficientsReady_ && coefficientNote_.isEmpty();
}

bool CalibrationWindow::calibrate() {
    if (points_.count() < 2) {
        ctx_.prompt().inform(QStringLiteral("Error:  A minimum of two points is required to "
                                            "calculate the coefficients."),
                             Title, Prompt::Icon::Warning);
        return false;
    }
    std::array<std::optional<LineFit>, SensorCount> fits;
    for (int sensor = 0; sensor < SensorCount; ++sensor) {
        fits[std::size_t(sensor)] = fitLine(points_, sensor);
        if (!fits[std::size_t(sensor)]) {
            // A sum overflowed: no partial results, and nothing left over to upload.
            clearCoefficients(QStringLiteral("The calculation overflowed: a reading or a "
                                             "reference temperature is far too large."));
            ctx_.prompt().inform(QStringLiteral("Error number: 6 Overflow"), Title,
                                 Prompt::Icon::Critical);
            return false;
        }
    }
    for (int sensor = 0; sensor < SensorCount; ++sensor) {
        const auto s = std::size_t(sensor);
        const LineFit& line = *fits[s];
        fits_[s] = line;
        shown_[s] = {coefficientText(line.slope), coefficientText(line.intercept),
                     formatNumber(line.r2, "0.000000")};
        coefficients_[0][s] = line.slope;
        coefficients_[1][s] = line.intercept;
    }
    coefficientsReady_ = true;
    coefficientNote_ = zeroSlopeNote();
    emit fitsChanged();
    emit buttonsChanged();
    if (!coefficientNote_.isEmpty())
        ctx_.prompt().inform(coefficientNote_, Title, Prompt::Icon::Warning);
    return true;
}

Task<bool> CalibrationWindow::uploadCoefficients() {
    if (coefficientUploadRunning_ || !coefficientsReady_)
        co_return false;
    if (!coefficientNote_.isEmpty()) {
        ctx_.prompt().inform(coefficientNote_, Title, Prompt::Icon::Warning);
        co_return false;
    }
    if (!ctx_.prompt().confirm(QStringLiteral("Upload new coefficients to the Mivel?"), Title))
        co_return false;
    if (!checkPort())
        co_return false;
    const auto alive = alive_;
    coefficientUploadRunning_ = true;
    emit buttonsChanged();
    const bool done = co_await sendCoefficients(ctx_, coefficients_);
    // The window may have closed meanwhile; the upload went on without it.
    if (*alive) {
        coefficientUploadRunning_ = false;
        emit buttonsChanged();
    }
    co_return done;
}

// --- Files ---

bool CalibrationWindow::confirmReplace(const QString& path) {
    return !QFile::exists(path) ||
           ctx_.prompt().confirm(QStringLiteral("Replace current file?"), Title);
}

bool CalibrationWindow::writeFile(const QString& path, const QByteArray& data) {
    // Written beside the old file and renamed over it, so a failed save loses nothing on disk.
    if (replaceFile(path, data)) {
        ctx_.prompt().inform(QStringLiteral("Unable to create file."), Title,
                             Prompt::Icon::Warning);
        return false;
    }
    return true;
}

std::optional<QByteArray> CalibrationWindow::readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.readAll();
}

void CalibrationWindow::reportOpenError() {
    ctx_.prompt().inform(QStringLiteral("Error opening file."), QStringLiteral("TEC"),
                         Prompt::Icon::Warning);
}

// A file that loaded nothing: empty, or every line refused or unknown.
void CalibrationWindow::reportNothingLoaded(bool empty, const QString& what, QStringList skipped,
                                            const QStringList& unknown) {
    if (!unknown.isEmpty())
        skipped << QStringLiteral("Unknown keys: ") + unknown.join(QStringLiteral(", "));
    reportFileProblem(empty ? QStringLiteral("The file is empty.")
                            : QStringLiteral("No %1 were loaded from the file.").arg(what),
                      skipped);
}

void CalibrationWindow::reportFileProblem(const QString& headline, const QStringList& details) {
    QString text = headline;
    if (!details.isEmpty())
        text += QStringLiteral("\n\n") + details.join(QLatin1Char('\n'));
    ctx_.prompt().inform(text, QStringLiteral("TEC"), Prompt::Icon::Warning);
}

QString CalibrationWindow::dataFilePath(const QString& chosen) {
    // Something already there under the name chosen is what the user means to replace.
    const QFileInfo file(chosen);
    return file.suffix().isEmpty() && !file.exists() ? chosen + QStringLiteral(".dat") : chosen;
}

bool CalibrationWindow::saveParameterFile(const QString& chosenPath) {
    const QString path = dataFilePath(chosenPath);
    if (!confirmReplace(path))
        return false;
    QByteArray data =
        csvLine({CsvItem::quote(QStringLiteral("date")),
                 CsvItem::quote(now_().toString(QStringLiteral("MM/dd/yy hh:mm:ss")))});
    for (const ParamInfo& info : params()) {
        const QString key =
            QString::fromLatin1(info.fileKey.data(), qsizetype(info.fileKey.size()));
        const QString text = value(info.param).trimmed();
        switch (info.form) {
        case FileForm::None:
            continue;
        case FileForm::Text:
        case FileForm::FlagText:
            data += csvLine({CsvItem::quote(key), CsvItem::quote(text)});
            break;
        case FileForm::Int16:
        case FileForm::Int32:
            data += csvLine({CsvItem::quote(key), CsvItem::bare(QString::number(text.toInt()))});
            break;
        case FileForm::Double:
            data += csvLine({CsvItem::quote(key),
                             CsvItem::bare(QString::number(number(text).value_or(0), 'g', 15))});
            break;
        }
    }
    return writeFile(path, data);
}

bool CalibrationWindow::loadParameterFile(const QString& path) {
    const auto data = readFile(path);
    if (!data) {
        reportOpenError();
        return false;
    }
    const auto lines = csvLines(*data);
    if (!lines) {
        reportFileProblem(QStringLiteral("The file is not a parameter file: it is not text."), {});
        return false;
    }
    std::vector<std::pair<Param, QString>> found;
    QStringList skipped;
    QStringList unknown;
    for (const QStringList& items : *lines) {
        const QString key = items.value(0);
        const ParamInfo* info = paramByFileKey(key);
        if (!info) {
            if (key != QLatin1String("date")) // the date is for people reading the file
                unknown << quoted(key);
            continue;
        }
        const QString text = items.value(1);
        if (const auto accepted = acceptedValue(info->param, text))
            found.emplace_back(info->param, *accepted);
        else
            skipped << key + QStringLiteral(": ") + refusalReason(info->param, text);
    }
    if (found.empty()) {
        reportNothingLoaded(lines->empty(), QStringLiteral("parameters"), skipped, unknown);
        return false;
    }
    for (const auto& [param, text] : found)
        setValue(param, text);
    setChanged(true);
    // Keys the program does not know are ignored: a file from another version may have more.
    if (!skipped.isEmpty())
        reportFileProblem(QStringLiteral("Some items of the file were not loaded; those "
                                         "parameters keep their values:"),
                          skipped);
    return true;
}

bool CalibrationWindow::saveCoefficientFile(const QString& chosenPath) {
    const QString path = dataFilePath(chosenPath);
    if (!confirmReplace(path))
        return false;
    const QDateTime now = now_();
    QByteArray data = csvLine({CsvItem::quote(QStringLiteral("date")),
                               CsvItem::quote(now.toString(QStringLiteral("MM/dd/yy"))),
                               CsvItem::quote(now.toString(QStringLiteral("hh:mm:ss")))});
    for (int sensor = 0; sensor < SensorCount; ++sensor)
        data += csvLine({CsvItem::quote(QString::fromLatin1(CoefficientKeys[sensor].data())),
                         CsvItem::quote(coefficientText(coefficients_[0][std::size_t(sensor)])),
                         CsvItem::quote(coefficientText(coefficients_[1][std::size_t(sensor)]))});
    return writeFile(path, data);
}

bool CalibrationWindow::loadCoefficientFile(const QString& path) {
    const auto data = readFile(path);
    if (!data) {
        reportOpenError();
        return false;
    }
    const auto lines = csvLines(*data);
    if (!lines) {
        reportFileProblem(QStringLiteral("The file is not a coefficient file: it is not text."),
                          {});
        return false;
    }
    struct Found {
        int sensor;
        double slope;
        double intercept;
    };
    std::vector<Found> found;
    QStringList skipped;
    QStringList unknown;
    for (const QStringList& items : *lines) {
        const QString key = items.value(0);
        const auto known =
            std::find(std::begin(CoefficientKeys), std::end(CoefficientKeys), key.toStdString());
        if (known == std::end(CoefficientKeys)) {
            if (key != QLatin1String("date"))
                unknown << quoted(key);
            continue;
        }
        const auto slope = number(items.value(1));
        const auto intercept = number(items.value(2));
        if (slope && intercept)
            found.push_back({int(known - std::begin(CoefficientKeys)), *slope, *intercept});
        else
            skipped << key + QStringLiteral(": ") +
                           (slope ? QStringLiteral("intercept ") + notANumber(items.value(2))
                                  : QStringLiteral("slope ") + notANumber(items.value(1)));
    }
    if (found.empty()) {
        reportNothingLoaded(lines->empty(), QStringLiteral("coefficients"), skipped, unknown);
        return false;
    }
    for (const Found& f : found) {
        const auto s = std::size_t(f.sensor);
        coefficients_[0][s] = f.slope;
        coefficients_[1][s] = f.intercept;
        fits_[s] = LineFit{f.slope, f.intercept, 0};
        shown_[s] = {coefficientText(f.slope), coefficientText(f.intercept), QString()};
    }
    coefficientsReady_ = true;
    coefficientNote_ = zeroSlopeNote();
    emit fitsChanged();
    emit buttonsChanged();
    if (!skipped.isEmpty())
        reportFileProblem(QStringLiteral("Some lines of the file were not loaded; those sensors "
                                         "keep their coefficients:"),
                          skipped);
    if (!coefficientNote_.isEmpty())
        ctx_.prompt().inform(coefficientNote_, Title, Prompt::Icon::Warning);
    return true;
}

// --- Closing ---

bool CalibrationWindow::close() {
    poll_.stop();
    if (changed_ &&
        ctx_.prompt().ask(QStringLiteral("One or more items have changed.  Would you like to "
                                         "upload changed to the Mivel?"),
                          Title, Prompt::Icon::Question,
                          Prompt::Buttons::YesNo) == Prompt::Answer::Yes &&
        checkPort())
        sendParameters();
    saveStepSize();
    return true;
}

namespace {

// Each value keeps the type it is stored with: another program, or an older version of this
// one, reads the text "0" and the number 0 differently.
int storedType(SettingsStore& store, SettingsStore::Key key, const QString& name, int fallback) {
    SettingsStore::Type type = SettingsStore::Type::None;
    QByteArray data;
    if (store.queryValue(key, name, &type, &data) == SettingsStore::Success &&
        (type == SettingsStore::Type::String || type == SettingsStore::Type::Dword))
        return int(type);
    return fallback;
}

} // namespace

void CalibrationWindow::saveStepSize() {
    const auto flag = [this](Param p) { return value(p) == QLatin1String("1"); };
    Settings& settings = ctx_.settings();
    if (const auto step = number(value(Param::StepSize)))
        settings.stepSize = float(*step);
    // The window's options are settings that other parts of the program read.
    settings.errorMessage = flag(Param::ErrorComputer) ? 1 : 0;
    settings.checkTelescope = flag(Param::CheckTelescope);
    settings.promptTheSky = flag(Param::PromptTheSky);
    settings.autoReverse = flag(Param::AutoReverse);

    SettingsStore& store = ctx_.store();
    ScopedKey key(store);
    if (key.create(SettingsStore::Hive::LocalMachine, SettingsKeyPath) != SettingsStore::Success) {
        ctx_.prompt().inform(QStringLiteral("Unable to create key"), Title, Prompt::Icon::Warning);
        return;
    }
    constexpr int Text = 1;
    constexpr int Number = 4;
    const struct {
        const char* name;
        int type;          // the type written, or the one for a value not stored yet
        bool keepsItsType; // whether a value stored with the other type keeps that
        QVariant value;
    } writes[] = {
        // Stored as a number the step size would lose its fraction.
        {"StepSize", Text, false, value(Param::StepSize).trimmed()},
        // A new settings store holds ErrorMessage as the text "0".
        {"ErrorMessage", Text, true, int(settings.errorMessage)},
        {"CheckTelescope", Number, true, settings.checkTelescope ? 1 : 0},
        {"PromptTheSky", Number, true, settings.promptTheSky ? 1 : 0},
        {"AutoReverse", Number, true, settings.autoReverse ? 1 : 0},
    };
    for (const auto& w : writes) {
        const QString name = QString::fromLatin1(w.name);
        const int type = w.keepsItsType ? storedType(store, key.handle(), name, w.type) : w.type;
        if (setSettingValue(store, key.handle(), name, type, w.value) != SettingsStore::Success) {
            ctx_.prompt().inform(QStringLiteral("Unable to read registry"), Title,
                                 Prompt::Icon::Warning);
            return;
        }
    }
}

} // namespace mivel::tempcomp
