#include "cli/Modes.h"

#include "engine/dsp/BandSmoothing.h"
#include "engine/dsp/CatmullRomSpline.h"
#include "settings/AppSettings.h"
#include "settings/DefaultsStore.h"
#include "settings/Uuid.h"
#include "views/qt/MeterValuesJson.h"
#include "views/qt/ViewRenderer.h"
#include "views/qt/ViewSettingsFromAppSettings.h"

#include <QCommandLineParser>
#include <QFile>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

// kelvrameters render-view NAME --state FILE.json --out FILE.png [--scale S]
//              [--width W --height H]
// Draws one view offscreen from a saved state. The state file holds MeterValues
// fields at the top level, an optional "settings" object of AppSettings keys (applied
// to an in-memory store, never the user's settings) and an optional "view" object
// ("hovering", "engineRunning", "time" in seconds). When only "spectralBands" is
// given, the spectrum curve is computed from them as the engine does.

namespace {

constexpr int curveSegmentsPerBand = 4; // as the engine's display tick draws the spectrum curve
constexpr std::array<const char *, 3> gradientIdKeys = {"selectedGradientId", "spectralGradientId",
                                                         "lissajousGradientId"};

using cli::printError;

bool isGradientIdKey(const QString &key)
{
    return std::any_of(gradientIdKeys.begin(), gradientIdKeys.end(),
                       [&key](const char *k) { return key == QLatin1String(k); });
}

// Gradient ids may be given by preset name, since built-in ids change at every start.
struct GradientByName {
    QString key;
    QString name;
};

QString writeOverrides(const QJsonObject &overrides, DefaultsStore &store, std::vector<GradientByName> &byName)
{
    const std::vector<QString> &keys = AppSettings::settingKeys();
    for (auto it = overrides.begin(); it != overrides.end(); ++it) {
        const QString key = it.key();
        if (std::find(keys.begin(), keys.end(), key) == keys.end())
            return QStringLiteral("unknown setting \"%1\"").arg(key);
        const QJsonValue value = it.value();
        if (isGradientIdKey(key) && value.isString() && !Uuid::fromString(value.toString().toStdString())) {
            byName.push_back({key, value.toString()});
        } else if (key == QLatin1String("customGradientsData") && value.isString()) {
            store.writeData(key, value.toString().toUtf8());
        } else if (value.isBool()) {
            store.writeBool(key, value.toBool());
        } else if (value.isString()) {
            store.writeString(key, value.toString());
        } else if (value.isDouble()) {
            const double number = value.toDouble();
            if (number == std::trunc(number) && std::abs(number) < 1e15)
                store.writeInt(key, static_cast<qint64>(number));
            else
                store.writeDouble(key, number);
        } else {
            return QStringLiteral("setting \"%1\" must be a boolean, number or string").arg(key);
        }
    }
    return {};
}

QString applyGradientNames(const std::vector<GradientByName> &byName, AppSettings &settings)
{
    for (const GradientByName &entry : byName) {
        const auto &presets = settings.gradientPresets();
        const auto found = std::find_if(presets.begin(), presets.end(), [&entry](const GradientPreset &p) {
            return QString::fromStdString(p.name) == entry.name;
        });
        if (found == presets.end()) return QStringLiteral("no gradient preset named \"%1\"").arg(entry.name);
        settings.store().writeString(entry.key, QString::fromStdString(found->id.toString()));
    }
    return {};
}

const QCommandLineOption stateOption(QStringLiteral("state"), QStringLiteral("Meter and settings state (JSON)."),
                                     QStringLiteral("FILE"));
const QCommandLineOption outOption(QStringLiteral("out"), QStringLiteral("PNG file to write."), QStringLiteral("FILE"));
const QCommandLineOption scaleOption(QStringLiteral("scale"), QStringLiteral("Device pixels per point (default 2)."),
                                     QStringLiteral("S"), QStringLiteral("2"));
const QCommandLineOption widthOption(QStringLiteral("width"), QStringLiteral("Width in points."), QStringLiteral("W"));
const QCommandLineOption heightOption(QStringLiteral("height"), QStringLiteral("Height in points."),
                                      QStringLiteral("H"));

void addOptions(QCommandLineParser &parser)
{
    parser.addOptions({stateOption, outOption, scaleOption, widthOption, heightOption});
}

int run(const cli::Invocation &invocation)
{
    const QCommandLineParser &parser = invocation.parser;
    QStringList names;
    for (std::string_view name : viewNames()) names << QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size()));
    const QString viewName = invocation.argument();
    const std::optional<ViewKind> kind = viewKindFromName(viewName.toStdString());
    if (!kind)
        return invocation.usageError(QStringLiteral("no view is named \"%1\"; NAME is one of: %2")
                                         .arg(viewName, names.join(QStringLiteral(", "))));
    if (!parser.isSet(outOption)) return invocation.usageError(QStringLiteral("--out FILE.png is missing"));
    bool scaleOk = false;
    const double scale = parser.value(scaleOption).toDouble(&scaleOk);
    if (!scaleOk || !(scale > 0.0) || scale > 8.0)
        return invocation.usageError(QStringLiteral("--scale must be a number above 0 and at most 8"));

    // Rendering never needs a display.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    // Fonts need a GUI application object; a caller that has one (a test) keeps it.
    std::unique_ptr<QGuiApplication> ownApp;
    if (!QCoreApplication::instance()) ownApp = std::make_unique<QGuiApplication>(invocation.argc, invocation.argv);

    QJsonObject state;
    if (parser.isSet(stateOption)) {
        QFile file(parser.value(stateOption));
        if (!file.open(QIODevice::ReadOnly)) {
            printError(QStringLiteral("cannot read %1: %2").arg(file.fileName(), file.errorString()));
            return 1;
        }
        QJsonParseError parseError;
        const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parseError);
        if (!document.isObject()) {
            printError(QStringLiteral("%1 is not a JSON object: %2").arg(file.fileName(), parseError.errorString()));
            return 1;
        }
        state = document.object();
    }

    ViewFrame frame;
    if (const QString error = readMeterValuesJson(state, frame.values); !error.isEmpty()) {
        printError(error);
        return 1;
    }
    auto store = std::make_shared<MemoryDefaultsStore>();
    std::vector<GradientByName> byName;
    if (const QString error = writeOverrides(state.value(QStringLiteral("settings")).toObject(), *store, byName);
        !error.isEmpty()) {
        printError(error);
        return 1;
    }
    AppSettings settings(store);
    if (const QString error = applyGradientNames(byName, settings); !error.isEmpty()) {
        printError(error);
        return 1;
    }
    frame.levelMeter = levelMeterSettings(settings);
    frame.numericalMeter = numericalMeterSettings(settings);
    // States may give only the bands; the curve is then made the way the engine makes it.
    if (state.contains(QStringLiteral("spectralBands")) && !state.contains(QStringLiteral("spectralSplinePoints"))) {
        frame.values.spectralSplinePoints = CatmullRomSpline::interpolate(
            spectrumControlPoints(frame.values.spectralBands, frame.levelMeter.spectrum.minDb,
                                  frame.levelMeter.spectrum.maxDb),
            curveSegmentsPerBand);
    }
    const QJsonObject view = state.value(QStringLiteral("view")).toObject();
    frame.numericalState.isHovering = view.value(QStringLiteral("hovering")).toBool(false);
    frame.numericalState.engineRunning = view.value(QStringLiteral("engineRunning")).toBool(true);
    frame.nowSeconds = view.value(QStringLiteral("time")).toDouble(0.0);

    Size size = defaultViewSize(*kind, frame);
    if (parser.isSet(widthOption)) size.width = parser.value(widthOption).toDouble();
    if (parser.isSet(heightOption)) size.height = parser.value(heightOption).toDouble();
    if (!(size.width >= 1.0 && size.height >= 1.0 && size.width <= 4000.0 && size.height <= 4000.0))
        return invocation.usageError(QStringLiteral("--width and --height must lie between 1 and 4000 points"));

    const QImage image = renderView(*kind, size, scale, frame);
    const QString out = parser.value(outOption);
    if (!image.save(out, "PNG")) {
        printError(QStringLiteral("cannot write %1").arg(out));
        return 1;
    }
    return 0;
}

} // namespace

const cli::Mode cli::renderViewMode{
    "render-view", "--render-view", "NAME", 1, "Draw one meter view from a saved state into a PNG.",
    "The state file holds meter values at the top level, an optional \"settings\" object of setting\n"
    "keys (never written to the user's settings) and an optional \"view\" object (\"hovering\",\n"
    "\"engineRunning\", \"time\"). See docs/images/states/ for examples.",
    addOptions, run};
