#include "settings/SettingsExchange.h"

#include "settings/AppSettings.h"
#include "settings/GradientPresetJson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QJsonValue>

#include <algorithm>
#include <cmath>

namespace {

const QString exportPrefix = QStringLiteral("Failed to export settings: ");
const QString importPrefix = QStringLiteral("Failed to import settings: ");

// Integers beyond 2^53 cannot be told apart from their neighbours once read as JSON numbers.
constexpr double largestExactInteger = 9007199254740992.0;

bool isFinite(double value) { return std::isfinite(value); }
bool isFinite(bool) { return true; }
bool isFinite(qint64) { return true; }
bool isFinite(const QString &) { return true; }

bool hasFiniteNumbers(const GradientPreset &preset)
{
    return std::all_of(preset.stops.begin(), preset.stops.end(), [](const GradientColorStop &stop) {
        return std::isfinite(stop.levelDb) && std::isfinite(stop.red) && std::isfinite(stop.green) &&
               std::isfinite(stop.blue);
    });
}

QString quoted(const char *key)
{
    return QLatin1Char('"') + QLatin1StringView(key) + QLatin1Char('"');
}

// Reads typed values out of the file's top-level object and keeps the first failure,
// so every key is checked with one line and the decoder reports one clear reason.
class FieldReader {
public:
    explicit FieldReader(const QJsonObject &object) : object_(object) {}

    template <typename T>
    std::optional<T> required(const char *key)
    {
        if (!failure_.isEmpty())
            return std::nullopt;
        const QJsonValue value = object_.value(QLatin1StringView(key));
        if (value.isUndefined()) {
            failure_ = QStringLiteral("the required key %1 is missing").arg(quoted(key));
            return std::nullopt;
        }
        return read<T>(key, value);
    }

    template <typename T>
    std::optional<T> optional(const char *key)
    {
        if (!failure_.isEmpty())
            return std::nullopt;
        const QJsonValue value = object_.value(QLatin1StringView(key));
        if (value.isUndefined())
            return std::nullopt;
        return read<T>(key, value);
    }

    const QString &failure() const { return failure_; }
    void setFailure(const QString &failure)
    {
        if (failure_.isEmpty())
            failure_ = failure;
    }

private:
    template <typename T>
    std::optional<T> read(const char *key, const QJsonValue &value)
    {
        std::optional<T> result = convert<T>(value);
        if (!result)
            setFailure(QStringLiteral("%1 must be %2").arg(quoted(key), expectation<T>()));
        return result;
    }

    template <typename T>
    static std::optional<T> convert(const QJsonValue &value)
    {
        if constexpr (std::is_same_v<T, bool>) {
            if (value.isBool())
                return value.toBool();
        } else if constexpr (std::is_same_v<T, double>) {
            if (value.isDouble() && std::isfinite(value.toDouble()))
                return value.toDouble();
        } else if constexpr (std::is_same_v<T, qint64>) {
            const double number = value.toDouble();
            if (value.isDouble() && std::trunc(number) == number && std::fabs(number) <= largestExactInteger)
                return static_cast<qint64>(number);
        } else {
            static_assert(std::is_same_v<T, QString>);
            if (value.isString() && value.toString().size() <= exchange_files::maxTextLength)
                return value.toString();
        }
        return std::nullopt;
    }

    template <typename T>
    static QString expectation()
    {
        if constexpr (std::is_same_v<T, bool>)
            return QStringLiteral("true or false");
        else if constexpr (std::is_same_v<T, double>)
            return QStringLiteral("a number");
        else if constexpr (std::is_same_v<T, qint64>)
            return QStringLiteral("a whole number");
        else
            return QStringLiteral("text of at most %1 characters").arg(exchange_files::maxTextLength);
    }

    const QJsonObject &object_;
    QString failure_;
};

std::optional<std::vector<GradientPreset>> readGradients(const QJsonObject &object, FieldReader &reader)
{
    if (!reader.failure().isEmpty())
        return std::nullopt;
    const QJsonValue value = object.value(QLatin1StringView("gradients"));
    if (value.isUndefined()) {
        reader.setFailure(QStringLiteral("the required key \"gradients\" is missing"));
        return std::nullopt;
    }
    if (!value.isArray()) {
        reader.setFailure(QStringLiteral("\"gradients\" must be an array of gradient presets"));
        return std::nullopt;
    }
    if (const QString tooMuch = exchange_files::checkPresetLimits(value.toArray()); !tooMuch.isEmpty()) {
        reader.setFailure(QStringLiteral("\"gradients\" holds %1").arg(tooMuch));
        return std::nullopt;
    }
    auto presets = gradient_presets::presetsFromJson(value);
    if (!presets)
        reader.setFailure(QStringLiteral("\"gradients\" holds an entry that is no valid gradient preset"));
    return presets;
}

std::optional<QString> idOfPresetNamed(const AppSettings &settings, const QString &name)
{
    const std::string wanted = name.toStdString();
    for (const GradientPreset &preset : settings.gradientPresets()) {
        if (preset.name == wanted)
            return QString::fromStdString(preset.id.toString());
    }
    return std::nullopt;
}

bool contains(const std::vector<QString> &names, const QString &name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

} // namespace

namespace settings_exchange {

ExportableSettings exportableSettings(const AppSettings &settings)
{
    ExportableSettings record;
    record.version = currentVersion;
    for (const GradientPreset &preset : settings.gradientPresets()) {
        if (preset.isBuiltIn)
            continue;
        GradientPreset copy = preset;
        copy.id = Uuid::createRandom();
        copy.isBuiltIn = false;
        std::stable_sort(copy.stops.begin(), copy.stops.end(),
                         [](const GradientColorStop &a, const GradientColorStop &b) { return a.levelDb < b.levelDb; });
        record.gradients.push_back(std::move(copy));
    }
    record.selectedGradientName = QString::fromStdString(settings.selectedGradient().name);
    record.spectralGradientName = QString::fromStdString(settings.spectralGradient().name);
    record.lissajousGradientName = QString::fromStdString(settings.lissajousGradient().name);
    const std::string_view scale = meter_scale::rawValue(settings.selectedMeterScale());
    record.selectedMeterScale = QString::fromUtf8(scale.data(), static_cast<qsizetype>(scale.size()));
    record.meterBallisticsMode = settings.meterBallisticsModeString();
    record.spectralOctaveResolution = settings.spectralOctaveResolutionString();
    record.lissajousPlacement = settings.lissajousPlacement();
#define KELVRA_EXPORT_VALUE(type, key, setter, requirement) record.key = settings.key();
    KELVRA_EXCHANGED_VALUES(KELVRA_EXPORT_VALUE)
#undef KELVRA_EXPORT_VALUE
    return record;
}

std::optional<QByteArray> encode(const ExportableSettings &record, QString &error)
{
    QJsonObject object;
    object.insert(QStringLiteral("version"), QJsonValue(record.version));
    QJsonArray gradients;
    for (const GradientPreset &preset : record.gradients) {
        if (!hasFiniteNumbers(preset)) {
            error = QStringLiteral("the gradient \"%1\" holds a stop that is not a finite number")
                        .arg(QString::fromStdString(preset.name));
            return std::nullopt;
        }
        gradients.append(gradient_presets::toJsonObject(preset));
    }
    object.insert(QStringLiteral("gradients"), gradients);

    auto insertText = [&object](const char *key, const std::optional<QString> &text) {
        if (text)
            object.insert(QLatin1StringView(key), *text);
    };
    insertText("selectedGradientName", record.selectedGradientName);
    insertText("spectralGradientName", record.spectralGradientName);
    insertText("lissajousGradientName", record.lissajousGradientName);
    insertText("selectedMeterScale", record.selectedMeterScale);
    insertText("meterBallisticsMode", record.meterBallisticsMode);
    insertText("spectralOctaveResolution", record.spectralOctaveResolution);
    insertText("lissajousPlacement", record.lissajousPlacement);

#define KELVRA_ENCODE_VALUE(type, key, setter, requirement)                                                         \
    if (record.key) {                                                                                             \
        if (!isFinite(*record.key)) {                                                                             \
            error = QStringLiteral("%1 is not a finite number").arg(quoted(#key));                                \
            return std::nullopt;                                                                                  \
        }                                                                                                         \
        object.insert(QLatin1StringView(#key), QJsonValue(*record.key));                                          \
    }
    KELVRA_EXCHANGED_VALUES(KELVRA_ENCODE_VALUE)
#undef KELVRA_ENCODE_VALUE

    // QJsonObject keeps its keys sorted, nested preset records included.
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

std::optional<ExportableSettings> decode(const QByteArray &json, QString &error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        error = QStringLiteral("not valid JSON (%1 at offset %2)").arg(parseError.errorString()).arg(parseError.offset);
        return std::nullopt;
    }
    if (!document.isObject()) {
        error = QStringLiteral("the file holds no settings object");
        return std::nullopt;
    }
    const QJsonObject object = document.object();
    FieldReader reader(object);

    ExportableSettings record;
    const auto version = reader.required<qint64>("version");
    auto gradients = readGradients(object, reader);
    const auto selectedGradientName = reader.required<QString>("selectedGradientName");
    const auto selectedMeterScale = reader.required<QString>("selectedMeterScale");
    record.spectralGradientName = reader.optional<QString>("spectralGradientName");
    record.lissajousGradientName = reader.optional<QString>("lissajousGradientName");
    record.meterBallisticsMode = reader.optional<QString>("meterBallisticsMode");
    record.spectralOctaveResolution = reader.optional<QString>("spectralOctaveResolution");
    record.lissajousPlacement = reader.optional<QString>("lissajousPlacement");
#define KELVRA_DECODE_VALUE(type, key, setter, requirement) record.key = reader.requirement<type>(#key);
    KELVRA_EXCHANGED_VALUES(KELVRA_DECODE_VALUE)
#undef KELVRA_DECODE_VALUE

    if (!reader.failure().isEmpty()) {
        error = reader.failure();
        return std::nullopt;
    }
    record.version = *version;
    record.gradients = std::move(*gradients);
    record.selectedGradientName = *selectedGradientName;
    record.selectedMeterScale = *selectedMeterScale;
    return record;
}

void apply(AppSettings &settings, const ExportableSettings &record, const EngineEnumerationNames &names)
{
    settings.appendImportedGradients(record.gradients);

    // Names, not ids: built-in ids change at every start, names are the same everywhere.
    // An unknown name keeps the current choice.
    if (const auto id = idOfPresetNamed(settings, record.selectedGradientName))
        settings.setSelectedGradientIdString(*id);
    if (record.spectralGradientName) {
        if (const auto id = idOfPresetNamed(settings, *record.spectralGradientName))
            settings.setSpectralGradientIdString(*id);
    }
    if (record.lissajousGradientName) {
        if (const auto id = idOfPresetNamed(settings, *record.lissajousGradientName))
            settings.setLissajousGradientIdString(*id);
    }

    // Enumeration names from another version or a hand-edited file are not guessed at.
    if (meter_scale::fromRawValue(record.selectedMeterScale.toStdString()))
        settings.setSelectedMeterScaleRaw(record.selectedMeterScale);
    if (record.meterBallisticsMode && contains(names.ballisticsModes, *record.meterBallisticsMode))
        settings.setMeterBallisticsModeString(*record.meterBallisticsMode);
    if (record.spectralOctaveResolution && contains(names.octaveResolutions, *record.spectralOctaveResolution))
        settings.setSpectralOctaveResolutionString(*record.spectralOctaveResolution);
    if (record.lissajousPlacement &&
        (*record.lissajousPlacement == QLatin1String("top") || *record.lissajousPlacement == QLatin1String("bottom")))
        settings.setLissajousPlacement(*record.lissajousPlacement);

#define KELVRA_APPLY_VALUE(type, key, setter, requirement)                                                          \
    if (record.key)                                                                                               \
        settings.setter(*record.key);
    KELVRA_EXCHANGED_VALUES(KELVRA_APPLY_VALUE)
#undef KELVRA_APPLY_VALUE
}

ExchangeResult exportToFile(const AppSettings &settings, const QString &path)
{
    QString error;
    const auto json = encode(exportableSettings(settings), error);
    if (!json || !exchange_files::writeFile(path, *json, error))
        return exchange_files::fail(exportPrefix + error);
    return {};
}

ExchangeResult importFromFile(AppSettings &settings, const QString &path, const EngineEnumerationNames &names)
{
    QString error;
    const auto json = exchange_files::readFile(path, error);
    if (!json)
        return exchange_files::fail(importPrefix + error);
    const auto record = decode(*json, error);
    if (!record)
        return exchange_files::fail(importPrefix + error);
    apply(settings, *record, names);
    return {};
}

} // namespace settings_exchange
