#include "settings/GradientPresetJson.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QString>

#include <charconv>
#include <cmath>
#include <limits>

namespace {

// Shortest text that reads back as the same value; nullopt for NaN and infinity,
// which JSON cannot carry.
template <typename Number>
std::optional<std::string> numberText(Number value)
{
    if (!std::isfinite(value))
        return std::nullopt;
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

// A float level as the double with the same shortest text, so Qt's writer prints
// "-35.6234" rather than the widened "-35.62339782714844".
double levelAsDouble(float levelDb)
{
    const auto text = numberText(levelDb);
    return text ? std::strtod(text->c_str(), nullptr) : static_cast<double>(levelDb);
}

void appendQuoted(std::string &out, const std::string &text)
{
    out += '"';
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (byte < 0x20) {
                constexpr char hex[] = "0123456789abcdef";
                out += "\\u00";
                out += hex[byte >> 4];
                out += hex[byte & 0xF];
            } else {
                out += c; // UTF-8 passes through unchanged
            }
        }
    }
    out += '"';
}

bool appendNumber(std::string &out, const char *key, auto value)
{
    const auto text = numberText(value);
    if (!text)
        return false;
    out += ",\"";
    out += key;
    out += "\":";
    out += *text;
    return true;
}

bool appendStop(std::string &out, const GradientColorStop &stop)
{
    out += "{\"id\":";
    appendQuoted(out, stop.id.toString());
    if (!appendNumber(out, "levelDb", stop.levelDb) || !appendNumber(out, "red", stop.red) ||
        !appendNumber(out, "green", stop.green) || !appendNumber(out, "blue", stop.blue))
        return false;
    out += stop.blend ? ",\"blend\":true}" : ",\"blend\":false}";
    return true;
}

bool appendPreset(std::string &out, const GradientPreset &preset)
{
    out += "{\"id\":";
    appendQuoted(out, preset.id.toString());
    out += ",\"name\":";
    appendQuoted(out, preset.name);
    out += ",\"stops\":[";
    for (std::size_t i = 0; i < preset.stops.size(); ++i) {
        if (i > 0)
            out += ',';
        if (!appendStop(out, preset.stops[i]))
            return false;
    }
    out += preset.isBuiltIn ? "],\"isBuiltIn\":true}" : "],\"isBuiltIn\":false}";
    return true;
}

std::optional<Uuid> uuidField(const QJsonObject &object, const char *key)
{
    const QJsonValue value = object.value(QLatin1StringView(key));
    if (!value.isString())
        return std::nullopt;
    return Uuid::fromString(value.toString().toStdString());
}

std::optional<double> doubleField(const QJsonObject &object, const char *key)
{
    const QJsonValue value = object.value(QLatin1StringView(key));
    if (!value.isDouble())
        return std::nullopt;
    return value.toDouble();
}

std::optional<bool> boolField(const QJsonObject &object, const char *key)
{
    const QJsonValue value = object.value(QLatin1StringView(key));
    if (!value.isBool())
        return std::nullopt;
    return value.toBool();
}

std::optional<GradientColorStop> stopFromJson(const QJsonValue &value)
{
    if (!value.isObject())
        return std::nullopt;
    const QJsonObject object = value.toObject();
    const auto id = uuidField(object, "id");
    const auto level = doubleField(object, "levelDb");
    const auto red = doubleField(object, "red");
    const auto green = doubleField(object, "green");
    const auto blue = doubleField(object, "blue");
    const auto blend = boolField(object, "blend");
    if (!id || !level || !red || !green || !blue || !blend)
        return std::nullopt;
    // A level that does not fit a 32-bit float is no valid level.
    if (std::fabs(*level) > static_cast<double>(std::numeric_limits<float>::max()))
        return std::nullopt;
    return GradientColorStop{*id, static_cast<float>(*level), *red, *green, *blue, *blend};
}

std::optional<QJsonDocument> parseDocument(std::string_view json)
{
    QJsonParseError error;
    const QJsonDocument document =
        QJsonDocument::fromJson(QByteArray(json.data(), static_cast<qsizetype>(json.size())), &error);
    if (error.error != QJsonParseError::NoError)
        return std::nullopt;
    return document;
}

} // namespace

namespace gradient_presets {

std::string encodeJson(const std::vector<GradientPreset> &presets)
{
    std::string out = "[";
    for (std::size_t i = 0; i < presets.size(); ++i) {
        if (i > 0)
            out += ',';
        if (!appendPreset(out, presets[i]))
            return {};
    }
    out += ']';
    return out;
}

std::string encodeJson(const GradientPreset &preset)
{
    std::string out;
    if (!appendPreset(out, preset))
        return {};
    return out;
}

std::optional<std::vector<GradientPreset>> decodeJson(std::string_view json)
{
    const auto document = parseDocument(json);
    if (!document || !document->isArray())
        return std::nullopt;
    return presetsFromJson(document->array());
}

std::optional<GradientPreset> decodePresetJson(std::string_view json)
{
    const auto document = parseDocument(json);
    if (!document || !document->isObject())
        return std::nullopt;
    return presetFromJson(document->object());
}

QJsonObject toJsonObject(const GradientPreset &preset)
{
    QJsonArray stops;
    for (const GradientColorStop &stop : preset.stops) {
        stops.append(QJsonObject{
            {QStringLiteral("id"), QString::fromStdString(stop.id.toString())},
            {QStringLiteral("levelDb"), levelAsDouble(stop.levelDb)},
            {QStringLiteral("red"), stop.red},
            {QStringLiteral("green"), stop.green},
            {QStringLiteral("blue"), stop.blue},
            {QStringLiteral("blend"), stop.blend},
        });
    }
    return QJsonObject{
        {QStringLiteral("id"), QString::fromStdString(preset.id.toString())},
        {QStringLiteral("name"), QString::fromStdString(preset.name)},
        {QStringLiteral("stops"), stops},
        {QStringLiteral("isBuiltIn"), preset.isBuiltIn},
    };
}

std::optional<GradientPreset> presetFromJson(const QJsonValue &value)
{
    if (!value.isObject())
        return std::nullopt;
    const QJsonObject object = value.toObject();
    const auto id = uuidField(object, "id");
    const QJsonValue name = object.value(QLatin1StringView("name"));
    const QJsonValue stops = object.value(QLatin1StringView("stops"));
    const auto isBuiltIn = boolField(object, "isBuiltIn");
    if (!id || !name.isString() || !stops.isArray() || !isBuiltIn)
        return std::nullopt;

    GradientPreset preset;
    preset.id = *id;
    preset.name = name.toString().toStdString();
    preset.isBuiltIn = *isBuiltIn;
    for (const QJsonValue &stopValue : stops.toArray()) {
        auto stop = stopFromJson(stopValue);
        if (!stop)
            return std::nullopt;
        preset.stops.push_back(*stop);
    }
    return preset;
}

std::optional<std::vector<GradientPreset>> presetsFromJson(const QJsonValue &value)
{
    if (!value.isArray())
        return std::nullopt;
    std::vector<GradientPreset> presets;
    for (const QJsonValue &element : value.toArray()) {
        auto preset = presetFromJson(element);
        if (!preset)
            return std::nullopt;
        presets.push_back(std::move(*preset));
    }
    return presets;
}

} // namespace gradient_presets
