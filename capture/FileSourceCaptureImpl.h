#pragma once

#include "capture/CaptureBackend.h"
#include "engine/dsp/CaptureBlockProcessor.h"
#include "engine/dsp/FileBlockReader.h"
#include "engine/dsp/LoudnessMeterSlot.h"

#include <QString>
#include <QTimer>

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>

// An audio file as a live source: a thread of its own hands the file to the same block
// handling as a device, one block every blockFrames / (sampleRate * pace) seconds, so the
// meters show the file as if it played, without playing it aloud. No audio server is
// involved.
//
// The block processor gets the file as the meters' stereo pair (FileBlockReader folds
// more channels); the loudness meter gets every channel of the file with its BS.1770
// role, fed by the feeding thread itself, so a 5.1 file reads the loudness analyze gives.
//
// Threads: the feeding thread reads the next block right after delivering one and then
// sleeps until that block is due, so decoding never delays a delivery; it allocates
// nothing, never logs and never touches Qt. It publishes its progress in atomics; a
// main-thread timer turns them into positionChanged() and ended().
class FileSourceCaptureImpl final : public CaptureBackend {
    Q_OBJECT

public:
    static constexpr std::size_t blockFrames = 1024;
    // How often the main thread looks at the feeding thread's progress.
    static constexpr auto progressInterval = std::chrono::milliseconds(50);

    // nullptr and a message in `error` when the file cannot be read.
    // pace: 1 = real time, 8 = eight times faster (tests, batch checks); at most 1000.
    static std::unique_ptr<FileSourceCaptureImpl> open(const QString &path, AtFileEnd atEnd, double pace,
                                                       QString &error);
    ~FileSourceCaptureImpl() override;

    // Starts feeding from the first frame.
    void start();

    Kind kind() const override { return Kind::fileSource; }
    std::shared_ptr<AudioCaptureBackend> reader() const override { return processor_; }
    double sampleRate() const override { return reader_->sampleRate(); }
    int channelCount() const override { return static_cast<int>(reader_->channels()); }
    std::vector<int> loudnessChannelRoles() const override { return reader_->channelRoles(); }
    void setLoudnessMeter(std::shared_ptr<LoudnessMeter> meter) override;
    void stop() override;

    QString path() const { return path_; }
    AtFileEnd atEnd() const { return atEnd_; }
    double pace() const { return pace_; }
    // s, the file's length.
    double duration() const;
    // s, where in the file the last delivered block ended (wraps when looping).
    double position() const;
    // s, audio delivered since start(), over every loop.
    double elapsed() const;
    // The last frame was delivered (AtFileEnd::stop only); nothing more comes.
    bool hasEnded() const { return ended_.load(std::memory_order_acquire); }
    // After the end: the levels read as silence, as after a player that stopped.
    void silenceLevels() { processor_->resetLevels(); }

signals:
    // The position moved (at most every progressInterval).
    void positionChanged();
    // The end of the file was delivered; emitted once, after the last block's levels.
    void ended();

private:
    FileSourceCaptureImpl(std::unique_ptr<FileBlockReader> reader, const QString &path, AtFileEnd atEnd, double pace);
    void run();
    void checkProgress();

    QString path_;                                     // as given
    AtFileEnd atEnd_;                                  // loop or stop
    double pace_;                                      // playback speed factor
    std::unique_ptr<FileBlockReader> reader_;          // feeding thread only once started
    std::shared_ptr<CaptureBlockProcessor> processor_; // shared with the engine's tick; feeds no meter
    LoudnessMeterSlot meter_;                          // loudness of every channel, fed by the feeding thread
    std::atomic<std::int64_t> position_{0};            // frames: file position of the last delivery
    std::atomic<std::int64_t> delivered_{0};           // frames delivered since start()
    std::atomic<bool> ended_{false};                   // set after the last block (release)
    std::atomic<bool> running_{false};                 // cleared by stop()
    std::thread thread_;                               // the feeding thread
    QTimer progressTimer_;                             // main thread: polls the atomics
    std::int64_t reportedDelivered_ = -1;              // main thread: last value announced
    bool reportedEnd_ = false;                         // main thread: ended() was emitted
};
