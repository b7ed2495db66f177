#include "views/qt/ViewRenderer.h"

#include "views/LUFSMeterView.h"
#include "views/Palette.h"
#include "views/qt/QtCanvas.h"

#include <QPainter>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr std::array<std::string_view, 7> names = {"level-meter", "level-meter-window", "numerical-meter", "lufs-rings",
                                                   "lufs-bars",   "spectrum",           "phase-scope"};
constexpr std::array<ViewKind, 7> kinds = {ViewKind::LevelMeter, ViewKind::LevelMeterWindow, ViewKind::NumericalMeter,
                                           ViewKind::LufsRings,  ViewKind::LufsBars,         ViewKind::Spectrum,
                                           ViewKind::PhaseScope};

LevelMeterSettings barsOnly(LevelMeterSettings settings)
{
    settings.spectrum.show = false;
    settings.phaseScope.show = false;
    settings.loudness.show = false;
    return settings;
}

void fillBackground(Canvas &canvas, Size size, const RgbColor &background)
{
    canvas.fillRect({0.0, 0.0, size.width, size.height}, {background.red, background.green, background.blue, 1.0});
}

} // namespace

std::optional<ViewKind> viewKindFromName(std::string_view name)
{
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i] == name) return kinds[i];
    }
    return std::nullopt;
}

std::span<const std::string_view> viewNames() { return names; }

Size defaultViewSize(ViewKind kind, const ViewFrame &frame)
{
    const LevelMeterSettings &s = frame.levelMeter;
    switch (kind) {
    case ViewKind::LevelMeter: return {90.0, 340.0};
    case ViewKind::LevelMeterWindow: {
        double height = 300.0;
        if (s.readout.show) height += s.readout.fontSize + s.readout.barSpacing;
        if (s.spectrum.show) height += s.spectrum.spacing + s.spectrum.height + 4.0;
        if (s.phaseScope.show && s.phaseScope.placement != LissajousPlacement::None) height += s.phaseScope.height + 4.0;
        if (s.loudness.show) height += s.loudness.ringMode ? 200.0 : LUFSMeterView::preferredHeight(s.loudness);
        if (s.history.show) height += s.history.height + 4.0;
        return {240.0, height};
    }
    case ViewKind::NumericalMeter: {
        if (!frame.numericalMeter.showTargetsTable) return {240.0, 124.0};
        // Measured with the fonts the picture is drawn with.
        QImage scratch(1, 1, QImage::Format_ARGB32_Premultiplied);
        QPainter painter(&scratch);
        const QtCanvas measurer(painter);
        const Size preferred = NumericalMeterView::preferredSize(frame.numericalMeter, measurer);
        return {std::max(240.0, preferred.width), preferred.height};
    }
    case ViewKind::LufsRings: return {200.0, 200.0};
    case ViewKind::LufsBars: return {140.0, LUFSMeterView::preferredHeight(s.loudness)};
    case ViewKind::Spectrum: return {320.0, s.spectrum.height};
    case ViewKind::PhaseScope: return {200.0, 200.0};
    }
    return {200.0, 200.0};
}

void drawView(Canvas &canvas, ViewKind kind, Size size, const ViewFrame &frame, LevelMeterView &view)
{
    const LevelMeterSettings &s = frame.levelMeter;
    switch (kind) {
    case ViewKind::LevelMeter: view.draw(canvas, size, frame.values, barsOnly(s), frame.nowSeconds); return;
    case ViewKind::LevelMeterWindow: view.draw(canvas, size, frame.values, s, frame.nowSeconds); return;
    case ViewKind::NumericalMeter:
        NumericalMeterView::draw(canvas, size, frame.values, frame.numericalMeter, frame.numericalState);
        return;
    case ViewKind::LufsRings:
        fillBackground(canvas, size, s.background);
        view.ringMeter().draw(canvas, size, frame.values, s.loudness, frame.nowSeconds);
        return;
    case ViewKind::LufsBars:
        fillBackground(canvas, size, s.background);
        LUFSMeterView::draw(canvas, size, frame.values, s.loudness);
        return;
    case ViewKind::Spectrum:
        fillBackground(canvas, size, s.background);
        view.spectrum().draw(canvas, size, frame.values.spectralBands, frame.values.spectralSplinePoints,
                             s.spectrum.gradient, s.spectrum.minDb, s.spectrum.maxDb);
        return;
    case ViewKind::PhaseScope:
        fillBackground(canvas, size, s.background);
        view.phaseScope().draw(canvas, size, frame.values.lissajousPoints, s.phaseScope.gradient,
                               {s.phaseScope.lineWidth, s.phaseScope.glow, s.phaseScope.pointMode});
        return;
    }
}

QImage renderView(ViewKind kind, Size size, double scale, const ViewFrame &frame)
{
    QImage image(static_cast<int>(std::ceil(size.width * scale)), static_cast<int>(std::ceil(size.height * scale)),
                 QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    QtCanvas canvas(painter);
    LevelMeterView view;
    drawView(canvas, kind, size, frame, view);
    painter.end();
    return image;
}
