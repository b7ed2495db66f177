#include "settings/AppSettings.h"

#include <QCoreApplication>

#include <algorithm>
#include <cmath>

namespace {

template <typename T>
std::optional<T> readStored(const DefaultsStore &store, const QString &key);

template <>
std::optional<QString> readStored<QString>(const DefaultsStore &store, const QString &key)
{
    return store.readString(key);
}

template <>
std::optional<double> readStored<double>(const DefaultsStore &store, const QString &key)
{
    return store.readDouble(key);
}

template <>
std::optional<qint64> readStored<qint64>(const DefaultsStore &store, const QString &key)
{
    return store.readInt(key);
}

template <>
std::optional<bool> readStored<bool>(const DefaultsStore &store, const QString &key)
{
    return store.readBool(key);
}

template <>
std::optional<QByteArray> readStored<QByteArray>(const DefaultsStore &store, const QString &key)
{
    return store.readData(key);
}

void writeStored(DefaultsStore &store, const QString &key, const QString &value) { store.writeString(key, value); }
void writeStored(DefaultsStore &store, const QString &key, double value) { store.writeDouble(key, value); }
void writeStored(DefaultsStore &store, const QString &key, qint64 value) { store.writeInt(key, value); }
void writeStored(DefaultsStore &store, const QString &key, bool value) { store.writeBool(key, value); }
void writeStored(DefaultsStore &store, const QString &key, const QByteArray &value) { store.writeData(key, value); }

// A colour component as it may be stored: inside 0..1, and 0 for anything that is no number.
double colorComponent(double value)
{
    return std::isfinite(value) ? std::clamp(value, 0.0, 1.0) : 0.0;
}

const QString processTapVersionKey = QStringLiteral("processTapSettingsVersion");
const QString processTapDeterministicKey = QStringLiteral("processTapDeterministic");
const QString processTapMixdownAutoKey = QStringLiteral("processTapMixdownAuto");

} // namespace

QByteArray factoryCustomGradientsData()
{
    static const QByteArray data =
        QByteArray::fromStdString(gradient_presets::encodeJson(gradient_presets::factoryCustomPresets()));
    return data;
}

AppSettings::AppSettings(std::shared_ptr<DefaultsStore> store, QObject *parent)
    : QObject(parent), store_(std::move(store))
{
    // Defaults live in the settings table and apply while a key is absent, so nothing
    // is written for them here. The gradient caches start empty (member initialisers).
    runProcessTapMigration();
    loadGradients();
}

AppSettings::~AppSettings() = default;

AppSettings &AppSettings::shared()
{
    static AppSettings *const instance = [] {
        // Never destroyed: the settings object lives as long as the process. Pending
        // writes reach the file through QSettings' own deferred sync and at quit.
        auto *settings = new AppSettings(std::make_shared<QSettingsDefaultsStore>());
        if (QCoreApplication *app = QCoreApplication::instance())
            QObject::connect(app, &QCoreApplication::aboutToQuit, settings, [settings] { settings->store().sync(); });
        return settings;
    }();
    return *instance;
}

#define KELVRA_DEFINE_SETTING(type, name, setter, key, defaultValue)                                              \
    type AppSettings::name() const                                                                                \
    {                                                                                                             \
        if (auto stored = readStored<type>(*store_, QStringLiteral(key)))                                         \
            return *stored;                                                                                       \
        return defaultValue;                                                                                      \
    }                                                                                                             \
    void AppSettings::setter(const type &value)                                                                   \
    {                                                                                                             \
        writeStored(*store_, QStringLiteral(key), value);                                                         \
        emit changed();                                                                                           \
    }
KELVRA_SETTINGS(KELVRA_DEFINE_SETTING)
#undef KELVRA_DEFINE_SETTING

const std::vector<QString> &AppSettings::settingKeys()
{
#define KELVRA_SETTING_KEY(type, name, setter, key, defaultValue) QStringLiteral(key),
    static const std::vector<QString> keys{KELVRA_SETTINGS(KELVRA_SETTING_KEY)};
#undef KELVRA_SETTING_KEY
    return keys;
}

void AppSettings::runProcessTapMigration()
{
    // Works on the store directly: these are one-off upgrades of old stores, not user
    // changes, so nobody needs to hear about them.
    if (store_->readInt(processTapVersionKey).value_or(0) < 1) {
        store_->writeBool(processTapDeterministicKey, false);
        store_->writeInt(processTapVersionKey, 1);
    }
    if (store_->readInt(processTapVersionKey).value_or(0) < 2) {
        store_->writeBool(processTapMixdownAutoKey, true);
        store_->writeInt(processTapVersionKey, 2);
    }
}

MeterScale AppSettings::selectedMeterScale() const
{
    return meter_scale::fromRawValueOrDefault(selectedMeterScaleRaw().toStdString());
}

void AppSettings::setSelectedMeterScale(MeterScale scale)
{
    const std::string_view raw = meter_scale::rawValue(scale);
    store_->writeString(QStringLiteral("selectedMeterScale"),
                        QString::fromUtf8(raw.data(), static_cast<qsizetype>(raw.size())));
    emit changed();
}

float AppSettings::effectiveMinDb() const
{
    return useCustomRange() ? static_cast<float>(meterRangeMin()) : meter_scale::minDb(selectedMeterScale());
}

float AppSettings::effectiveMaxDb() const
{
    return useCustomRange() ? static_cast<float>(meterRangeMax()) : meter_scale::maxDb(selectedMeterScale());
}

const GradientPreset *AppSettings::findPreset(const Uuid &id) const
{
    const auto it = std::find_if(gradientPresets_.begin(), gradientPresets_.end(),
                                 [&id](const GradientPreset &preset) { return preset.id == id; });
    return it == gradientPresets_.end() ? nullptr : &*it;
}

const GradientPreset *AppSettings::findPreset(const QString &idText) const
{
    const auto id = Uuid::fromString(idText.toStdString());
    return id ? findPreset(*id) : nullptr;
}

std::optional<GradientPreset> AppSettings::gradientPreset(const Uuid &id) const
{
    if (const GradientPreset *preset = findPreset(id))
        return *preset;
    return std::nullopt;
}

const GradientPreset &AppSettings::selectedGradientRef() const
{
    if (const GradientPreset *preset = findPreset(selectedGradientIdString()))
        return *preset;
    if (!gradientPresets_.empty())
        return gradientPresets_.front();
    return gradient_presets::builtIns().front();
}

const GradientPreset &AppSettings::gradientFor(bool useSame, const QString &idText) const
{
    if (!useSame) {
        if (const GradientPreset *preset = findPreset(idText))
            return *preset;
    }
    return selectedGradientRef();
}

GradientPreset AppSettings::selectedGradient() const
{
    return selectedGradientRef();
}

GradientPreset AppSettings::spectralGradient() const
{
    return gradientFor(spectralUseSameGradient(), spectralGradientIdString());
}

GradientPreset AppSettings::lissajousGradient() const
{
    return gradientFor(lissajousUseSameGradient(), lissajousGradientIdString());
}

void AppSettings::chooseGradient(const QString &tagOrId, const char *idKey, const char *useSameKey)
{
    if (tagOrId == QLatin1String(sameGradientTag)) {
        store_->writeBool(QLatin1String(useSameKey), true);
    } else {
        store_->writeString(QLatin1String(idKey), tagOrId);
        store_->writeBool(QLatin1String(useSameKey), false);
    }
    emit changed();
}

void AppSettings::chooseSpectralGradient(const QString &tagOrId)
{
    chooseGradient(tagOrId, "spectralGradientId", "spectralUseSameGradient");
}

void AppSettings::chooseLissajousGradient(const QString &tagOrId)
{
    chooseGradient(tagOrId, "lissajousGradientId", "lissajousUseSameGradient");
}

RgbColor AppSettings::backgroundColor() const
{
    return {colorComponent(backgroundRed()), colorComponent(backgroundGreen()), colorComponent(backgroundBlue()),
            1.0};
}

void AppSettings::setBackgroundColor(const RgbColor &color)
{
    // Linux desktops have no separate device colour space to convert into: Qt paints
    // in sRGB, so the components are stored as given. Only values that no colour can
    // have are made safe (clamped to 0..1, NaN and infinity become 0).
    store_->writeDouble(QStringLiteral("backgroundRed"), colorComponent(color.red));
    store_->writeDouble(QStringLiteral("backgroundGreen"), colorComponent(color.green));
    store_->writeDouble(QStringLiteral("backgroundBlue"), colorComponent(color.blue));
    emit changed();
}

std::optional<BroadcastPreset> AppSettings::selectedBroadcastPreset() const
{
    return broadcast::selectedPreset(showBroadcastPreset(), selectedBroadcastPresetName().toStdString());
}

DrawableGradient AppSettings::cachedLinearGradient()
{
    return cachedBarGradient(cachedLinearGradient_, BarGradientKind::Linear);
}

DrawableGradient AppSettings::cachedRmsGradient()
{
    return cachedBarGradient(cachedRmsGradient_, BarGradientKind::Rms);
}

// Both caches share one key, and that is kept on purpose: after a change of gradient
// or range, whichever cache is read first rebuilds and moves the key on; the other
// then finds the key equal and returns its older gradient until the key changes again.
DrawableGradient AppSettings::cachedBarGradient(std::optional<DrawableGradient> &cache, BarGradientKind kind)
{
    const GradientPreset &preset = selectedGradientRef();
    const GradientCacheKey key{preset.id, effectiveMinDb(), effectiveMaxDb()};
    if (cache && gradientCacheKey_ == key)
        return *cache;
    cache = kind == BarGradientKind::Linear ? preset.linearGradient(key.minDb, key.maxDb)
                                            : preset.rmsGradient(key.minDb, key.maxDb);
    gradientCacheKey_ = key;
    return *cache;
}
