#pragma once

#include "capture/AudioPlatform.h"
#include "engine/dsp/CaptureBlockProcessor.h"

#include <QPointer>

#include <set>
#include <vector>

// A back-end that delivers nothing by itself; tests push blocks into its processor.
class FakeBackend final : public CaptureBackend {
    Q_OBJECT

public:
    FakeBackend(Kind kind, double sampleRate, int channels, bool watchesSilence)
        : kind_(kind), sampleRate_(sampleRate), channels_(channels), watchesSilence_(watchesSilence)
    {
    }

    Kind kind() const override { return kind_; }
    std::shared_ptr<AudioCaptureBackend> reader() const override { return processor; }
    std::shared_ptr<SpectralSettingsSink> spectralSink() const override
    {
        return kind_ == Kind::defaultInput ? processor : nullptr;
    }
    double sampleRate() const override { return sampleRate_; }
    int channelCount() const override { return channels_; }
    void setLoudnessMeter(std::shared_ptr<LoudnessMeter> meter) override { loudnessMeter = std::move(meter); }
    bool watchesForSilence() const override { return watchesSilence_; }
    void stop() override { stopped = true; }

    void changeSampleRate(double sampleRate)
    {
        sampleRate_ = sampleRate;
        emit configurationChanged();
    }
    void fail(const QString &reason) { emit failed(reason); }

    std::shared_ptr<CaptureBlockProcessor> processor = std::make_shared<CaptureBlockProcessor>();
    std::shared_ptr<LoudnessMeter> loudnessMeter;
    bool stopped = false;

private:
    Kind kind_;
    double sampleRate_;
    int channels_;
    bool watchesSilence_;
};

// An audio system whose devices, access and failures the test sets.
class FakeAudioPlatform final : public AudioPlatform {
    Q_OBJECT

public:
    Access access() const override { return access_; }
    QString accessProblem() const override { return problem; }
    std::vector<InputDevice> inputDevices() const override { return devices; }
    bool isDeviceAlive(std::uint32_t id) override { return !deadDevices.contains(id); }
    int defaultOutputChannelCount() const override { return 2; }
    QString defaultInputName() const override { return defaultInput; }

    StartResult startDefaultInput() override
    {
        ++defaultInputStarts;
        if (defaultInputFails) return {nullptr, QStringLiteral("no default source")};
        return started(CaptureBackend::Kind::defaultInput, 2, false);
    }

    StartResult startDevice(std::uint32_t id) override
    {
        deviceStarts.push_back(id);
        if (refusingDevices.contains(id)) return {nullptr, QStringLiteral("Could not start capture stream: busy")};
        return started(CaptureBackend::Kind::device, monoDevices.contains(id) ? 1 : 2, silenceWatchedDevices);
    }

    std::vector<AudioProcessInfo> audioProcesses() const override { return processes; }
    std::vector<CapturedApp> runningApps() const override { return apps; }
    StartResult startProcessTap(const AudioProcessInfo &process, bool) override
    {
        tapStarts.push_back(process);
        return started(CaptureBackend::Kind::processTap, 2, true);
    }
    StartResult startAppAudio(const QSet<QString> &bundleIDs) override
    {
        appAudioStarts.push_back(bundleIDs);
        return started(CaptureBackend::Kind::appAudio, 2, true);
    }

    void setAccess(Access access)
    {
        access_ = access;
        emit accessChanged();
    }
    // A device without a key is known by its name, as a platform without stable names would do.
    void plug(std::uint32_t id, const QString &name, const QString &key = {})
    {
        devices.push_back({id, name, key});
        emit devicesChanged();
    }
    void unplug(std::uint32_t id)
    {
        std::erase_if(devices, [&](const InputDevice &d) { return d.id == id; });
        emit devicesChanged();
    }
    void loseServer()
    {
        access_ = Access::unreachable;
        devices.clear();
        emit serverLost(QStringLiteral("The connection to the PipeWire audio server was lost."));
    }
    void wake() { emit woke(); }

    QString problem;
    std::vector<InputDevice> devices;
    QString defaultInput; // the desktop's default input as the system names it
    std::set<std::uint32_t> deadDevices;     // the alive query says "gone"
    std::set<std::uint32_t> refusingDevices; // startDevice fails
    std::set<std::uint32_t> monoDevices;     // one channel
    bool silenceWatchedDevices = false;      // device back-ends ask for the silence watch
    bool defaultInputFails = false;
    double sampleRate = 44100.0;             // of every started back-end
    std::vector<AudioProcessInfo> processes; // what plays audio, in the system's order
    std::vector<CapturedApp> apps;           // applications playing now

    int defaultInputStarts = 0;
    std::vector<std::uint32_t> deviceStarts;
    std::vector<AudioProcessInfo> tapStarts;   // every process tapped, in order
    std::vector<QSet<QString>> appAudioStarts; // every set of applications captured
    QPointer<FakeBackend> current;           // the latest started back-end while it lives

private:
    StartResult started(CaptureBackend::Kind kind, int channels, bool watchesSilence)
    {
        auto backend = std::make_unique<FakeBackend>(kind, sampleRate, channels, watchesSilence);
        current = backend.get();
        return {std::move(backend), {}};
    }

    Access access_ = Access::granted;
};
