#pragma once

#include "settings/GradientPreset.h"

#include <QJsonObject>
#include <QJsonValue>

#include <optional>
#include <vector>

// Qt JSON forms of the gradient records, for files that embed presets in a larger
// document (the settings exchange file). The strict rules of decodeJson apply.
namespace gradient_presets {

QJsonObject toJsonObject(const GradientPreset &preset);
std::optional<GradientPreset> presetFromJson(const QJsonValue &value);
std::optional<std::vector<GradientPreset>> presetsFromJson(const QJsonValue &value);

} // namespace gradient_presets
