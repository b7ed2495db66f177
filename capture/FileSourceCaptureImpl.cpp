#include "capture/FileSourceCaptureImpl.h"

#include <QFileInfo>

#include <algorithm>
#include <chrono>

static_assert(std::atomic<std::int64_t>::is_always_lock_free);

namespace {

constexpr double maxPace = 1000.0;

CaptureBlockProcessor::Config processorConfig(double sampleRate)
{
    CaptureBlockProcessor::Config config;
    config.sampleRate = sampleRate;
    return config;
}

} // namespace

std::unique_ptr<FileSourceCaptureImpl> FileSourceCaptureImpl::open(const QString &path, AtFileEnd atEnd,
                                                                   double pace, QString &error)
{
    const QFileInfo file(path);
    if (!file.exists()) {
        error = QStringLiteral("the file does not exist");
        return nullptr;
    }
    if (file.isDir()) {
        error = QStringLiteral("that is a folder, not an audio file");
        return nullptr;
    }
    std::string problem;
    std::unique_ptr<FileBlockReader> reader =
        FileBlockReader::open(QFile::encodeName(path).toStdString(), blockFrames, problem);
    if (!reader) {
        error = QStringLiteral("not a readable audio file (%1)").arg(QString::fromStdString(problem).trimmed());
        return nullptr;
    }
    if (!(pace > 0.0)) pace = 1.0;
    return std::unique_ptr<FileSourceCaptureImpl>(
        new FileSourceCaptureImpl(std::move(reader), path, atEnd, std::min(pace, maxPace)));
}

FileSourceCaptureImpl::FileSourceCaptureImpl(std::unique_ptr<FileBlockReader> reader, const QString &path,
                                             AtFileEnd atEnd, double pace)
    : path_(path), atEnd_(atEnd), pace_(pace), reader_(std::move(reader)),
      processor_(std::make_shared<CaptureBlockProcessor>(processorConfig(reader_->sampleRate())))
{
    progressTimer_.setInterval(progressInterval);
    connect(&progressTimer_, &QTimer::timeout, this, &FileSourceCaptureImpl::checkProgress);
}

FileSourceCaptureImpl::~FileSourceCaptureImpl() { stop(); }

void FileSourceCaptureImpl::start()
{
    if (running_.exchange(true)) return;
    thread_ = std::thread([this] { run(); });
    progressTimer_.start();
}

void FileSourceCaptureImpl::stop()
{
    running_.store(false);
    if (thread_.joinable()) thread_.join();
    progressTimer_.stop();
}

void FileSourceCaptureImpl::setLoudnessMeter(std::shared_ptr<LoudnessMeter> meter)
{
    meter_.set(std::move(meter));
}

double FileSourceCaptureImpl::duration() const
{
    return static_cast<double>(reader_->frameCount()) / reader_->sampleRate();
}

double FileSourceCaptureImpl::position() const
{
    return static_cast<double>(position_.load(std::memory_order_relaxed)) / reader_->sampleRate();
}

double FileSourceCaptureImpl::elapsed() const
{
    return static_cast<double>(delivered_.load(std::memory_order_relaxed)) / reader_->sampleRate();
}

void FileSourceCaptureImpl::run()
{
    using Clock = std::chrono::steady_clock;
    const double framesPerSecond = reader_->sampleRate() * pace_;
    const auto due = [&](std::int64_t frames) {
        return std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(static_cast<double>(frames) / framesPerSecond));
    };
    // Times count from the start, not from block to block, so sleeping late never adds up.
    const Clock::time_point start = Clock::now();
    std::int64_t delivered = 0;
    std::size_t frames = reader_->read(blockFrames, atEnd_);
    while (running_.load(std::memory_order_relaxed)) {
        if (frames == 0) {
            // The file's integrated loudness and range include its last frames.
            meter_.finish();
            // Release: whoever sees the end also sees the last block's counters.
            ended_.store(true, std::memory_order_release);
            return;
        }
        processor_->processPlanar(reader_->left(), reader_->right(), frames);
        meter_.feed(reader_->frames(), frames);
        delivered += static_cast<std::int64_t>(frames);
        position_.store(reader_->position(), std::memory_order_relaxed);
        delivered_.store(delivered, std::memory_order_relaxed);
        // Read ahead: the next block is decoded while this one is "playing".
        frames = reader_->read(blockFrames, atEnd_);
        std::this_thread::sleep_until(start + due(delivered));
    }
}

void FileSourceCaptureImpl::checkProgress()
{
    const bool atEnd = hasEnded(); // acquire: the counters below are final once it is set
    const std::int64_t delivered = delivered_.load(std::memory_order_relaxed);
    if (delivered != reportedDelivered_) {
        reportedDelivered_ = delivered;
        emit positionChanged();
    }
    if (atEnd && !reportedEnd_) {
        reportedEnd_ = true;
        progressTimer_.stop();
        emit ended();
    }
}
