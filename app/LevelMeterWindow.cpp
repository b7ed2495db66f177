#include "app/LevelMeterWindow.h"

#include "settings/AppSettings.h"
#include "views/qt/QtCanvas.h"
#include "views/qt/ViewRenderer.h"
#include "views/qt/ViewSettingsFromAppSettings.h"

#include <QMouseEvent>
#include <QPainter>

LevelMeterWindow::LevelMeterWindow(AppSettings &settings, MeterData &meterData, QWidget *parent)
    : MeterWindow(MeterWindowType::levelMeter, parent), settings_(settings), meterData_(meterData)
{
    clock_.start();
    connect(&settings_, &AppSettings::changed, this, [this] {
        viewSettingsStale_ = true;
        update();
    });
    connect(&meterData_, &MeterData::changed, this, &LevelMeterWindow::meterDataChanged);
    resize(preferredSize());
}

QSize LevelMeterWindow::preferredSize()
{
    ViewFrame frame;
    frame.levelMeter = viewSettings();
    const Size size = defaultViewSize(ViewKind::LevelMeterWindow, frame);
    const LevelMeterSettings &s = frame.levelMeter;
    // The panels want width; the bars alone look best narrow.
    const bool widePanels = s.spectrum.show || s.loudness.show ||
                            (s.phaseScope.show && s.phaseScope.placement != LissajousPlacement::None);
    const int width = widePanels ? static_cast<int>(size.width) : 90;
    return {width, static_cast<int>(size.height)};
}

const LevelMeterSettings &LevelMeterWindow::viewSettings()
{
    if (viewSettingsStale_) {
        viewSettings_ = levelMeterSettings(settings_);
        viewSettingsStale_ = false;
    }
    return viewSettings_;
}

MeterFieldMask LevelMeterWindow::drawnFields()
{
    const LevelMeterSettings &s = viewSettings();
    MeterFieldMask fields = levelFields;
    if (s.spectrum.show) fields |= spectrumFields;
    if (s.loudness.show) fields |= loudnessFields;
    if (s.phaseScope.show && s.phaseScope.placement != LissajousPlacement::None)
        fields |= bit(MeterField::LissajousPoints);
    return fields;
}

void LevelMeterWindow::meterDataChanged(MeterFieldMask fields)
{
    if (fields & drawnFields()) update();
}

void LevelMeterWindow::drawContent(QPainter &painter)
{
    QtCanvas canvas(painter);
    const double now = static_cast<double>(clock_.nsecsElapsed()) * 1.0e-9;
    view_.draw(canvas, {static_cast<double>(width()), static_cast<double>(height())}, meterData_.values(),
               viewSettings(), now);
    // The loudness rings ease towards new values; keep painting until they arrive,
    // even when no new values come (capture stopped).
    if (view_.isAnimating(now)) update();
}

void LevelMeterWindow::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton) emit resetPeaksRequested();
}
