// The calibration window's files: the parameter file and the coefficient file, saved and
// loaded with every refused line named.

#include "CalibrationText.h"
#include "CalibrationWindow.h"
#include "CsvLines.h"

#include "app/FileSave.h"

#include <QFile>
#include <QFileInfo>

namespace mivel::tempcomp {
namespace {

constexpr std::string_view CoefficientKeys[CalibrationWindow::SensorCount] = {"T1", "T2", "T3"};

} // namespace

using namespace calibration;

bool CalibrationWindow::confirmReplace(const QString& path) {
    return !QFile::exists(path) ||
           ctx_.prompt().confirm(QStringLiteral("Replace current file?"), MessageTitle);
}

bool CalibrationWindow::writeFile(const QString& path, const QByteArray& data) {
    // Written beside the old file and renamed over it, so a failed save loses nothing on disk.
    if (replaceFile(path, data)) {
        ctx_.prompt().inform(QStringLiteral("Unable to create file."), MessageTitle,
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

std::optional<std::vector<QStringList>> CalibrationWindow::readCsvFile(const QString& path,
                                                                       const QString& kind) {
    const auto data = readFile(path);
    if (!data) {
        reportOpenError();
        return std::nullopt;
    }
    auto lines = csvLines(*data);
    if (!lines)
        reportFileProblem(QStringLiteral("The file is not a %1 file: it is not text.").arg(kind),
                          {});
    return lines;
}

bool CalibrationWindow::loadParameterFile(const QString& path) {
    const auto lines = readCsvFile(path, QStringLiteral("parameter"));
    if (!lines)
        return false;
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
    const auto lines = readCsvFile(path, QStringLiteral("coefficient"));
    if (!lines)
        return false;
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
        ctx_.prompt().inform(coefficientNote_, MessageTitle, Prompt::Icon::Warning);
    return true;
}

} // namespace mivel::tempcomp
