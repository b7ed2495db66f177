#include "app/windows/LevelMeterWindow.h"

#include "settings/AppSettings.h"
#include "views/MeterDescriptions.h"
#include "views/qt/QtCanvas.h"
#include "views/qt/ViewRenderer.h"
#include "views/qt/ViewSettingsFromAppSettings.h"

#include <QImage>
#include <QMouseEvent>
#include <QPainter>

#include <cmath>

LevelMeterWindow::LevelMeterWindow(AppSettings &settings, MeterData &meterData, QWidget *parent)
    : MeterWindow(MeterWindowType::levelMeter, parent), settings_(settings), meterData_(meterData)
{
    clock_.start();
    connect(&settings_, &AppSettings::changed, this, [this] {
        viewSettingsStale_ = true;
        update();
    });
    connect(&meterData_, &MeterData::changed, this, &LevelMeterWindow::meterDataChanged);
    // An easing ring needs frames of its own when no new values come; at display rate,
    // not as fast as painting can go.
    animationTimer_.setSingleShot(true);
    animationTimer_.setInterval(1000 / 60);
    connect(&animationTimer_, &QTimer::timeout, this, [this] { repaintFields(loudnessFields); });
    resize(preferredSize());
    // The history scrolls at 10 Hz even when no published value changes (silence), so
    // it is not left to value changes to repaint it.
    historyTimer_.setInterval(50);
    connect(&historyTimer_, &QTimer::timeout, this, &LevelMeterWindow::repaintHistoryIfSampled);
    setAccessibleName(QStringLiteral("Level meter"));
    // Screen readers need no more than a few updates a second; the values change at
    // display rate.
    descriptionTimer_.setSingleShot(true);
    descriptionTimer_.setInterval(250);
    connect(&descriptionTimer_, &QTimer::timeout, this, &LevelMeterWindow::updateDescription);
    connect(&settings_, &AppSettings::changed, &descriptionTimer_, qOverload<>(&QTimer::start));
    updateDescription();
}

void LevelMeterWindow::setLoudnessHistory(const LoudnessHistory *history)
{
    history_ = history;
    view_.setLoudnessHistory(history);
    if (history_)
        historyTimer_.start();
    else
        historyTimer_.stop();
    update();
}

void LevelMeterWindow::repaintHistoryIfSampled()
{
    if (!history_ || !isVisible() || !viewSettings().history.show) return;
    if (history_->totalSamples() == drawnHistorySamples_) return;
    const std::optional<LevelMeterLayout> &layout = view_.lastLayout();
    if (!layout || !layout->history) {
        update();
        return;
    }
    const Rect &panel = *layout->history;
    update(QRect(0, static_cast<int>(std::floor(panel.y)), width(), static_cast<int>(std::ceil(panel.height)) + 1));
}

void LevelMeterWindow::updateDescription()
{
    const MeterValues &values = meterData_.values();
    std::string text = meter_description::levels(values);
    if (viewSettings().loudness.show) text += " " + meter_description::loudness(values);
    const QString description = QString::fromStdString(text);
    if (description != accessibleDescription()) setAccessibleDescription(description);
}

QSize LevelMeterWindow::preferredSize()
{
    ViewFrame frame;
    frame.levelMeter = viewSettings();
    const Size size = defaultViewSize(ViewKind::LevelMeterWindow, frame);
    const LevelMeterSettings &s = frame.levelMeter;
    // The panels want width; the bars alone look best narrow.
    const bool widePanels = s.spectrum.show || s.loudness.show || s.history.show ||
                            (s.phaseScope.show && s.phaseScope.placement != LissajousPlacement::None);
    const int width = widePanels ? static_cast<int>(size.width) : 90;
    return {width, static_cast<int>(size.height)};
}

const LevelMeterSettings &LevelMeterWindow::viewSettings()
{
    if (viewSettingsStale_) {
        viewSettings_ = levelMeterSettings(settings_);
        viewSettingsStale_ = false;
    }
    return viewSettings_;
}

MeterFieldMask LevelMeterWindow::drawnFields()
{
    const LevelMeterSettings &s = viewSettings();
    MeterFieldMask fields = levelFields;
    if (s.spectrum.show) fields |= spectrumFields;
    if (s.loudness.show) fields |= loudnessFields;
    if (s.phaseScope.show && s.phaseScope.placement != LissajousPlacement::None)
        fields |= bit(MeterField::LissajousPoints);
    return fields;
}

void LevelMeterWindow::meterDataChanged(MeterFieldMask fields)
{
    if (!(fields & drawnFields())) return;
    repaintFields(fields);
    if ((fields & (levelFields | loudnessFields)) && !descriptionTimer_.isActive()) descriptionTimer_.start();
}

void LevelMeterWindow::repaintFields(MeterFieldMask fields)
{
    const std::optional<LevelMeterLayout> &layout = view_.lastLayout();
    if (!layout) {
        update();
        return;
    }
    // Each panel is a full-width band; only the bands whose values changed are drawn
    // again, the rest stays as it is on screen.
    const auto band = [this](const std::optional<Rect> &panel) {
        if (!panel) return;
        constexpr double margin = 2.0; // antialiased edges and markers that reach past the panel
        const int top = static_cast<int>(std::floor(panel->y - margin));
        const int bottom = static_cast<int>(std::ceil(panel->bottom() + margin));
        update(QRect(0, top, width(), bottom - top));
    };
    if (fields & levelFields) {
        band(layout->numericValue);
        band(layout->barRow);
    }
    if (fields & spectrumFields) band(layout->spectrum);
    if (fields & loudnessFields) band(layout->loudness);
    if (fields & bit(MeterField::LissajousPoints)) {
        band(layout->phaseScopeTop);
        band(layout->phaseScopeBottom);
    }
}

void LevelMeterWindow::drawContent(QPainter &painter, const QRect &dirty)
{
    QtCanvas canvas(painter, &canvasCache_);
    const double now = static_cast<double>(clock_.nsecsElapsed()) * 1.0e-9;
    const Rect dirtyRect{static_cast<double>(dirty.x()), static_cast<double>(dirty.y()),
                         static_cast<double>(dirty.width()), static_cast<double>(dirty.height())};
    const Size size{static_cast<double>(width()), static_cast<double>(height())};
    view_.draw(canvas, size, meterData_.values(), viewSettings(), now,
               dirty == rect() ? std::nullopt : std::optional<Rect>(dirtyRect));
    // Only a drawing that reached the history panel shows its latest sample.
    if (const std::optional<LevelMeterLayout> &drawn = view_.lastLayout();
        history_ && drawn && drawn->history && (dirty == rect() || drawn->history->intersects(dirtyRect)))
        drawnHistorySamples_ = history_->totalSamples();
    if (sourcePrompt_) SourcePromptView::draw(canvas, size, *sourcePrompt_);
    // The loudness rings ease towards new values; keep drawing until they arrive, even
    // when no new values come (capture stopped).
    if (view_.isAnimating(now) && !animationTimer_.isActive()) animationTimer_.start();
}

void LevelMeterWindow::setSourcePrompt(std::optional<SourcePrompt> prompt)
{
    if (prompt.has_value() == sourcePrompt_.has_value() &&
        (!prompt || (prompt->headline == sourcePrompt_->headline && prompt->detail == sourcePrompt_->detail)))
        return;
    sourcePrompt_ = std::move(prompt);
    setToolTip(sourcePrompt_ ? QStringLiteral("Click to choose what the meters listen to") : QString());
    update();
}

bool LevelMeterWindow::handleContentPress(const QPoint &position)
{
    if (!sourcePrompt_) return false;
    QImage scratch(1, 1, QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&scratch);
    const QtCanvas measurer(painter, &canvasCache_);
    const Rect panel = SourcePromptView::panelRect({static_cast<double>(width()), static_cast<double>(height())},
                                                   *sourcePrompt_, measurer);
    if (position.x() < panel.x || position.x() > panel.x + panel.width || position.y() < panel.y ||
        position.y() > panel.y + panel.height)
        return false;
    emit sourcePromptClicked();
    return true;
}

void LevelMeterWindow::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton) emit resetPeaksRequested();
}
