#include "app/settingswindow/SettingsWindow.h"

#include "app/settingswindow/InputTab.h"
#include "app/settingswindow/LevelMeterTab.h"
#include "app/settingswindow/SpectrumTab.h"

#include <QScrollArea>
#include <QTabWidget>
#include <QVBoxLayout>

namespace {

// Long pages scroll instead of making the window taller than a laptop screen.
QWidget *scrolling(QWidget *page)
{
    auto *area = new QScrollArea;
    area->setWidget(page);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    return area;
}

} // namespace

SettingsWindow::SettingsWindow(AppSettings &settings, AudioEngine &engine, AudioEngineControl *control,
                               QWidget *parent)
    : QWidget(parent, Qt::Window), tabs_(new QTabWidget), levelMeterTab_(new LevelMeterTab(settings))
{
    setObjectName(QStringLiteral("settings"));
    setWindowTitle(QStringLiteral("KelvraMeters Settings"));
    tabs_->addTab(scrolling(levelMeterTab_), QStringLiteral("Level Meter"));
    tabs_->addTab(scrolling(new SpectrumTab(settings)), QStringLiteral("Spectrum"));
    tabs_->addTab(scrolling(new PhaseScopeTab(settings)), QStringLiteral("Phase Scope"));
    tabs_->addTab(scrolling(new LoudnessTab(settings)), QStringLiteral("Loudness"));
    tabs_->addTab(scrolling(new InputTab(engine, control)), QStringLiteral("Input"));
    connect(levelMeterTab_, &LevelMeterTab::gradientEditorRequested, this, &SettingsWindow::gradientEditorRequested);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(tabs_);
    resize(560, 720);
}
