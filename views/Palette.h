#pragma once

#include "settings/Color.h"

// The fixed dark-theme colours of the meter windows. The meters always run in the
// dark appearance, so the platform's semantic colours resolve to one value each.
namespace palette {

inline constexpr RgbColor clear{0.0, 0.0, 0.0, 0.0};
inline constexpr RgbColor white{1.0, 1.0, 1.0, 1.0};
inline constexpr RgbColor black{0.0, 0.0, 0.0, 1.0};

// System colours as the dark appearance draws them (8-bit sRGB / 255).
inline constexpr RgbColor gray{142.0 / 255.0, 142.0 / 255.0, 147.0 / 255.0, 1.0};
inline constexpr RgbColor red{255.0 / 255.0, 69.0 / 255.0, 58.0 / 255.0, 1.0};
inline constexpr RgbColor green{48.0 / 255.0, 209.0 / 255.0, 88.0 / 255.0, 1.0};
inline constexpr RgbColor yellow{255.0 / 255.0, 214.0 / 255.0, 10.0 / 255.0, 1.0};
inline constexpr RgbColor cyan{100.0 / 255.0, 210.0 / 255.0, 255.0 / 255.0, 1.0};
inline constexpr RgbColor indigo{94.0 / 255.0, 92.0 / 255.0, 230.0 / 255.0, 1.0};

// Label colours of the dark appearance.
inline constexpr RgbColor primaryText{1.0, 1.0, 1.0, 0.85};
inline constexpr RgbColor secondaryText{1.0, 1.0, 1.0, 0.55};

// The same colour with its alpha multiplied by opacity.
constexpr RgbColor withOpacity(RgbColor color, double opacity)
{
    color.alpha *= opacity;
    return color;
}

} // namespace palette
