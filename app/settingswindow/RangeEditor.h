#pragma once

#include <QWidget>

#include <optional>

// The custom meter range as a horizontal dB ruler with two handles. Dragging a handle
// follows the range rules: the lower handle stays at least 6 dB under the upper one
// and above the editor's lowest value, the upper one at least 6 dB above the lower
// one and below the editor's highest value.
class RangeEditor final : public QWidget {
    Q_OBJECT

public:
    enum class Handle { lower, upper };

    explicit RangeEditor(QWidget *parent = nullptr);

    void setRange(double minDb, double maxDb);
    double minDb() const { return minDb_; }
    double maxDb() const { return maxDb_; }

    // Horizontal position of a level and the level at a position, in widget coordinates.
    double positionOf(double db) const;
    double dbAt(double x) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

signals:
    // A handle was dragged; the range already obeys the rules.
    void rangeEdited(double minDb, double maxDb);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    void dragTo(Handle handle, double db);
    QRectF trackRect() const;

    double minDb_ = -60.0;                // lower handle, dB
    double maxDb_ = 6.0;                  // upper handle, dB
    std::optional<Handle> dragging_;      // the handle under a held press
    Handle focusHandle_ = Handle::upper;  // the handle the arrow keys move
};
