#include "settings/GradientExchange.h"

#include "settings/AppSettings.h"
#include "settings/GradientPresetJson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>

#include <algorithm>
#include <string>

namespace {

const QString undecodable = QStringLiteral("Failed to decode gradient file");
const QString importPrefix = QStringLiteral("Failed to import gradient: ");

// `json` is the store's own encoding (record fields in their fixed order), empty when a
// stop holds a number JSON cannot carry.
ExchangeResult writeGradientJson(const std::string &json, const QString &path, const QString &failurePrefix)
{
    if (json.empty())
        return exchange_files::fail(failurePrefix + QStringLiteral("a gradient stop is not a finite number"));
    QString error;
    if (!exchange_files::writeFile(path, QByteArray::fromStdString(json), error))
        return exchange_files::fail(failurePrefix + error);
    return {};
}

} // namespace

namespace gradient_exchange {

DecodedGradients decode(const QByteArray &json)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError || (!document.isArray() && !document.isObject()))
        return {{}, undecodable};

    // Export writes an array for "all custom gradients" and one record for a single
    // preset; both are read, and a single record is checked as a one-element array.
    const QJsonArray records = document.isArray() ? document.array() : QJsonArray{document.object()};
    if (const QString tooMuch = exchange_files::checkPresetLimits(records); !tooMuch.isEmpty())
        return {{}, importPrefix + QStringLiteral("the file holds ") + tooMuch};
    auto presets = gradient_presets::presetsFromJson(records);
    if (!presets)
        return {{}, undecodable};
    return {std::move(*presets), {}};
}

ExchangeResult exportAllCustomToFile(const AppSettings &settings, const QString &path)
{
    std::vector<GradientPreset> custom;
    std::copy_if(settings.gradientPresets().begin(), settings.gradientPresets().end(), std::back_inserter(custom),
                 [](const GradientPreset &preset) { return !preset.isBuiltIn; });
    return writeGradientJson(gradient_presets::encodeJson(custom), path,
                             QStringLiteral("Failed to export gradients: "));
}

ExchangeResult exportPresetToFile(const GradientPreset &preset, const QString &path)
{
    return writeGradientJson(gradient_presets::encodeJson(preset), path, QStringLiteral("Failed to export gradient: "));
}

GradientImportResult importFiles(AppSettings &settings, const QStringList &paths)
{
    GradientImportResult result;
    for (const QString &path : paths) {
        QString error;
        const auto json = exchange_files::readFile(path, error);
        if (!json) {
            result.failures.push_back({path, exchange_files::fail(importPrefix + error).failure});
            continue;
        }
        DecodedGradients decoded = decode(*json);
        if (!decoded.failure.isEmpty()) {
            result.failures.push_back({path, exchange_files::fail(decoded.failure).failure});
            continue;
        }
        settings.appendImportedGradients(decoded.presets);
        result.importedCount += static_cast<int>(decoded.presets.size());
    }
    return result;
}

QString proposedFileName(const GradientPreset &preset)
{
    QString name = QString::fromStdString(preset.name).trimmed();
    // A slash would turn the name into a path; a leading dot would hide the file.
    name.replace(QLatin1Char('/'), QLatin1Char('-'));
    while (name.startsWith(QLatin1Char('.')))
        name.remove(0, 1);
    if (name.isEmpty())
        name = QStringLiteral("Gradient");
    return name + QLatin1Char('.') + QLatin1StringView(fileSuffix);
}

} // namespace gradient_exchange
