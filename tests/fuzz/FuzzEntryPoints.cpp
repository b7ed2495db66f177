#include "tests/fuzz/FuzzEntryPoints.h"

#include "app/windows/FrameText.h"
#include "engine/MeterFileSession.h"
#include "engine/dsp/AudioFileReader.h"
#include "engine/analysis/FileAnalyzer.h"
#include "engine/dsp/MeterBallistics.h"
#include "engine/dsp/OctaveResolution.h"
#include "settings/AppSettings.h"
#include "settings/DefaultsStore.h"
#include "settings/GradientExchange.h"
#include "settings/GradientPreset.h"
#include "settings/SettingsExchange.h"
#include "tools/update/Appcast.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QString>
#include <QUrl>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace fuzz_entry {
namespace {

// A broken invariant is a finding like a sanitizer report: say which, then abort so
// that libFuzzer keeps the input.
void require(bool holds, const char *invariant)
{
    if (holds) return;
    std::fprintf(stderr, "fuzz invariant broken: %s\n", invariant);
    std::abort();
}

QByteArray bytes(Bytes data)
{
    return QByteArray(reinterpret_cast<const char *>(data.data()), static_cast<qsizetype>(data.size()));
}

std::string_view text(Bytes data)
{
    return {reinterpret_cast<const char *>(data.data()), data.size()};
}

EngineEnumerationNames engineNames()
{
    EngineEnumerationNames names;
    for (const MeterBallistics mode : meter_ballistics::allCases) {
        const std::string_view raw = meter_ballistics::rawValue(mode);
        names.ballisticsModes.push_back(QString::fromUtf8(raw.data(), static_cast<qsizetype>(raw.size())));
    }
    for (const OctaveResolution resolution : octave_resolution::allCases) {
        const std::string_view raw = octave_resolution::rawValue(resolution);
        names.octaveResolutions.push_back(QString::fromUtf8(raw.data(), static_cast<qsizetype>(raw.size())));
    }
    return names;
}

// The bytes as a file that libsndfile opens by path, without touching the disk: an
// anonymous memory file reached through /proc.
class MemoryFile {
public:
    explicit MemoryFile(Bytes data)
        : fd_(memfd_create("kelvra-fuzz-audio", 0))
    {
        require(fd_ >= 0, "memfd_create works");
        std::size_t written = 0;
        while (written < data.size()) {
            const ssize_t n = ::write(fd_, data.data() + written, data.size() - written);
            require(n > 0, "the memory file takes the input");
            written += static_cast<std::size_t>(n);
        }
    }
    ~MemoryFile() { ::close(fd_); }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(fd_); }

private:
    int fd_;
};

// meter-file ticks the whole engine 60 times per second of audio: a header that
// announces an hour at 1 Hz would make one input run for minutes without finding more.
constexpr double longestMeteredSeconds = 4.0;

} // namespace

void settingsExchange(Bytes data)
{
    QString error;
    const std::optional<ExportableSettings> record = settings_exchange::decode(bytes(data), error);
    if (!record) {
        require(!error.isEmpty(), "a rejected settings file says why");
        return;
    }
    // Whatever decode accepts, export can write, and reading that back gives the same file.
    const std::optional<QByteArray> written = settings_exchange::encode(*record, error);
    require(written.has_value(), "a decoded settings record encodes");
    const std::optional<ExportableSettings> reread = settings_exchange::decode(*written, error);
    require(reread.has_value(), "an encoded settings record decodes");
    const std::optional<QByteArray> rewritten = settings_exchange::encode(*reread, error);
    require(rewritten.has_value() && *rewritten == *written, "encode and decode round-trip");

    AppSettings settings(std::make_shared<MemoryDefaultsStore>());
    settings_exchange::apply(settings, *record, engineNames());
}

void gradientExchange(Bytes data)
{
    const gradient_exchange::DecodedGradients decoded = gradient_exchange::decode(bytes(data));
    if (!decoded.failure.isEmpty()) {
        require(decoded.presets.empty(), "a failed gradient file yields no presets");
        return;
    }
    const std::string written = gradient_presets::encodeJson(decoded.presets);
    require(!written.empty(), "decoded gradients encode");
    const gradient_exchange::DecodedGradients reread = gradient_exchange::decode(QByteArray::fromStdString(written));
    require(reread.failure.isEmpty() && reread.presets == decoded.presets, "gradient files round-trip");
}

void gradientJson(Bytes data)
{
    // The store's own reading, and the settings object that loads it at start.
    if (const auto presets = gradient_presets::decodeJson(text(data))) {
        const std::string written = gradient_presets::encodeJson(*presets);
        require(!written.empty(), "stored gradients encode");
        require(gradient_presets::decodeJson(written) == presets, "stored gradients round-trip");
    }
    if (const auto preset = gradient_presets::decodePresetJson(text(data))) {
        const std::string written = gradient_presets::encodeJson(*preset);
        require(!written.empty(), "a stored gradient encodes");
        require(gradient_presets::decodePresetJson(written) == preset, "a stored gradient round-trips");
    }
    auto store = std::make_shared<MemoryDefaultsStore>();
    store->writeData(QStringLiteral("customGradientsData"), bytes(data));
    AppSettings settings(store);
    require(!settings.gradientPresets().empty(), "the built-in gradients survive any stored data");
    settings.saveCustomGradients();
}

void frameText(Bytes data)
{
    const std::optional<QRect> frame = frame_text::parse(QString::fromUtf8(bytes(data)));
    if (!frame) return;
    require(frame->width() > 0 && frame->height() > 0, "a parsed frame has a positive size");
    require(frame_text::parse(frame_text::format(*frame)) == frame, "a frame round-trips through its text");
}

void appcast(Bytes data)
{
    const AppcastReadResult result = readAppcast(bytes(data), QUrl(QStringLiteral("https://updates.example.org/appcast.xml")));
    if (!result.newest) {
        require(!result.error.isEmpty(), "a feed without a release says why");
        return;
    }
    require(result.error.isEmpty() && !result.newest->version.isEmpty(), "the newest release has a version");
    for (const QUrl &url : {result.newest->releaseNotesUrl, result.newest->downloadUrl}) {
        const QString scheme = url.scheme();
        require(url.isEmpty() || scheme == u"http" || scheme == u"https", "feed links lead to the web only");
    }
}

void audioFile(Bytes data)
{
    const MemoryFile file(data);

    // The reader alone, in small awkward blocks.
    double seconds = 0.0;
    {
        AudioFileReader reader(file.path());
        if (!reader.isOpen()) {
            require(!reader.error().empty(), "an unreadable file says why");
            return;
        }
        require(reader.channels() > 0 && reader.sampleRate() > 0, "an open file has channels and a rate");
        require(static_cast<std::size_t>(reader.channelRoles().size()) == static_cast<std::size_t>(reader.channels()),
                "one loudness role per channel");
        constexpr std::size_t blockFrames = 333;
        std::vector<float> block(blockFrames * static_cast<std::size_t>(reader.channels()));
        std::int64_t frames = 0;
        while (const std::size_t got = reader.read(block.data(), blockFrames)) {
            require(got <= blockFrames, "a read returns at most the frames asked for");
            frames += static_cast<std::int64_t>(got);
        }
        require(frames == reader.framesRead(), "framesRead counts every frame returned");
        seconds = static_cast<double>(std::max(frames, reader.declaredFrames())) / reader.sampleRate();
    }

    // analyze: loudness and true peak of the same file.
    const FileAnalysis analysis = FileAnalyzer::analyze(file.path(), 1024);
    // Peaks exist only for a measured file; an empty or unmeasurable one has none.
    if (analysis.opened && analysis.frames > 0) {
        require(analysis.truePeaks.size() == static_cast<std::size_t>(analysis.channels) &&
                    analysis.samplePeaks.size() == analysis.truePeaks.size(),
                "one peak per channel");
        for (std::size_t c = 0; c < analysis.truePeaks.size(); ++c)
            require(!(analysis.truePeaks[c] < analysis.samplePeaks[c] * 0.999),
                    "the true peak is never below the sample peak");
    }

    // meter-file: the live meter's block path and engine on the same file.
    if (seconds > longestMeteredSeconds) return;
    ensureCoreApplication();
    MeterFileOptions options;
    options.path = file.path();
    options.reportInterval = 0.25;
    std::string error;
    int reports = 0;
    if (runMeterFile(options, [&reports](double, const MeterValues &) { ++reports; }, error))
        require(reports >= 1, "meter-file reports at least once");
    else
        require(!error.empty(), "a file meter-file cannot run says why");
}

EntryPoint entryPoint(std::string_view targetName)
{
    if (targetName == "settings_exchange") return settingsExchange;
    if (targetName == "gradient_exchange") return gradientExchange;
    if (targetName == "gradient_json") return gradientJson;
    if (targetName == "frame_text") return frameText;
    if (targetName == "appcast") return appcast;
    if (targetName == "audio_file") return audioFile;
    return nullptr;
}

void ensureCoreApplication()
{
    if (QCoreApplication::instance()) return;
    static int argc = 1;
    static char name[] = "kelvra-fuzz";
    static char *argv[] = {name, nullptr};
    static QCoreApplication application(argc, argv);
}

} // namespace fuzz_entry
