#include "views/MeterScaleView.h"

#include "settings/MeterScale.h"
#include "views/Palette.h"
#include "views/TextDrawing.h"

double MeterScaleView::markCenterY(int markDb, double height) const
{
    return (1.0 - meter_scale::levelFraction(static_cast<float>(markDb), minDb, maxDb)) * height;
}

RgbColor MeterScaleView::markColor(int markDb)
{
    return meter_scale::isOverMark(markDb) ? palette::withOpacity(palette::red, overOpacity)
                                           : palette::withOpacity(palette::gray, underOpacity);
}

Font MeterScaleView::font() const { return {fontSize, FontWeight::Medium, true}; }

void MeterScaleView::draw(Canvas &canvas, double height) const
{
    // The labels only change with the scale, the range or the size: drawn once, then copied.
    ContentKey key;
    key.add(minDb).add(maxDb).add(fontSize).add(width).add(height);
    for (const int mark : scaleValues) key.add(mark);
    const Rect bounds{-fontSize, -fontSize, width + 2.0 * fontSize, height + 2.0 * fontSize};
    canvas.drawCached(key.value(), bounds, [&](Canvas &layer) {
        for (const int mark : scaleValues) {
            drawTextCentered(layer, {meter_scale::markLabel(mark), font(), markColor(mark)},
                             {width * 0.5, markCenterY(mark, height)});
        }
    });
}
