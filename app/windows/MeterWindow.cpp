#include "app/windows/MeterWindow.h"

#include "views/StatusBadge.h"
#include "views/qt/QtCanvas.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPaintEvent>
#include <QPainterPath>
#include <QWindow>

MeterWindow::MeterWindow(MeterWindowType type, QWidget *parent)
    : QWidget(parent, Qt::Window), type_(type), chrome_(this)
{
    setObjectName(meter_window_type::identifier(type));
    setWindowTitle(meter_window_type::title(type));
    resize(meter_window_type::defaultSize(type));
    // Translucent from the start: the window's visual is chosen when it is created, and
    // the rounded corners of the frameless state need an alpha channel.
    setAttribute(Qt::WA_TranslucentBackground);
    setMouseTracking(true);
    connect(&chrome_, &WindowChromeConfigurator::chromeChanged, this, [this] { unsetCursor(); });
}

Qt::Edges MeterWindow::resizeEdges(const QPoint &position) const
{
    Qt::Edges edges;
    if (chrome_.showsChrome()) return edges;
    if (position.x() < resizeMargin) edges |= Qt::LeftEdge;
    if (position.x() >= width() - resizeMargin) edges |= Qt::RightEdge;
    if (position.y() < resizeMargin) edges |= Qt::TopEdge;
    if (position.y() >= height() - resizeMargin) edges |= Qt::BottomEdge;
    return edges;
}

void MeterWindow::paintEvent(QPaintEvent *event)
{
    QPainter painter(this);
    drawContent(painter, event->rect());
    if (!statusBadge_.isEmpty()) {
        QtCanvas canvas(painter);
        StatusBadge::draw(canvas, {static_cast<double>(width()), static_cast<double>(height())},
                          statusBadge_.toStdString());
    }
    if (chrome_.showsChrome()) return;

    // Cut the corners out of what was drawn: an antialiased edge, unlike a clip path.
    const QRectF bounds = rect();
    QPainterPath corners;
    corners.addRect(bounds);
    QPainterPath rounded;
    rounded.addRoundedRect(bounds, WindowChromeConfigurator::cornerRadius, WindowChromeConfigurator::cornerRadius);
    corners = corners.subtracted(rounded);
    painter.resetTransform();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setCompositionMode(QPainter::CompositionMode_DestinationOut);
    painter.fillPath(corners, Qt::black);
}

void MeterWindow::setStatusBadge(const QString &text)
{
    if (text == statusBadge_) return;
    statusBadge_ = text;
    setToolTip(text.isEmpty() ? QString() : QStringLiteral("The loudness log is being written"));
    update();
}

void MeterWindow::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    const QPoint position = event->position().toPoint();
    QWindow *handle = windowHandle();
    if (const Qt::Edges edges = resizeEdges(position); edges && handle) {
        if (handle->startSystemResize(edges)) return;
    }
    if (handleContentPress(position)) return;
    // The move starts only once the pointer travels: handing the pointer to the window
    // system at the press would swallow the second click of a double click.
    pressPosition_ = event->globalPosition().toPoint();
}

void MeterWindow::mouseMoveEvent(QMouseEvent *event)
{
    const QPoint global = event->globalPosition().toPoint();
    if (pressPosition_ && (event->buttons() & Qt::LeftButton) &&
        (global - *pressPosition_).manhattanLength() >= QApplication::startDragDistance()) {
        const QPoint offset = *pressPosition_ - pos();
        pressPosition_.reset();
        // The window system moves the window where it can; elsewhere (no window
        // manager) the window follows the pointer by hand.
        QWindow *handle = windowHandle();
        if (!handle || !handle->startSystemMove()) dragOffset_ = offset;
        return;
    }
    if (dragOffset_ && (event->buttons() & Qt::LeftButton)) {
        move(global - *dragOffset_);
        return;
    }
    updateCursor(event->position().toPoint());
    QWidget::mouseMoveEvent(event);
}

void MeterWindow::mouseReleaseEvent(QMouseEvent *event)
{
    dragOffset_.reset();
    pressPosition_.reset();
    QWidget::mouseReleaseEvent(event);
}

void MeterWindow::contextMenuEvent(QContextMenuEvent *event)
{
    if (contextMenu_) contextMenu_->popup(event->globalPos());
}

void MeterWindow::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (shownBefore_) return;
    shownBefore_ = true;
    emit firstShown();
}

void MeterWindow::updateCursor(const QPoint &position)
{
    const Qt::Edges edges = resizeEdges(position);
    const bool horizontal = edges & (Qt::LeftEdge | Qt::RightEdge);
    const bool vertical = edges & (Qt::TopEdge | Qt::BottomEdge);
    if (horizontal && vertical) {
        const bool mainDiagonal = edges == (Qt::LeftEdge | Qt::TopEdge) || edges == (Qt::RightEdge | Qt::BottomEdge);
        setCursor(mainDiagonal ? Qt::SizeFDiagCursor : Qt::SizeBDiagCursor);
    } else if (horizontal) {
        setCursor(Qt::SizeHorCursor);
    } else if (vertical) {
        setCursor(Qt::SizeVerCursor);
    } else {
        unsetCursor();
    }
}
