#include "CalibrationWindow.h"

#include "CsvLines.h"
#include "HeaterLoopUpload.h"

#include "app/FileSave.h"
#include "app/SettingsKey.h"
#include "link/Commands.h"
#include "link/Format.h"
#include "link/Numbers.h"

#include <QFile>

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

QString coefficientText(double value) {
    return formatNumber(value, "#.000000");
}

std::optional<double> number(const QString& text) {
    return wire::toNumber(text.trimmed().toStdString());
}

} // namespace

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
    if (const auto param = replyParam(info->tag))
        if (const auto shown = replyValue(*param, info->tag, *value))
            setValue(*param, *shown);
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
    // Values the unit takes as text go out as the window shows them; one that is not a number
    // would be misread by the unit, so it is left out and the unit keeps its value.
    const auto sendText = [&](Cmd cmd, Param p) {
        if (number(text(p)))
            send(wire::command(cmd, text(p)));
    };
    // Velocity and acceleration are fixed point with 16 fractional bits.
    const auto sendFixed = [&](Cmd cmd, Param p) {
        if (const auto v = number(text(p)))
            if (const auto n = wire::roundToInt<std::int32_t>(std::floor(*v * 65536)))
                send(wire::command(cmd, *n));
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
    for (const QByteArray& command : heaterLoopCommands(
             {value(Param::HeaterKp), value(Param::HeaterKd), value(Param::HeaterDerivTime),
              value(Param::HeaterKi), value(Param::HeaterILimit)}))
        send(command);
    send(wire::command(Cmd::EndUpload));
    setChanged(false);
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
    if (points_.full())
        return false;
    for (const auto& r : readings_)
        if (!r)
            return false;
    return true;
}

bool CalibrationWindow::recordPoint(const QString& referenceText) {
    const auto reference = number(referenceText);
    if (!reference) {
        ctx_.prompt().inform(QStringLiteral("Invalid reference temperature."), Title,
                             Prompt::Icon::Warning);
        return false;
    }
    if (!canRecordPoint())
        return false;
    points_.add(*readings_[0], *readings_[1], *readings_[2], *reference);
    emit pointsChanged();
    emit buttonsChanged();
    return true;
}

void CalibrationWindow::clearPoints() {
    points_.clear();
    emit pointsChanged();
    emit buttonsChanged();
}

bool CalibrationWindow::calibrate() {
    if (points_.count() < 2) {
        ctx_.prompt().inform(QStringLiteral("Error:  A minimum of two points is required to "
                                            "calculate the coefficients."),
                             Title, Prompt::Icon::Warning);
        return false;
    }
    for (int sensor = 0; sensor < SensorCount; ++sensor) {
        const auto fit = fitLine(points_, sensor);
        const LineFit line = fit.value_or(LineFit{});
        fits_[std::size_t(sensor)] = fit;
        shown_[std::size_t(sensor)] = {coefficientText(line.slope), coefficientText(line.intercept),
                                       formatNumber(line.r2, "0.000000")};
        coefficients_[0][std::size_t(sensor)] = line.slope;
        coefficients_[1][std::size_t(sensor)] = line.intercept;
    }
    coefficientUploadEnabled_ = true;
    emit fitsChanged();
    emit buttonsChanged();
    return true;
}

Task<bool> CalibrationWindow::uploadCoefficients() {
    if (coefficientUploadRunning_)
        co_return false;
    if (!ctx_.prompt().confirm(QStringLiteral("Upload new coefficients to the Mivel?"), Title))
        co_return false;
    if (!checkPort())
        co_return false;
    const auto alive = alive_;
    coefficientUploadRunning_ = true;
    emit buttonsChanged();
    Waits& waits = ctx_.hub().waits();
    for (const auto& [commands, row] : {std::pair{SlopeCommands, 0}, {InterceptCommands, 1}}) {
        for (int sensor = 0; sensor < SensorCount; ++sensor) {
            send(wire::sensorCoefficient(commands[sensor],
                                         coefficients_[std::size_t(row)][std::size_t(sensor)]));
            co_await waits.delay(CoefficientPauseMs);
            if (!*alive)
                co_return false;
        }
    }
    coefficientUploadRunning_ = false;
    emit buttonsChanged();
    co_return true;
}

// --- Files ---

bool CalibrationWindow::confirmReplace(const QString& path) {
    return !QFile::exists(path) ||
           ctx_.prompt().confirm(QStringLiteral("Replace current file?"), Title);
}

bool CalibrationWindow::writeFile(const QString& path, const QByteArray& data) {
    // Written beside the old file and renamed over it, so a failed save loses nothing on disk.
    if (!replaceFile(path, data).isEmpty()) {
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

bool CalibrationWindow::saveParameterFile(const QString& path) {
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
    const auto lines = data ? csvLines(*data) : std::nullopt;
    std::vector<std::pair<Param, QString>> found;
    if (lines) {
        for (const QStringList& items : *lines) {
            const ParamInfo* info = items.size() >= 2 ? paramByFileKey(items[0]) : nullptr;
            if (!info)
                continue; // unknown keys, the date among them
            if (const auto accepted = acceptedValue(info->param, items[1]))
                found.emplace_back(info->param, *accepted);
        }
    }
    if (found.empty()) {
        reportOpenError();
        return false;
    }
    for (const auto& [param, text] : found)
        setValue(param, text);
    setChanged(true);
    return true;
}

bool CalibrationWindow::saveCoefficientFile(const QString& path) {
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
    const auto lines = data ? csvLines(*data) : std::nullopt;
    struct Found {
        int sensor;
        double slope;
        double intercept;
    };
    std::vector<Found> found;
    if (lines) {
        for (const QStringList& items : *lines) {
            for (int sensor = 0; sensor < SensorCount; ++sensor) {
                if (items.size() < 3 || items[0] != QLatin1String(CoefficientKeys[sensor].data()))
                    continue;
                const auto slope = number(items[1]);
                const auto intercept = number(items[2]);
                if (slope && intercept)
                    found.push_back({sensor, *slope, *intercept});
            }
        }
    }
    if (found.empty()) {
        reportOpenError();
        return false;
    }
    for (const Found& f : found) {
        const auto s = std::size_t(f.sensor);
        coefficients_[0][s] = f.slope;
        coefficients_[1][s] = f.intercept;
        fits_[s] = LineFit{f.slope, f.intercept, 0};
        shown_[s] = {coefficientText(f.slope), coefficientText(f.intercept), QString()};
    }
    coefficientUploadEnabled_ = true;
    emit fitsChanged();
    emit buttonsChanged();
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

void CalibrationWindow::saveStepSize() {
    const auto flag = [this](Param p) { return value(p) == QLatin1String("1"); };
    Settings& settings = ctx_.settings();
    if (const auto step = number(value(Param::StepSize)))
        settings.stepSize = float(*step);
    // The window's three options are settings that other parts of the program read.
    settings.errorMessage = flag(Param::ErrorComputer) ? 1 : 0;
    settings.checkTelescope = flag(Param::CheckTelescope);
    settings.promptTheSky = flag(Param::PromptTheSky);

    SettingsStore& store = ctx_.store();
    ScopedKey key(store);
    if (key.create(SettingsStore::Hive::LocalMachine, SettingsKeyPath) != SettingsStore::Success) {
        ctx_.prompt().inform(QStringLiteral("Unable to create key"), Title, Prompt::Icon::Warning);
        return;
    }
    const struct {
        const char* name;
        int type;
        QVariant value;
    } writes[] = {
        {"StepSize", 1, value(Param::StepSize).trimmed()},
        {"ErrorMessage", 4, int(settings.errorMessage)},
        {"CheckTelescope", 4, settings.checkTelescope ? 1 : 0},
        {"PromptTheSky", 4, settings.promptTheSky ? 1 : 0},
    };
    for (const auto& w : writes) {
        if (setSettingValue(store, key.handle(), QString::fromLatin1(w.name), w.type, w.value) !=
            SettingsStore::Success) {
            ctx_.prompt().inform(QStringLiteral("Unable to read registry"), Title,
                                 Prompt::Icon::Warning);
            return;
        }
    }
}

} // namespace mivel::tempcomp
