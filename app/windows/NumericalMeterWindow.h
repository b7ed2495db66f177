#pragma once

#include "app/windows/MeterWindow.h"
#include "engine/MeterData.h"
#include "views/NumericalMeterView.h"
#include "views/ViewSettings.h"

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

    AppSettings &settings_;                 // read when it announces a change
    MeterData &meterData_;                  // the values drawn
    NumericalMeterSettings viewSettings_;   // copy of the settings the view draws with
    bool viewSettingsStale_ = true;         // settings changed since the copy
    NumericalMeterState state_;             // hover and running dot
    NumericalMeterView::ShownValues shown_; // what the rows showed when last drawn
};
