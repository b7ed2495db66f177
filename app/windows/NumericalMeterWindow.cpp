#include "app/windows/NumericalMeterWindow.h"

#include "settings/AppSettings.h"
#include "views/MeterDescriptions.h"
#include "views/qt/QtCanvas.h"
#include "views/qt/ViewSettingsFromAppSettings.h"

#include <QImage>
#include <QPainter>

#include <algorithm>
#include <cmath>

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
        fitTargetsTable();
        descriptionTimer_.start();
        update();
    });
    connect(&meterData_, &MeterData::changed, this, &NumericalMeterWindow::meterDataChanged);
    targetsTableShown_ = viewSettings().showTargetsTable;
    // A first start without a saved frame: large enough for the table if it is on.
    if (targetsTableShown_) resize(size().expandedTo(preferredSize()));
    setAccessibleName(QStringLiteral("Numerical meter"));
    // Screen readers need no more than a few updates a second; the values change at
    // display rate.
    descriptionTimer_.setSingleShot(true);
    descriptionTimer_.setInterval(250);
    connect(&descriptionTimer_, &QTimer::timeout, this, &NumericalMeterWindow::updateDescription);
    updateDescription();
}

QSize NumericalMeterWindow::preferredSize()
{
    QImage scratch(1, 1, QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&scratch);
    const QtCanvas measurer(painter);
    const Size size = NumericalMeterView::preferredSize(viewSettings(), measurer);
    return {static_cast<int>(std::ceil(size.width)), static_cast<int>(std::ceil(size.height))};
}

void NumericalMeterWindow::fitTargetsTable()
{
    const bool shown = viewSettings().showTargetsTable;
    if (shown == targetsTableShown_) return;
    targetsTableShown_ = shown;
    NumericalMeterSettings with = viewSettings();
    with.showTargetsTable = true;
    NumericalMeterSettings without = with;
    without.showTargetsTable = false;
    QImage scratch(1, 1, QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&scratch);
    const QtCanvas measurer(painter);
    const Size large = NumericalMeterView::preferredSize(with, measurer);
    const Size small = NumericalMeterView::preferredSize(without, measurer);
    const int tableHeight = static_cast<int>(large.height - small.height);
    if (shown)
        resize(std::max(width(), static_cast<int>(large.width)),
               std::max(height() + tableHeight, static_cast<int>(large.height)));
    else
        resize(width(), std::max(height() - tableHeight, static_cast<int>(small.height)));
}

void NumericalMeterWindow::updateDescription()
{
    const MeterValues &values = meterData_.values();
    std::string text = meter_description::levels(values);
    if (viewSettings().showTargetsTable) text += " " + TargetsTable::describe(TargetsTable::verdicts(values));
    const QString description = QString::fromStdString(text);
    if (description != accessibleDescription()) setAccessibleDescription(description);
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
    const bool table = viewSettings().showTargetsTable;
    if (!(fields & levelFields) && !(table && (fields & loudnessFields))) return;
    if (NumericalMeterView::shownValues(meterData_.values(), viewSettings().gradient) != shown_ ||
        (table && TargetsTable::verdicts(meterData_.values()) != shownTargets_)) {
        update();
        if (!descriptionTimer_.isActive()) descriptionTimer_.start();
    }
}

void NumericalMeterWindow::drawContent(QPainter &painter, const QRect &)
{
    shown_ = NumericalMeterView::shownValues(meterData_.values(), viewSettings().gradient);
    shownTargets_ = viewSettings().showTargetsTable ? TargetsTable::verdicts(meterData_.values())
                                                    : TargetsTable::Verdicts{};
    QtCanvas canvas(painter, &canvasCache_);
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
