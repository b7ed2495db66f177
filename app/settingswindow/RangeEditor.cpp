#include "app/settingswindow/RangeEditor.h"

#include "settings/MeterScale.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

#include <cmath>

namespace {

constexpr double sidePadding = 12.0;   // room for the end labels and handles, points
constexpr double trackTop = 10.0;
constexpr double trackHeight = 8.0;
constexpr double handleRadius = 7.0;
constexpr double labelStepDb = 12.0;

} // namespace

RangeEditor::RangeEditor(QWidget *parent) : QWidget(parent)
{
    setFocusPolicy(Qt::StrongFocus);
    setToolTip(QStringLiteral("Drag the handles to set the bottom and top of the meter."));
}

void RangeEditor::setRange(double minDb, double maxDb)
{
    if (minDb == minDb_ && maxDb == maxDb_) return;
    minDb_ = minDb;
    maxDb_ = maxDb;
    update();
}

QRectF RangeEditor::trackRect() const
{
    return {sidePadding, trackTop, width() - 2.0 * sidePadding, trackHeight};
}

double RangeEditor::positionOf(double db) const
{
    const QRectF track = trackRect();
    const double span = meter_range::editorHighestDb - meter_range::editorLowestDb;
    return track.left() + (db - meter_range::editorLowestDb) / span * track.width();
}

double RangeEditor::dbAt(double x) const
{
    const QRectF track = trackRect();
    const double span = meter_range::editorHighestDb - meter_range::editorLowestDb;
    const double fraction = track.width() > 0.0 ? (x - track.left()) / track.width() : 0.0;
    // Whole decibels: nobody sets a meter range to a fraction of a dB by hand.
    return std::round(meter_range::editorLowestDb + fraction * span);
}

QSize RangeEditor::sizeHint() const { return {360, 44}; }
QSize RangeEditor::minimumSizeHint() const { return {200, 44}; }

void RangeEditor::dragTo(Handle handle, double db)
{
    if (handle == Handle::lower)
        minDb_ = meter_range::dragLowerHandle(db, maxDb_);
    else
        maxDb_ = meter_range::dragUpperHandle(db, minDb_);
    update();
    emit rangeEdited(minDb_, maxDb_);
}

void RangeEditor::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette &pal = palette();
    const QRectF track = trackRect();
    const double radius = trackHeight / 2.0;

    painter.setPen(Qt::NoPen);
    painter.setBrush(pal.color(QPalette::Base));
    painter.drawRoundedRect(track, radius, radius);
    const double left = positionOf(minDb_);
    const double right = positionOf(maxDb_);
    painter.setBrush(pal.color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::Highlight));
    painter.drawRoundedRect(QRectF(left, track.top(), right - left, track.height()), radius, radius);

    QFont small = font();
    small.setPointSizeF(font().pointSizeF() * 0.8);
    painter.setFont(small);
    painter.setPen(pal.color(QPalette::Disabled, QPalette::WindowText));
    for (double db = meter_range::editorLowestDb; db <= meter_range::editorHighestDb; db += labelStepDb) {
        const double x = positionOf(db);
        painter.drawLine(QPointF(x, track.bottom() + 2.0), QPointF(x, track.bottom() + 5.0));
        const QString label = QString::fromStdString(meter_scale::markLabel(static_cast<int>(db)));
        painter.drawText(QRectF(x - 20.0, track.bottom() + 6.0, 40.0, 14.0), Qt::AlignHCenter | Qt::AlignTop, label);
    }

    for (Handle handle : {Handle::lower, Handle::upper}) {
        const double x = handle == Handle::lower ? left : right;
        const bool focused = hasFocus() && handle == focusHandle_;
        painter.setPen(QPen(focused ? pal.color(QPalette::Highlight) : pal.color(QPalette::Dark), 1.5));
        painter.setBrush(pal.color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::ButtonText));
        painter.drawEllipse(QPointF(x, track.center().y()), handleRadius, handleRadius);
    }
}

void RangeEditor::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) return;
    const double x = event->position().x();
    // The nearer handle takes the press; on a tie, the side of the press decides.
    const double toLower = std::fabs(x - positionOf(minDb_));
    const double toUpper = std::fabs(x - positionOf(maxDb_));
    dragging_ = toLower < toUpper || (toLower == toUpper && x < positionOf(minDb_)) ? Handle::lower : Handle::upper;
    focusHandle_ = *dragging_;
    dragTo(*dragging_, dbAt(x));
}

void RangeEditor::mouseMoveEvent(QMouseEvent *event)
{
    if (dragging_) dragTo(*dragging_, dbAt(event->position().x()));
}

void RangeEditor::mouseReleaseEvent(QMouseEvent *) { dragging_.reset(); }

void RangeEditor::keyPressEvent(QKeyEvent *event)
{
    const double current = focusHandle_ == Handle::lower ? minDb_ : maxDb_;
    switch (event->key()) {
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        QWidget::keyPressEvent(event);
        return;
    case Qt::Key_Space:
        focusHandle_ = focusHandle_ == Handle::lower ? Handle::upper : Handle::lower;
        update();
        return;
    case Qt::Key_Left:
    case Qt::Key_Down: dragTo(focusHandle_, current - 1.0); return;
    case Qt::Key_Right:
    case Qt::Key_Up: dragTo(focusHandle_, current + 1.0); return;
    default: QWidget::keyPressEvent(event);
    }
}
