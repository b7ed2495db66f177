#pragma once

#include "settings/AppSettings.h"
#include "settings/SettingsExchange.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QVariant>

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <vector>

namespace exchange_test {

// A fresh in-memory installation that counts its change signals: every setter and every
// library operation emits, so zero signals means nothing was written.
struct Installation {
    std::shared_ptr<MemoryDefaultsStore> store = std::make_shared<MemoryDefaultsStore>();
    AppSettings settings{store};
    int changes = 0;

    Installation()
    {
        QObject::connect(&settings, &AppSettings::changed, [this] { ++changes; });
    }

    const GradientPreset &preset(const std::string &name) const
    {
        for (const GradientPreset &preset : settings.gradientPresets()) {
            if (preset.name == name)
                return preset;
        }
        throw std::runtime_error("no preset named " + name);
    }

    // The id text of the preset named `name`, as the id settings store it.
    QString idOf(const std::string &name) const { return QString::fromStdString(preset(name).id.toString()); }

    std::vector<std::string> customNames() const
    {
        std::vector<std::string> names;
        for (const GradientPreset &preset : settings.gradientPresets()) {
            if (!preset.isBuiltIn)
                names.push_back(preset.name);
        }
        return names;
    }
};

// Every stored setting (as its getter reads it) and the whole preset list.
struct Snapshot {
    std::vector<QVariant> values;
    std::vector<GradientPreset> presets;
    friend bool operator==(const Snapshot &, const Snapshot &) = default;
};

inline Snapshot snapshot(const AppSettings &settings)
{
    Snapshot result;
#define KELVRA_SNAPSHOT_VALUE(type, name, setter, key, defaultValue) result.values.push_back(QVariant::fromValue(settings.name()));
    KELVRA_SETTINGS(KELVRA_SNAPSHOT_VALUE)
#undef KELVRA_SNAPSHOT_VALUE
    result.presets = settings.gradientPresets();
    return result;
}

// A value different from `value`, of the same type, for changing every setting at once.
inline double otherValue(double value) { return value + 1.25; }
inline qint64 otherValue(qint64 value) { return value + 3; }
inline bool otherValue(bool value) { return !value; }
inline QString otherValue(const QString &value) { return value + QStringLiteral(" Custom"); }
inline QByteArray otherValue(const QByteArray &value) { return value + ' '; } // the same JSON still

// The names the engine defines, spelled out so the settings tests need no engine.
inline EngineEnumerationNames engineNames()
{
    return {{QStringLiteral("Digital Peak"), QStringLiteral("PPM (EBU/BBC)"), QStringLiteral("PPM (DIN)"),
             QStringLiteral("PPM (Nordic)"), QStringLiteral("VU")},
            {QStringLiteral("1 Octave"), QStringLiteral("1/2 Octave"), QStringLiteral("1/3 Octave"),
             QStringLiteral("1/6 Octave"), QStringLiteral("1/12 Octave"), QStringLiteral("1/24 Octave"),
             QStringLiteral("1/48 Octave")}};
}

inline void writeBytes(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    ASSERT_EQ(file.write(bytes), bytes.size());
}

inline QByteArray readBytes(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

// Imports `file` into a fresh installation and checks that the import failed with the
// import prefix and changed nothing.
inline void expectImportRejected(const QString &file, const std::string &why)
{
    Installation target;
    const Snapshot before = snapshot(target.settings);
    const ExchangeResult result = settings_exchange::importFromFile(target.settings, file, engineNames());
    EXPECT_TRUE(result.failure.startsWith(QStringLiteral("Failed to import settings: "))) << why;
    EXPECT_EQ(target.changes, 0) << why;
    EXPECT_TRUE(snapshot(target.settings) == before) << why;
}

// The top-level object of a settings export of `settings`.
inline QJsonObject exportedObject(const AppSettings &settings)
{
    QString error;
    const auto json = settings_exchange::encode(settings_exchange::exportableSettings(settings), error);
    EXPECT_TRUE(json) << error.toStdString();
    return json ? QJsonDocument::fromJson(*json).object() : QJsonObject{};
}

inline QByteArray toJson(const QJsonObject &object)
{
    return QJsonDocument(object).toJson();
}

} // namespace exchange_test
