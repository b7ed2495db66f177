#include "app/gradients/GradientStopBar.h"

#include <QLinearGradient>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace {

constexpr double sidePadding = 10.0;   // half a handle, so end stops stay grabbable
constexpr double barTop = 4.0;
constexpr double barHeight = 28.0;
constexpr double handleWidth = 12.0;
constexpr double handleHeight = 12.0;
constexpr double labelHeight = 14.0;

QColor toQColor(const RgbColor &color)
{
    return QColor::fromRgbF(static_cast<float>(color.red), static_cast<float>(color.green),
                            static_cast<float>(color.blue));
}

} // namespace

GradientStopBar::GradientStopBar(QWidget *parent) : QWidget(parent)
{
    setToolTip(QStringLiteral("Drag a stop to change its level. Double-click a stop to pick its colour, "
                              "double-click the bar to add a stop."));
}

void GradientStopBar::setPreset(const GradientPreset &preset)
{
    preset_ = preset;
    update();
}

void GradientStopBar::setSelectedStop(std::optional<Uuid> stopId)
{
    selected_ = stopId;
    update();
}

void GradientStopBar::setReadOnly(bool readOnly)
{
    readOnly_ = readOnly;
    dragging_.reset();
    update();
}

QRectF GradientStopBar::barRect() const { return {sidePadding, barTop, width() - 2.0 * sidePadding, barHeight}; }

double GradientStopBar::positionOf(float db) const
{
    const QRectF bar = barRect();
    const float clamped = std::clamp(db, lowestDb, highestDb);
    return bar.left() + static_cast<double>(clamped - lowestDb) / static_cast<double>(highestDb - lowestDb) * bar.width();
}

float GradientStopBar::dbAt(double x) const
{
    const QRectF bar = barRect();
    const double fraction = bar.width() > 0.0 ? std::clamp((x - bar.left()) / bar.width(), 0.0, 1.0) : 0.0;
    // Tenths of a dB: finer than anyone can see on a meter, coarse enough to type back.
    const double db = lowestDb + fraction * static_cast<double>(highestDb - lowestDb);
    return static_cast<float>(std::round(db * 10.0) / 10.0);
}

QSize GradientStopBar::sizeHint() const { return {420, static_cast<int>(barTop + barHeight + handleHeight + labelHeight + 6)}; }
QSize GradientStopBar::minimumSizeHint() const { return {200, sizeHint().height()}; }

std::optional<Uuid> GradientStopBar::stopAt(const QPointF &point) const
{
    const double handleTop = barRect().bottom();
    if (point.y() < handleTop - 2.0 || point.y() > handleTop + handleHeight + 4.0) return std::nullopt;
    std::optional<Uuid> nearest;
    double nearestDistance = handleWidth;
    for (const GradientColorStop &stop : preset_.stops) {
        const double distance = std::fabs(point.x() - positionOf(stop.levelDb));
        // The selected stop wins ties, so stacked stops can be pulled apart again.
        if (distance < nearestDistance || (distance == nearestDistance && selected_ == stop.id)) {
            nearestDistance = distance;
            nearest = stop.id;
        }
    }
    return nearest;
}

void GradientStopBar::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF bar = barRect();

    QLinearGradient gradient(bar.left(), 0.0, bar.right(), 0.0);
    constexpr int samples = 48;
    for (int i = 0; i <= samples; ++i) {
        const double t = static_cast<double>(i) / samples;
        gradient.setColorAt(t, toQColor(preset_.colorAt(lowestDb + static_cast<float>(t) * (highestDb - lowestDb))));
    }
    painter.setPen(QPen(palette().color(QPalette::Dark), 1.0));
    painter.setBrush(gradient);
    painter.drawRoundedRect(bar, 4.0, 4.0);

    for (const GradientColorStop &stop : preset_.stops) {
        const double x = positionOf(stop.levelDb);
        const bool isSelected = selected_ == stop.id;
        QPainterPath handle;
        handle.moveTo(x, bar.bottom() + 1.0);
        handle.lineTo(x + handleWidth / 2.0, bar.bottom() + handleHeight);
        handle.lineTo(x - handleWidth / 2.0, bar.bottom() + handleHeight);
        handle.closeSubpath();
        painter.setPen(QPen(isSelected ? palette().color(QPalette::Highlight) : palette().color(QPalette::Text),
                            isSelected ? 2.0 : 1.0));
        painter.setBrush(toQColor(stop.color()));
        painter.drawPath(handle);
    }

    painter.setPen(palette().color(QPalette::Disabled, QPalette::WindowText));
    QFont small = font();
    small.setPointSizeF(font().pointSizeF() * 0.8);
    painter.setFont(small);
    for (float db = lowestDb; db <= highestDb; db += 6.0f) {
        const double x = positionOf(db);
        painter.drawText(QRectF(x - 16.0, bar.bottom() + handleHeight + 2.0, 32.0, labelHeight),
                         Qt::AlignHCenter | Qt::AlignTop, QString::number(static_cast<int>(db)));
    }
}

void GradientStopBar::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) return;
    const std::optional<Uuid> stop = stopAt(event->position());
    if (!stop) return;
    selected_ = stop;
    update();
    emit stopSelected(*stop);
    if (!readOnly_) dragging_ = stop;
}

void GradientStopBar::mouseMoveEvent(QMouseEvent *event)
{
    if (dragging_) emit stopDragged(*dragging_, dbAt(event->position().x()));
}

void GradientStopBar::mouseReleaseEvent(QMouseEvent *) { dragging_.reset(); }

void GradientStopBar::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (readOnly_ || event->button() != Qt::LeftButton) return;
    dragging_.reset();
    if (const std::optional<Uuid> stop = stopAt(event->position())) {
        emit stopColorRequested(*stop);
    } else if (barRect().contains(event->position())) {
        emit stopAddRequested(dbAt(event->position().x()));
    }
}
