#include "app/windows/NumericalMeterWindow.h"

#include "settings/AppSettings.h"
#include "views/qt/QtCanvas.h"
#include "views/qt/ViewSettingsFromAppSettings.h"

#include <QImage>
#include <QPainter>

namespace {

bool contains(const std::optional<Rect> &rect, const QPoint &point)
{
    return rect && point.x() >= rect->x && point.x() < rect->x + rect->width && point.y() >= rect->y &&
           point.y() < rect->y + rect->height;
}

} // namespace

NumericalMeterWindow::NumericalMeterWindow(AppSettings &settings, MeterData &meterData, QWidget *parent)
    : MeterWindow(MeterWindowType::numericalMeter, parent), settings_(settings), meterData_(meterData)
{
    connect(&settings_, &AppSettings::changed, this, [this] {
        viewSettingsStale_ = true;
        update();
    });
    connect(&meterData_, &MeterData::changed, this, &NumericalMeterWindow::meterDataChanged);
}

void NumericalMeterWindow::setEngineRunning(bool running)
{
    if (state_.engineRunning == running) return;
    state_.engineRunning = running;
    update();
}

const NumericalMeterSettings &NumericalMeterWindow::viewSettings()
{
    if (viewSettingsStale_) {
        viewSettings_ = numericalMeterSettings(settings_);
        viewSettingsStale_ = false;
    }
    return viewSettings_;
}

NumericalMeterLayout NumericalMeterWindow::currentLayout()
{
    // Text is measured with the fonts the window paints with.
    QImage scratch(1, 1, QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&scratch);
    const QtCanvas measurer(painter);
    return NumericalMeterView::layout({static_cast<double>(width()), static_cast<double>(height())}, viewSettings(),
                                      state_, measurer);
}

void NumericalMeterWindow::meterDataChanged(MeterFieldMask fields)
{
    // Levels move by hundredths of a decibel; the rows show whole or tenth decibels, so
    // most new values change nothing on screen and need no frame.
    if (!(fields & levelFields)) return;
    if (NumericalMeterView::shownValues(meterData_.values(), viewSettings().gradient) != shown_) update();
}

void NumericalMeterWindow::drawContent(QPainter &painter, const QRect &)
{
    shown_ = NumericalMeterView::shownValues(meterData_.values(), viewSettings().gradient);
    QtCanvas canvas(painter);
    NumericalMeterView::draw(canvas, {static_cast<double>(width()), static_cast<double>(height())},
                             meterData_.values(), viewSettings(), state_);
}

bool NumericalMeterWindow::handleContentPress(const QPoint &position)
{
    const NumericalMeterLayout parts = currentLayout();
    if (contains(parts.closeButton, position)) {
        close();
        return true;
    }
    if (contains(parts.resetButton, position)) {
        emit resetPeaksRequested();
        return true;
    }
    return false;
}

void NumericalMeterWindow::enterEvent(QEnterEvent *event)
{
    state_.isHovering = true;
    update();
    MeterWindow::enterEvent(event);
}

void NumericalMeterWindow::leaveEvent(QEvent *event)
{
    state_.isHovering = false;
    update();
    MeterWindow::leaveEvent(event);
}
