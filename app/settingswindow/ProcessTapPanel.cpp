#include "app/settingswindow/ProcessTapPanel.h"

#include "app/settingswindow/SettingsBinder.h"
#include "app/settingswindow/SettingsControls.h"
#include "capture/AudioEngineControl.h"
#include "settings/AppSettings.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFontDatabase>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>

#include <algorithm>
#include <chrono>

using namespace settings_controls;

namespace {

constexpr auto diagnosticsInterval = std::chrono::milliseconds(250);

// "Firefox — playing", "Firefox (idle)"; two processes of one name are told apart by
// their process id.
QString processText(const AudioProcessInfo &process, bool nameIsShared)
{
    QString text = process.name;
    if (nameIsShared) text += QStringLiteral(" [PID %1]").arg(process.objectID);
    return text + (process.isAudioActive ? QStringLiteral(" \u2014 playing") : QStringLiteral(" (idle)"));
}

} // namespace

ProcessTapPanel::ProcessTapPanel(AppSettings &settings, AudioEngineControl *control, QWidget *parent)
    : QGroupBox(QStringLiteral("One application (process tap)"), parent), control_(control),
      binder_(new SettingsBinder(settings, this))
{
    form_ = new QFormLayout(this);
    form_->addRow(note(QStringLiteral(
        "Meters what one application plays, taken straight from its playback streams. The application "
        "stays audible and the system's mix is left as it is.")));
    addPickerRows();
    addMixdownRows();

    diagnostics_ = new QLabel;
    diagnostics_->setObjectName(QStringLiteral("tapDiagnostics"));
    QFont mono = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    mono.setPointSizeF(std::max(6.0, font().pointSizeF() - 1.0));
    diagnostics_->setFont(mono);
    diagnostics_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    diagnostics_->setToolTip(QStringLiteral(
        "Channels of each buffer received, the mode (det = own front pair, mix = mixdown with its gain) and the "
        "buffer read; the peaks of left/right as linear values, then in dBFS."));
    form_->addRow(QStringLiteral("Diagnostics:"), diagnostics_);
    diagnosticsTimer_.setInterval(diagnosticsInterval);
    connect(&diagnosticsTimer_, &QTimer::timeout, this, &ProcessTapPanel::refreshDiagnostics);

    if (control_) {
        connect(control_, &AudioEngineControl::availableAudioProcessesChanged, this,
                &ProcessTapPanel::refreshProcesses);
        connect(control_, &AudioEngineControl::activeProcessTapNameChanged, this, &ProcessTapPanel::refreshTap);
        connect(control_, &AudioEngineControl::isRunningChanged, this, &ProcessTapPanel::refreshTap);
        connect(control_, &AudioEngineControl::processTapBundleIDChanged, this, &ProcessTapPanel::refreshTap);
    } else {
        setEnabled(false);
    }
    refreshProcesses();
    refreshTap();
}

void ProcessTapPanel::addPickerRows()
{
    process_ = new QComboBox;
    process_->setObjectName(QStringLiteral("tapProcess"));
    process_->setPlaceholderText(QStringLiteral("No application is playing audio"));
    process_->setMinimumContentsLength(20);
    process_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    auto *refresh = new QPushButton(QStringLiteral("Refresh"));
    refresh->setObjectName(QStringLiteral("tapRefresh"));
    refresh->setToolTip(QStringLiteral("Look again for applications that play audio"));
    auto *pickRow = new QHBoxLayout;
    pickRow->addWidget(process_, 1);
    pickRow->addWidget(refresh);
    form_->addRow(QStringLiteral("Application:"), pickRow);

    startStop_ = new QPushButton;
    startStop_->setObjectName(QStringLiteral("tapStartStop"));
    tapped_ = new QLabel;
    tapped_->setObjectName(QStringLiteral("tapName"));
    auto *tapRow = new QHBoxLayout;
    tapRow->addWidget(startStop_);
    tapRow->addWidget(tapped_, 1);
    form_->addRow(QStringLiteral("Tap:"), tapRow);

    if (!control_) return;
    connect(refresh, &QPushButton::clicked, control_, &AudioEngineControl::refreshAudioProcesses);
    connect(startStop_, &QPushButton::clicked, this, &ProcessTapPanel::toggleTap);
    connect(process_, &QComboBox::currentIndexChanged, this, &ProcessTapPanel::refreshTap);
}

void ProcessTapPanel::addMixdownRows()
{
    deterministic_ = new QCheckBox(QStringLiteral("Take the application's own front left/right channels (deterministic)"));
    deterministic_->setObjectName(QStringLiteral("tapDeterministic"));
    binder_->bind(deterministic_, &AppSettings::processTapDeterministic, &AppSettings::setProcessTapDeterministic);
    form_->addRow(deterministic_);
    form_->addRow(note(QStringLiteral(
        "When off, all of its channels are mixed down to stereo and raised by the mixdown gain, so surround "
        "content is metered completely.")));

    autoGain_ = new QCheckBox(QStringLiteral("Automatic"));
    autoGain_->setObjectName(QStringLiteral("tapMixdownAuto"));
    autoGain_->setToolTip(QStringLiteral("Set from the number of channels of the default output"));
    binder_->bind(autoGain_, &AppSettings::processTapMixdownAuto, &AppSettings::setProcessTapMixdownAuto);
    gain_ = doubleSpin(0.5, 12.0, 0.1, 2, QStringLiteral(" \u00d7"));
    gain_->setObjectName(QStringLiteral("tapMixdownGain"));
    binder_->bind(gain_, &AppSettings::processTapMixdownGain, &AppSettings::setProcessTapMixdownGain);
    auto *gainRow = new QHBoxLayout;
    gainRow->addWidget(autoGain_);
    gainRow->addWidget(gain_);
    gainRow->addStretch(1);
    form_->addRow(QStringLiteral("Mixdown gain:"), gainRow);

    reference_ = doubleSpin(-60.0, 0.0, 1.0, 1, QStringLiteral(" dBFS"));
    reference_->setObjectName(QStringLiteral("tapReferenceLevel"));
    reference_->setValue(-18.0);
    calibrate_ = new QPushButton(QStringLiteral("Calibrate"));
    calibrate_->setObjectName(QStringLiteral("tapCalibrate"));
    auto *calibrateRow = new QHBoxLayout;
    calibrateRow->addWidget(new QLabel(QStringLiteral("Reference tone at")));
    calibrateRow->addWidget(reference_);
    calibrateRow->addWidget(calibrate_);
    calibrateRow->addStretch(1);
    form_->addRow(QStringLiteral("Calibrate:"), calibrateRow);
    form_->addRow(QString(), note(QStringLiteral(
        "Play a tone of that peak level in the tapped application, then calibrate: the mixdown gain is set "
        "so the meter reads the same level.")));
    calibration_ = new QLabel;
    calibration_->setObjectName(QStringLiteral("tapCalibration"));
    calibration_->setWordWrap(true);
    calibration_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    form_->addRow(QString(), calibration_);
    form_->setRowVisible(calibration_, false); // until there is an outcome to show
    connect(calibrate_, &QPushButton::clicked, this, &ProcessTapPanel::calibrate);

    // The gain matters only for a mixdown, and is the user's to set only when not automatic.
    binder_->addRefresher([this] {
        const bool mixdown = !binder_->settings().processTapDeterministic();
        autoGain_->setEnabled(mixdown);
        gain_->setEnabled(mixdown && !binder_->settings().processTapMixdownAuto());
        reference_->setEnabled(mixdown);
        calibrate_->setEnabled(mixdown && control_ && control_->isProcessTapRunning());
    });
}

void ProcessTapPanel::showEvent(QShowEvent *event)
{
    QGroupBox::showEvent(event);
    refreshTap();
}

void ProcessTapPanel::hideEvent(QHideEvent *event)
{
    QGroupBox::hideEvent(event);
    diagnosticsTimer_.stop();
}

void ProcessTapPanel::refreshProcesses()
{
    const QSignalBlocker blocker(process_);
    const QVariant chosen = process_->currentData();
    process_->clear();
    if (control_) {
        const std::vector<AudioProcessInfo> &processes = control_->availableAudioProcesses();
        for (const AudioProcessInfo &process : processes) {
            const bool shared = std::count_if(processes.begin(), processes.end(), [&](const AudioProcessInfo &p) {
                                    return p.name == process.name;
                                }) > 1;
            process_->addItem(processText(process, shared), process.objectID);
            process_->setItemData(process_->count() - 1, process.bundleID.value_or(process.name), Qt::ToolTipRole);
        }
    }
    // Keep the user's choice across refreshes; the list is sorted active first, so
    // without a choice the first entry is the likeliest one.
    const int kept = chosen.isValid() ? process_->findData(chosen) : -1;
    process_->setCurrentIndex(kept >= 0 ? kept : (process_->count() > 0 ? 0 : -1));
    refreshTap();
}

void ProcessTapPanel::refreshTap()
{
    const bool tapping = control_ && control_->isProcessTapRunning();
    startStop_->setText(tapping ? QStringLiteral("Stop tap") : QStringLiteral("Start tap"));
    startStop_->setEnabled(control_ && (tapping || process_->currentIndex() >= 0));

    const QString name = control_ ? control_->activeProcessTapName() : QString();
    if (name.isEmpty())
        tapped_->setText(QStringLiteral("Not tapping"));
    else if (tapping)
        tapped_->setText(QStringLiteral("Tapping %1").arg(name));
    else
        tapped_->setText(name); // a restore in progress says how it goes

    calibrate_->setEnabled(tapping && !binder_->settings().processTapDeterministic());

    // Polling costs a lock on the tap's diagnostics, so only while someone can see them.
    if (tapping && isVisible()) {
        if (!diagnosticsTimer_.isActive()) diagnosticsTimer_.start();
    } else {
        diagnosticsTimer_.stop();
    }
    refreshDiagnostics();
}

void ProcessTapPanel::refreshDiagnostics()
{
    if (!control_ || !control_->isProcessTapRunning()) {
        diagnostics_->setText(QStringLiteral("(shown while a tap runs)"));
        return;
    }
    const ProcessTapDiagnostics diagnostics = control_->processTapDiagnostics();
    diagnostics_->setText(QString::fromStdString(diagnostics.line1() + '\n' + diagnostics.line2() + '\n' +
                                                 diagnostics.line3()));
}

void ProcessTapPanel::toggleTap()
{
    if (control_->isProcessTapRunning()) {
        control_->stopProcessTapCapture();
        return;
    }
    const QVariant chosen = process_->currentData();
    const std::vector<AudioProcessInfo> &processes = control_->availableAudioProcesses();
    const auto found = std::find_if(processes.begin(), processes.end(), [&](const AudioProcessInfo &p) {
        return QVariant(p.objectID) == chosen;
    });
    if (found == processes.end()) return;
    // A copy: starting may publish a new process list under our feet.
    const AudioProcessInfo process = *found;
    control_->startProcessTapCapture(process);
    // An outcome for the previous tap says nothing about this one.
    form_->setRowVisible(calibration_, false);
}

void ProcessTapPanel::calibrate()
{
    calibration_->setText(control_->calibrateProcessTapMixdown(reference_->value()));
    form_->setRowVisible(calibration_, true);
}
