#include "views/qt/MeterValuesJson.h"

#include <QJsonArray>

#include <array>
#include <utility>

namespace {

template <typename T> using Field = std::pair<const char *, T MeterValues::*>;

constexpr std::array<Field<float>, 6> levelFields = {{
    {"peakLevelLeft", &MeterValues::peakLevelLeft},
    {"peakLevelRight", &MeterValues::peakLevelRight},
    {"rmsLevelLeft", &MeterValues::rmsLevelLeft},
    {"rmsLevelRight", &MeterValues::rmsLevelRight},
    {"maxPeakLeft", &MeterValues::maxPeakLeft},
    {"maxPeakRight", &MeterValues::maxPeakRight},
}};

constexpr std::array<Field<double>, 6> loudnessFields = {{
    {"momentaryLUFS", &MeterValues::momentaryLUFS},
    {"shortTermLUFS", &MeterValues::shortTermLUFS},
    {"integratedLUFS", &MeterValues::integratedLUFS},
    {"loudnessRange", &MeterValues::loudnessRange},
    {"truePeakLeft", &MeterValues::truePeakLeft},
    {"truePeakRight", &MeterValues::truePeakRight},
}};

// Reads an array of two-number arrays; false when any entry has another shape.
template <typename PointT> bool readPairs(const QJsonValue &value, std::vector<PointT> &out)
{
    if (!value.isArray()) return false;
    std::vector<PointT> points;
    for (const QJsonValue &entry : value.toArray()) {
        const QJsonArray pair = entry.toArray();
        if (pair.size() != 2 || !pair[0].isDouble() || !pair[1].isDouble()) return false;
        PointT p;
        p.x = static_cast<decltype(p.x)>(pair[0].toDouble());
        p.y = static_cast<decltype(p.y)>(pair[1].toDouble());
        points.push_back(p);
    }
    out = std::move(points);
    return true;
}

} // namespace

QString readMeterValuesJson(const QJsonObject &object, MeterValues &values)
{
    for (const auto &[name, member] : levelFields) {
        if (!object.contains(QLatin1String(name))) continue;
        const QJsonValue v = object.value(QLatin1String(name));
        if (!v.isDouble()) return QStringLiteral("\"%1\" must be a number").arg(QLatin1String(name));
        values.*member = static_cast<float>(v.toDouble());
    }
    for (const auto &[name, member] : loudnessFields) {
        if (!object.contains(QLatin1String(name))) continue;
        const QJsonValue v = object.value(QLatin1String(name));
        if (!v.isDouble()) return QStringLiteral("\"%1\" must be a number").arg(QLatin1String(name));
        values.*member = v.toDouble();
    }
    if (object.contains(QLatin1String("spectralBands"))) {
        const QJsonValue v = object.value(QLatin1String("spectralBands"));
        if (!v.isArray()) return QStringLiteral("\"spectralBands\" must be an array of numbers");
        std::vector<float> bands;
        for (const QJsonValue &band : v.toArray()) {
            if (!band.isDouble()) return QStringLiteral("\"spectralBands\" must be an array of numbers");
            bands.push_back(static_cast<float>(band.toDouble()));
        }
        values.spectralBands = std::move(bands);
    }
    if (object.contains(QLatin1String("spectralSplinePoints")) &&
        !readPairs(object.value(QLatin1String("spectralSplinePoints")), values.spectralSplinePoints))
        return QStringLiteral("\"spectralSplinePoints\" must be an array of [x, y] pairs");
    if (object.contains(QLatin1String("lissajousPoints")) &&
        !readPairs(object.value(QLatin1String("lissajousPoints")), values.lissajousPoints))
        return QStringLiteral("\"lissajousPoints\" must be an array of [left, right] pairs");
    return {};
}
