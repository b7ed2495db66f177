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
    for (const int mark : scaleValues) {
        drawTextCentered(canvas, {meter_scale::markLabel(mark), font(), markColor(mark)},
                         {width * 0.5, markCenterY(mark, height)});
    }
}
