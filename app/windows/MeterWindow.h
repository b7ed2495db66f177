#pragma once

#include "app/windows/MeterWindowType.h"
#include "app/windows/WindowChromeConfigurator.h"

#include <QMenu>
#include <QPointer>
#include <QWidget>

#include <optional>

// What both meter windows share: a top-level window that moves when its background
// is dragged, resizes from its edges when it has no frame, draws its content with
// rounded corners when frameless, and opens the context menu it is given.
class MeterWindow : public QWidget {
    Q_OBJECT

public:
    // Distance from the edge (points) within which a press resizes a frameless window.
    static constexpr int resizeMargin = 6;

    explicit MeterWindow(MeterWindowType type, QWidget *parent = nullptr);

    MeterWindowType type() const { return type_; }
    WindowChromeConfigurator &chrome() { return chrome_; }
    const WindowChromeConfigurator &chrome() const { return chrome_; }

    // The menu a secondary click opens; not owned.
    void setContextMenu(QMenu *menu) { contextMenu_ = menu; }
    QMenu *contextMenu() const { return contextMenu_; }
    // A badge in the top right corner (e.g. "LOG" while the loudness log runs); empty: none.
    void setStatusBadge(const QString &text);
    const QString &statusBadge() const { return statusBadge_; }

    // The edges a press at `position` resizes: none while the window has a frame (the
    // window manager's frame does it then) or away from the edges.
    Qt::Edges resizeEdges(const QPoint &position) const;

signals:
    // The window was shown for the first time.
    void firstShown();

protected:
    // Draws the content; `dirty` (window coordinates) is what needs drawing, the rest of
    // the window is on screen already. The corners are cut afterwards.
    virtual void drawContent(QPainter &painter, const QRect &dirty) = 0;
    // Lets the content take a primary press (a button in it); true when it did.
    virtual bool handleContentPress(const QPoint &) { return false; }

    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    void updateCursor(const QPoint &position);

    MeterWindowType type_;              // which meter this window shows
    WindowChromeConfigurator chrome_;   // frame and background state
    QPointer<QMenu> contextMenu_;       // opened by a secondary click; owned elsewhere
    std::optional<QPoint> pressPosition_; // global press point until a drag starts
    std::optional<QPoint> dragOffset_;  // press point relative to the window, while moving it by hand
    bool shownBefore_ = false;          // firstShown() was emitted
    QString statusBadge_;           // drawn over the content while not empty
};
