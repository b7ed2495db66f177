#pragma once

// A live-capture test fixture: a private PipeWire session, an engine with every panel
// on, the real platform, and checks of the published meter values against a sine.

#include "capture/AudioEngineControl.h"
#include "capture/pipewire/PipeWireAudioPlatform.h"
#include "engine/AudioEngine.h"
#include "settings/AppSettings.h"
#include "settings/DefaultsStore.h"
#include "tests/capture/AudioTestSession.h"
#include "tests/engine/QtTestSupport.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>
#include <optional>
#include <string>

using namespace std::chrono_literals;

namespace live_capture {

using Kind = CaptureBackend::Kind;

const QString systemDefault = QStringLiteral("System Default");
const QString virtualMic = QStringLiteral("Virtual Mic");
constexpr double toneFrequency = 997.0; // Hz
constexpr double toneSeconds = 60.0;    // longer than any test: the player never has to loop

class LiveCaptureFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        testApplication();
        session_ = std::make_unique<AudioTestSession>();
        ASSERT_TRUE(session_->error().isEmpty()) << session_->error().toStdString();
        settings_.setShowSpectralMeter(true);
        settings_.setShowLissajousMeter(true);
        settings_.setShowLUFSMeter(true);
        engine_ = std::make_unique<AudioEngine>(settings_);
        platform_ = std::make_unique<PipeWireAudioPlatform>();
        ASSERT_TRUE(waitUntil([&] { return platform_->access() == AudioPlatform::Access::granted; }, 5s))
            << platform_->accessProblem().toStdString();
    }

    AudioEngineControl &startCapture(const QString &selection)
    {
        store_.writeString(QString::fromLatin1(AudioEngineControl::selectedInputDeviceKey), selection);
        control_ = std::make_unique<AudioEngineControl>(*engine_, *platform_, store_);
        control_->startIfNeeded();
        return *control_;
    }

    void playTone(double peakDbfs, const QString &target = QStringLiteral("mic-feed"))
    {
        const QString name = QStringLiteral("tone%1.wav").arg(peakDbfs);
        const QString file = session_->makeTone(toneFrequency, peakDbfs, toneSeconds, name);
        ASSERT_FALSE(file.isEmpty()) << "sox could not write " << name.toStdString();
        session_->play(file, target);
    }

    const MeterValues &values() const { return engine_->meterData().values(); }

    // The process playing as `name`, once the server has announced it to control_.
    std::optional<AudioProcessInfo> process(const QString &name)
    {
        std::optional<AudioProcessInfo> found;
        waitUntil(
            [&] {
                control_->refreshAudioProcesses();
                for (const AudioProcessInfo &p : control_->availableAudioProcesses()) {
                    if (p.name == name) found = p;
                }
                return found.has_value();
            },
            5s);
        return found;
    }

    // Whether the meters show a sine of this peak level over `window`: the published
    // peak and RMS reach it within 0.1 dB on both channels, and between blocks they dip
    // by no more than one fall step (a steady level falls a whole step whenever a block
    // reads a hair lower, and jumps back with the next).
    bool showsSine(double peakDbfs, std::chrono::milliseconds window)
    {
        const double rmsDbfs = peakDbfs - 20.0 * std::log10(std::numbers::sqrt2);
        float highPeak = -100.0f, lowPeak = 100.0f, highRms = -100.0f, lowRms = 100.0f;
        waitUntil(
            [&] {
                const MeterValues &v = values();
                highPeak = std::max(highPeak, std::min(v.peakLevelLeft, v.peakLevelRight));
                lowPeak = std::min({lowPeak, v.peakLevelLeft, v.peakLevelRight});
                highRms = std::max(highRms, std::min(v.rmsLevelLeft, v.rmsLevelRight));
                lowRms = std::min({lowRms, v.rmsLevelLeft, v.rmsLevelRight});
                return false;
            },
            window);
        lastSpan_ = "peak " + std::to_string(lowPeak) + " ... " + std::to_string(highPeak) + ", rms " +
                    std::to_string(lowRms) + " ... " + std::to_string(highRms);
        const double peakStep = 26.0 / 60.0; // dB, one tick of the default fall at 60 Hz
        return std::fabs(highPeak - peakDbfs) <= 0.1 && std::fabs(highRms - rmsDbfs) <= 0.1 &&
               lowPeak >= peakDbfs - 0.1 - peakStep - 0.05 && lowRms >= rmsDbfs - 0.1 - 0.7 * peakStep - 0.05;
    }

    // Waits (up to `timeout`) until showsSine holds over a 0.4 s window.
    bool waitForSine(double peakDbfs, std::chrono::milliseconds timeout)
    {
        QElapsedTimer elapsed;
        elapsed.start();
        while (elapsed.elapsed() < slowBuildAllowance(timeout).count()) {
            if (showsSine(peakDbfs, 400ms)) return true;
        }
        return false;
    }

    std::string describeLevels() const
    {
        const MeterValues &v = values();
        return "now peak " + std::to_string(v.peakLevelLeft) + "/" + std::to_string(v.peakLevelRight) + ", rms " +
               std::to_string(v.rmsLevelLeft) + "/" + std::to_string(v.rmsLevelRight) + "; last window " +
               lastSpan_ + "; status \"" + engine_->errorMessage().toStdString() + "\"";
    }

    Kind runningKind() const
    {
        const CaptureBackend *backend = control_->activeCaptureBackend();
        return backend ? backend->kind() : Kind::testSignal;
    }

    // Destroyed bottom-up: the control lets go of the platform and engine, the session
    // (the server) goes last.
    std::unique_ptr<AudioTestSession> session_;
    AppSettings settings_{std::make_shared<MemoryDefaultsStore>()};
    MemoryDefaultsStore store_;
    std::unique_ptr<AudioEngine> engine_;
    std::unique_ptr<PipeWireAudioPlatform> platform_;
    std::unique_ptr<AudioEngineControl> control_;
    std::string lastSpan_; // what the latest showsSine window saw
};

} // namespace live_capture
