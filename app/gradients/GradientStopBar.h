#pragma once

#include "settings/GradientPreset.h"

#include <QWidget>

#include <optional>

// A preview of one gradient over the meter's range with a handle under each colour
// stop. A handle is selected by a click and dragged to change its level; a double
// click on a handle asks for its colour, one on the bar asks for a new stop there.
// The bar only reports what the user did; the editor decides and calls setPreset().
class GradientStopBar final : public QWidget {
    Q_OBJECT

public:
    static constexpr float lowestDb = -60.0f;  // left end of the bar
    static constexpr float highestDb = 6.0f;   // right end of the bar

    explicit GradientStopBar(QWidget *parent = nullptr);

    void setPreset(const GradientPreset &preset);
    void setSelectedStop(std::optional<Uuid> stopId);
    std::optional<Uuid> selectedStop() const { return selected_; }
    // Read-only bars show the gradient but take no edits.
    void setReadOnly(bool readOnly);

    double positionOf(float db) const;
    float dbAt(double x) const;
    QRectF barRect() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

signals:
    void stopSelected(const Uuid &stopId);
    void stopDragged(const Uuid &stopId, float levelDb);
    void stopColorRequested(const Uuid &stopId);
    void stopAddRequested(float levelDb);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;

private:
    std::optional<Uuid> stopAt(const QPointF &point) const;

    GradientPreset preset_;            // what the bar shows
    std::optional<Uuid> selected_;     // the highlighted stop
    std::optional<Uuid> dragging_;     // the stop under a held press
    bool readOnly_ = false;            // built-in presets: no edits
};
