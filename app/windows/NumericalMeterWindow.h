#pragma once

#include "app/windows/MeterWindow.h"
#include "engine/MeterData.h"
#include "views/NumericalMeterView.h"
#include "views/ViewSettings.h"
#include "views/qt/QtCanvas.h"

#include <QTimer>

class AppSettings;

// The numerical meter window: peak, maximum and RMS per channel as numbers, with
// the optional header (close button) and footer ("RESET MAX", running dot) strips.
class NumericalMeterWindow final : public MeterWindow {
    Q_OBJECT

public:
    NumericalMeterWindow(AppSettings &settings, MeterData &meterData, QWidget *parent = nullptr);

    void setEngineRunning(bool running);
    const NumericalMeterState &state() const { return state_; }
    // Where the strips and buttons are at the current size, for hit tests.
    NumericalMeterLayout currentLayout();
    // The smallest window that shows everything switched on, the targets table included.
    QSize preferredSize();

signals:
    void resetPeaksRequested();

protected:
    void drawContent(QPainter &painter, const QRect &dirty) override;
    bool handleContentPress(const QPoint &position) override;
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;

private:
    const NumericalMeterSettings &viewSettings();
    void meterDataChanged(MeterFieldMask fields);
    // Grows the window by the table's height when the targets table is switched on,
    // and gives that height back when it is switched off.
    void fitTargetsTable();
    // Puts the shown values into the accessible description (screen readers).
    void updateDescription();

    AppSettings &settings_;                 // read when it announces a change
    MeterData &meterData_;                  // the values drawn
    NumericalMeterSettings viewSettings_;   // copy of the settings the view draws with
    bool viewSettingsStale_ = true;         // settings changed since the copy
    NumericalMeterState state_;             // hover and running dot
    NumericalMeterView::ShownValues shown_; // what the rows showed when last drawn
    QtCanvasCache canvasCache_;             // fonts, shaped text and the static layer kept between frames
    TargetsTable::Verdicts shownTargets_;   // what the targets table showed when last drawn
    bool targetsTableShown_ = false;        // the table was switched on at the last settings change
    QTimer descriptionTimer_;               // single shot: limits description updates to a few per second
};
