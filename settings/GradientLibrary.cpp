// The gradient library of AppSettings: loading, saving and editing the preset list.
#include "settings/AppSettings.h"

#include <algorithm>

namespace {

void sortStopsByLevel(GradientPreset &preset)
{
    std::stable_sort(preset.stops.begin(), preset.stops.end(),
                     [](const GradientColorStop &a, const GradientColorStop &b) { return a.levelDb < b.levelDb; });
}

QString uuidText(const Uuid &id)
{
    return QString::fromStdString(id.toString());
}

} // namespace

void AppSettings::loadGradients()
{
    gradientPresets_ = gradient_presets::builtIns();
    const QByteArray data = customGradientsData();
    if (!data.isEmpty()) {
        // Undecodable data is left in the store untouched until the next save replaces it.
        if (auto custom = gradient_presets::decodeJson(std::string_view(data.constData(), data.size())))
            gradientPresets_.insert(gradientPresets_.end(), custom->begin(), custom->end());
    }
    if (selectedGradientIdString().isEmpty()) {
        const auto darkIce = std::find_if(gradientPresets_.begin(), gradientPresets_.end(),
                                          [](const GradientPreset &preset) { return preset.name == "Dark Ice"; });
        if (darkIce != gradientPresets_.end())
            store_->writeString(QStringLiteral("selectedGradientId"), uuidText(darkIce->id));
    }
    emit changed();
}

void AppSettings::storeCustomGradients()
{
    std::vector<GradientPreset> custom;
    std::copy_if(gradientPresets_.begin(), gradientPresets_.end(), std::back_inserter(custom),
                 [](const GradientPreset &preset) { return !preset.isBuiltIn; });
    const std::string json = gradient_presets::encodeJson(custom);
    // A preset that cannot be written as JSON (NaN in a stop) keeps the old data stored.
    if (json.empty())
        return;
    store_->writeData(QStringLiteral("customGradientsData"), QByteArray::fromStdString(json));
}

void AppSettings::saveCustomGradients()
{
    storeCustomGradients();
    emit changed();
}

void AppSettings::addCustomGradient(const GradientPreset &preset)
{
    GradientPreset added = preset;
    added.id = Uuid::createRandom();
    added.isBuiltIn = false;
    sortStopsByLevel(added);
    gradientPresets_.push_back(std::move(added));
    storeCustomGradients();
    emit changed();
}

void AppSettings::appendImportedGradients(const std::vector<GradientPreset> &presets)
{
    if (presets.empty()) return;
    for (const GradientPreset &preset : presets) {
        GradientPreset added = preset;
        added.id = Uuid::createRandom();
        added.isBuiltIn = false;
        added.name = makeUniqueName(preset.name);
        sortStopsByLevel(added);
        gradientPresets_.push_back(std::move(added));
    }
    // One save for the whole import: saving per preset made a large import quadratic.
    storeCustomGradients();
    emit changed();
}

void AppSettings::updateGradient(const GradientPreset &preset)
{
    const auto it = std::find_if(gradientPresets_.begin(), gradientPresets_.end(),
                                 [&preset](const GradientPreset &listed) { return listed.id == preset.id; });
    if (it == gradientPresets_.end())
        return;
    *it = preset;
    storeCustomGradients();
    emit changed();
}

void AppSettings::deleteGradient(const GradientPreset &preset)
{
    const GradientPreset *listed = findPreset(preset.id);
    if (preset.isBuiltIn || !listed || listed->isBuiltIn)
        return;
    const bool wasSelected = Uuid::fromString(selectedGradientIdString().toStdString()) == preset.id;
    std::erase_if(gradientPresets_, [&preset](const GradientPreset &p) { return p.id == preset.id; });
    storeCustomGradients();
    if (wasSelected && !gradientPresets_.empty())
        store_->writeString(QStringLiteral("selectedGradientId"), uuidText(gradientPresets_.front().id));
    emit changed();
}

GradientPreset AppSettings::duplicateGradient(const GradientPreset &preset) const
{
    GradientPreset copy = preset;
    copy.id = Uuid::createRandom();
    copy.name = preset.name + " Copy";
    copy.isBuiltIn = false;
    return copy;
}

void AppSettings::renameGradient(const GradientPreset &preset, const std::string &newName)
{
    if (preset.isBuiltIn || newName.empty())
        return;
    const auto it = std::find_if(gradientPresets_.begin(), gradientPresets_.end(),
                                 [&preset](const GradientPreset &listed) { return listed.id == preset.id; });
    if (it == gradientPresets_.end() || it->isBuiltIn)
        return;
    it->name = newName;
    storeCustomGradients();
    emit changed();
}

std::string AppSettings::makeUniqueName(const std::string &name) const
{
    auto taken = [this](const std::string &candidate) {
        return std::any_of(gradientPresets_.begin(), gradientPresets_.end(),
                           [&candidate](const GradientPreset &preset) { return preset.name == candidate; });
    };
    if (!taken(name))
        return name;
    for (int counter = 2;; ++counter) {
        std::string candidate = name + " (" + std::to_string(counter) + ")";
        if (!taken(candidate))
            return candidate;
    }
}
