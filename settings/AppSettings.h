#pragma once

#include "settings/BroadcastPreset.h"
#include "settings/Color.h"
#include "settings/DefaultsStore.h"
#include "settings/DrawableGradient.h"
#include "settings/GradientPreset.h"
#include "settings/MeterScale.h"
#include "settings/SettingsTable.h"

#include <QByteArray>
#include <QObject>
#include <QString>

#include <memory>
#include <optional>
#include <string>
#include <vector>

// JSON of the three factory custom gradients: the default of "customGradientsData".
QByteArray factoryCustomGradientsData();

// Key of the two bar-gradient caches; both caches share one key.
struct GradientCacheKey {
    Uuid gradientId;
    float minDb = 0.0f;
    float maxDb = 0.0f;
    friend bool operator==(const GradientCacheKey &, const GradientCacheKey &) = default;
};

// Every user choice, persisted at once under its own key in a DefaultsStore.
// Main thread only: other threads receive copies of the values they need.
class AppSettings : public QObject {
    Q_OBJECT

public:
    // Runs the start-up steps: defaults bound, caches emptied, process-tap migration,
    // gradient presets loaded.
    explicit AppSettings(std::shared_ptr<DefaultsStore> store, QObject *parent = nullptr);
    ~AppSettings() override;

    // The application's instance on the QSettings store, created on first use.
    static AppSettings &shared();

    DefaultsStore &store() const { return *store_; }

    // Stored settings: one getter and one setter per row of the settings table.
    // A getter returns the default while the key is absent or unreadable; a setter
    // stores at once and emits changed().
#define KELVRA_DECLARE_SETTING(type, name, setter, key, defaultValue)                                                 \
    type name() const;                                                                                            \
    void setter(const type &value);
    KELVRA_SETTINGS(KELVRA_DECLARE_SETTING)
#undef KELVRA_DECLARE_SETTING

    // Every persisted key of the table, in declaration order.
    static const std::vector<QString> &settingKeys();

    // Derived values.
    MeterScale selectedMeterScale() const;     // unknown stored text: Final Cut Pro
    void setSelectedMeterScale(MeterScale scale);
    float effectiveMinDb() const;               // custom min, else -60
    float effectiveMaxDb() const;               // custom max, else the scale's top

    GradientPreset selectedGradient() const;    // never fails: falls back to the first preset
    GradientPreset spectralGradient() const;    // "same" flag, stored id, or selectedGradient
    GradientPreset lissajousGradient() const;

    // The gradient pickers offer this tag besides the presets.
    static constexpr const char *sameGradientTag = "same";
    // Picker choice: "same" turns the use-same flag on; a preset's UUID text is stored
    // and turns the flag off.
    void chooseSpectralGradient(const QString &tagOrId);
    void chooseLissajousGradient(const QString &tagOrId);

    RgbColor backgroundColor() const;           // opaque, from the three components
    void setBackgroundColor(const RgbColor &color);

    // The broadcast target the loudness views compare against, if any.
    std::optional<BroadcastPreset> selectedBroadcastPreset() const;

    // Bar gradients for the selected preset and range, cached under one shared key.
    DrawableGradient cachedLinearGradient();
    DrawableGradient cachedRmsGradient();
    std::optional<GradientCacheKey> gradientCacheKey() const { return gradientCacheKey_; }

    // The gradient library: built-ins first, then the user's own presets.
    const std::vector<GradientPreset> &gradientPresets() const { return gradientPresets_; }
    std::optional<GradientPreset> gradientPreset(const Uuid &id) const;
    void loadGradients();
    void saveCustomGradients();
    void addCustomGradient(const GradientPreset &preset);
    // Imported presets: each gets a new id, sorted stops and a name made unique against
    // the list as it grows; the library is saved and observers notified once.
    void appendImportedGradients(const std::vector<GradientPreset> &presets);
    void updateGradient(const GradientPreset &preset);
    void deleteGradient(const GradientPreset &preset);
    GradientPreset duplicateGradient(const GradientPreset &preset) const;
    void renameGradient(const GradientPreset &preset, const std::string &newName);
    std::string makeUniqueName(const std::string &name) const;

signals:
    // Any stored setting or the gradient list changed.
    void changed();

private:
    enum class BarGradientKind { Linear, Rms };

    void runProcessTapMigration();
    // Stores the custom presets without announcing it; callers emit once per operation.
    void storeCustomGradients();
    const GradientPreset *findPreset(const Uuid &id) const;
    const GradientPreset *findPreset(const QString &idText) const;
    const GradientPreset &selectedGradientRef() const;
    const GradientPreset &gradientFor(bool useSame, const QString &idText) const;
    DrawableGradient cachedBarGradient(std::optional<DrawableGradient> &cache, BarGradientKind kind);
    void chooseGradient(const QString &tagOrId, const char *idKey, const char *useSameKey);

    std::shared_ptr<DefaultsStore> store_;                   // where every setting lives
    std::vector<GradientPreset> gradientPresets_;            // built-ins first, then the user's own
    std::optional<DrawableGradient> cachedLinearGradient_;   // last peak-bar gradient built
    std::optional<DrawableGradient> cachedRmsGradient_;      // last RMS-bar gradient built
    std::optional<GradientCacheKey> gradientCacheKey_;       // shared by both caches
};
