#include "app/settingswindow/InputTab.h"

#include "app/settingswindow/AppAudioPanel.h"
#include "app/settingswindow/FileSourcePanel.h"
#include "app/settingswindow/ProcessTapPanel.h"
#include "app/settingswindow/SettingsControls.h"
#include "app/settingswindow/TestTonePanel.h"
#include "capture/AudioEngineControl.h"
#include "engine/AudioEngine.h"
#include "settings/AppSettings.h"
#include "settings/DefaultsStore.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

InputTab::InputTab(AudioEngine &engine, AudioEngineControl *control, QWidget *parent)
    : QWidget(parent), engine_(engine), control_(control)
{
    auto *outer = new QVBoxLayout(this);
    outer->addWidget(settings_controls::note(QStringLiteral(
        "The meters listen to one source at a time: an input device, one application, or the chosen "
        "applications together.")));

    auto *captureGroup = new QGroupBox(QStringLiteral("Capture"));
    auto *captureForm = new QFormLayout(captureGroup);
    startStop_ = new QPushButton;
    startStop_->setObjectName(QStringLiteral("startStop"));
    running_ = new QLabel;
    auto *runRow = new QHBoxLayout;
    runRow->addWidget(startStop_);
    runRow->addWidget(running_);
    runRow->addStretch(1);
    captureForm->addRow(QStringLiteral("Capture:"), runRow);
    status_ = settings_controls::note();
    status_->setObjectName(QStringLiteral("inputStatus"));
    status_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    captureForm->addRow(QStringLiteral("Status:"), status_);
    outer->addWidget(captureGroup);

    auto *deviceGroup = new QGroupBox(QStringLiteral("Input device"));
    auto *form = new QFormLayout(deviceGroup);
    source_ = new QComboBox;
    source_->setObjectName(QStringLiteral("inputSource"));
    source_->setMinimumContentsLength(28);
    source_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    form->addRow(QStringLiteral("Source:"), source_);
    form->addRow(QString(), settings_controls::note(QStringLiteral(
                                "\"System Default\" follows the desktop's default input. Choose \"Monitor of\" an "
                                "output to meter what plays there.")));
    testSignal_ = new QCheckBox(QStringLiteral("Replace the input by the test signal"));
    testSignal_->setObjectName(QStringLiteral("testSignal"));
    form->addRow(testSignal_);
    outer->addWidget(deviceGroup);

    outer->addWidget(new ProcessTapPanel(engine_.settings(), control_));
    outer->addWidget(new AppAudioPanel(control_));
    outer->addWidget(new FileSourcePanel(engine_, control_));
    outer->addWidget(new TestTonePanel);
    outer->addStretch(1);

    testSignal_->setChecked(engine_.testSignalEnabled());
    connect(testSignal_, &QCheckBox::toggled, &engine_, &AudioEngine::setTestSignalEnabled);
    connect(&engine_, &AudioEngine::testSignalEnabledChanged, this, [this](bool enabled) {
        const QSignalBlocker blocker(testSignal_);
        testSignal_->setChecked(enabled);
    });
    connect(&engine_, &AudioEngine::errorMessageChanged, this, &InputTab::refreshStatus);

    if (control_) {
        connect(source_, &QComboBox::activated, this,
                [this](int index) { control_->setSelectedInputDevice(source_->itemData(index).toString()); });
        connect(startStop_, &QPushButton::clicked, this, [this] {
            if (control_->isRunning())
                control_->stopEngine();
            else
                control_->startEngine();
        });
        connect(control_, &AudioEngineControl::availableInputDevicesChanged, this, &InputTab::refreshDevices);
        connect(control_, &AudioEngineControl::selectedInputDeviceChanged, this, &InputTab::refreshDevices);
        connect(control_, &AudioEngineControl::isRunningChanged, this, &InputTab::refreshRunning);
        connect(control_, &AudioEngineControl::selectedInputDeviceChanged, this, &InputTab::refreshStatus);
    } else {
        source_->setEnabled(false);
        startStop_->setEnabled(false);
    }
    refreshDevices();
    refreshRunning();
    refreshStatus();
}

void InputTab::refreshDevices()
{
    const QSignalBlocker blocker(source_);
    source_->clear();
    if (!control_) {
        source_->addItem(QStringLiteral("None"));
        return;
    }
    // Items show names and carry keys: two devices may share a description.
    for (const QString &name : control_->availableInputDevices())
        source_->addItem(name, control_->inputDeviceKey(name).value_or(name));
    const QString selected = control_->selectedInputDevice();
    // A saved device that is not plugged in right now still shows as the choice.
    if (source_->findData(selected) < 0) source_->addItem(control_->displayName(selected), selected);
    source_->setCurrentIndex(source_->findData(selected));
}

void InputTab::refreshRunning()
{
    const bool running = control_ && control_->isRunning();
    startStop_->setText(running ? QStringLiteral("Stop") : QStringLiteral("Start"));
    running_->setText(running ? QStringLiteral("Capturing") : QStringLiteral("Stopped"));
}

void InputTab::refreshStatus()
{
    QString text = engine_.errorMessage();
    if (!control_)
        text = QStringLiteral("Audio capture is not available in this run.");
    else if (text.isEmpty() && neverChoseSource())
        text = QStringLiteral("No source selected");
    else if (text.isEmpty())
        text = QStringLiteral("OK");
    status_->setText(text);
}

bool InputTab::neverChoseSource() const
{
    // "None" is also the stored default: only an absent choice means nobody chose yet.
    return control_ && control_->selectedInputDevice() == QLatin1String(AudioEngineControl::noneDevice) &&
           !engine_.settings().store().readString(QString::fromLatin1(AudioEngineControl::selectedInputDeviceKey));
}
