#pragma once

#include "app/windows/MeterWindow.h"
#include "engine/MeterData.h"
#include "views/LevelMeterView.h"
#include "views/SourcePromptView.h"
#include "views/ViewSettings.h"
#include "views/qt/QtCanvas.h"

#include <QElapsedTimer>
#include <QTimer>

class AppSettings;

// The level meter window: bars, scale, read-out and the panels switched on, drawn by
// LevelMeterView. It repaints when a meter value it shows was published or a setting
// changed; the settings are copied out once per change, not once per frame.
class LevelMeterWindow final : public MeterWindow {
    Q_OBJECT

public:
    LevelMeterWindow(AppSettings &settings, MeterData &meterData, QWidget *parent = nullptr);

    // A size that shows every panel switched on, for a first start without a saved frame.
    QSize preferredSize();
    // The meter fields the window draws with its current settings.
    MeterFieldMask drawnFields();
    const LevelMeterSettings &viewSettings();
    // Shows the prompt to choose a source over the meters, or hides it (nullopt).
    void setSourcePrompt(std::optional<SourcePrompt> prompt);
    const std::optional<SourcePrompt> &sourcePrompt() const { return sourcePrompt_; }
    // The history the history panel draws (the engine's); not owned.
    void setLoudnessHistory(const LoudnessHistory *history);

signals:
    // A double click on the meter: the same as "Reset Peaks".
    void resetPeaksRequested();
    // A click on the source prompt.
    void sourcePromptClicked();

protected:
    void drawContent(QPainter &painter, const QRect &dirty) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    bool handleContentPress(const QPoint &position) override;

private:
    void meterDataChanged(MeterFieldMask fields);
    // Schedules a repaint of the window parts that show these fields.
    void repaintFields(MeterFieldMask fields);
    // Puts the shown values into the accessible description (screen readers).
    void updateDescription();
    // Repaints the history panel when the history took a sample since it was drawn.
    void repaintHistoryIfSampled();

    AppSettings &settings_;             // read when it announces a change
    MeterData &meterData_;              // the values drawn
    LevelMeterView view_;               // drawing caches and the ring animation
    LevelMeterSettings viewSettings_;   // copy of the settings the view draws with
    bool viewSettingsStale_ = true;     // settings changed since viewSettings_ was copied
    QElapsedTimer clock_;               // drives the ring animation
    QtCanvasCache canvasCache_;         // fonts, shaped text and static layers kept between frames
    QTimer animationTimer_;             // single shot: the next frame of an easing ring
    std::optional<SourcePrompt> sourcePrompt_; // while no source was ever chosen
    const LoudnessHistory *history_ = nullptr; // drawn by the history panel, or none
    std::uint64_t drawnHistorySamples_ = 0;  // history's sample count at its latest drawing
    QTimer historyTimer_;                    // looks for new history samples, even while values stand still
    QTimer descriptionTimer_;           // single shot: limits description updates to a few per second
};
