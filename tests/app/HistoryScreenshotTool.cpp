// Renders the loudness history pictures of docs/images from real audio (see README,
// "Screenshots").
//
//   kelvra_history_screenshots live OUTPUT_DIR FILE SECONDS SPAN_MINUTES NAME
//     plays FILE through the meters as `kelvrameters --source-file FILE` does, in real
//     time (FILE "-": captures the default input instead, e.g. the private audio
//     server's virtual microphone fed by pw-play), then saves the level meter window and
//     a loudness report of the run.
//   kelvra_history_screenshots offline OUTPUT_DIR FILE SPAN_MINUTES NAME
//     measures FILE as fast as it decodes, sampling the history as 60 Hz ticks would, and
//     draws the level meter window from that recorded history (for spans too long to wait
//     for).

#include "app/services/LoudnessReport.h"
#include "app/shell/DarkAppearance.h"
#include "app/shell/KelvraApplication.h"
#include "app/windows/LevelMeterWindow.h"
#include "capture/AudioEngineControl.h"
#include "capture/pipewire/PipeWireAudioPlatform.h"
#include "engine/dsp/FileBlockReader.h"
#include "engine/dsp/LoudnessMeter.h"
#include "settings/AppSettings.h"
#include "views/qt/QtCanvas.h"
#include "views/qt/ViewRenderer.h"
#include "views/qt/ViewSettingsFromAppSettings.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QPainter>
#include <QTimer>

#include <cmath>
#include <cstdio>

namespace {

constexpr Size windowSize{360.0, 820.0};

std::shared_ptr<MemoryDefaultsStore> storeWithHistory(int spanMinutes)
{
    auto store = std::make_shared<MemoryDefaultsStore>();
    AppSettings settings(store);
    settings.setShowLUFSMeter(true);
    settings.setShowLoudnessHistory(true);
    settings.setLoudnessHistoryHeight(150.0);
    settings.setLoudnessHistoryMinutes(spanMinutes);
    settings.setSelectedBroadcastPresetName(QStringLiteral("EBU R128"));
    store->writeString(QStringLiteral("KelvraMeters.windowFrame.levelMeter"),
                       QStringLiteral("{{40, 40}, {%1, %2}}").arg(windowSize.width).arg(windowSize.height));
    return store;
}

bool writeReport(const QDir &dir, const QString &name, const LoudnessHistory &history, const MeterValues &values,
                 const QString &source, const std::optional<BroadcastPreset> &preset)
{
    const LoudnessReport report = loudness_report::build(history, values, source, QDateTime::currentDateTime());
    const QString error =
        loudness_report::write(dir.filePath(name + QStringLiteral("-report.png")), report,
                               loudness_report::historyImage(history, preset, loudness_report::spanFor(history)));
    std::fprintf(stderr, "%s\n", error.isEmpty() ? qPrintable(loudness_report::text(report)) : qPrintable(error));
    return error.isEmpty();
}

int live(const QDir &dir, const QString &file, int seconds, int span, const QString &name)
{
    const bool defaultInput = file == QStringLiteral("-");
    const std::shared_ptr<MemoryDefaultsStore> store = storeWithHistory(span);
    if (defaultInput)
        store->writeString(QString::fromLatin1(AudioEngineControl::selectedInputDeviceKey),
                           QString::fromLatin1(AudioEngineControl::systemDefaultDevice));
    AppSettings settings(store);
    KelvraApplication::Options options;
    options.platform = std::make_unique<PipeWireAudioPlatform>();
    options.trayIcon = false;
    options.showNumericalMeter = false;
    if (!defaultInput) options.sourceFile = file;
    options.sourceFileEnd = AtFileEnd::stop;
    KelvraApplication shell(settings, std::move(options));
    shell.start();

    int failures = 0;
    QTimer::singleShot(seconds * 1000, qApp, [&] {
        const QString path = dir.filePath(name + QStringLiteral(".png"));
        const bool saved = shell.levelMeterWindow().grab().save(path);
        std::fprintf(stderr, "%s %s\n", saved ? "wrote" : "could not write", qPrintable(path));
        failures += !saved;
        failures += !writeReport(dir, name, shell.engine().loudnessHistory(), shell.engine().meterData().values(),
                                 defaultInput ? QStringLiteral("Default input")
                                              : QStringLiteral("File: ") + QFileInfo(file).fileName(),
                                 settings.selectedBroadcastPreset());
        QCoreApplication::quit();
    });
    qApp->exec();
    return failures;
}

int offline(const QDir &dir, const QString &file, int span, const QString &name)
{
    constexpr std::size_t tickFrames = 800; // 1/60 s at 48 kHz
    std::string error;
    const std::unique_ptr<FileBlockReader> reader = FileBlockReader::open(file.toStdString(), tickFrames, error);
    if (!reader) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    LoudnessMeter meter(static_cast<int>(reader->fileChannels()), static_cast<int>(reader->sampleRate()),
                        reader->channelRoles(), LoudnessMeter::Options{});
    LoudnessHistory history;
    double now = 0.0;
    float peak = 0.0f;
    double square = 0.0;
    std::size_t frames = 0;
    while (const std::size_t count = reader->read(tickFrames, AtFileEnd::stop)) {
        meter.addInterleaved(reader->frames(), count);
        const LoudnessValues v = meter.read();
        history.advance(now, {v.momentary, v.shortTerm, v.integrated, std::max(v.truePeakLeft, v.truePeakRight)});
        now += static_cast<double>(count) / reader->sampleRate();
        // Levels of the last tenth of a second, for the bars.
        if (reader->position() + 4800 >= reader->frameCount()) {
            for (std::size_t i = 0; i < count; ++i) {
                peak = std::max(peak, std::fabs(reader->left()[i]));
                square += static_cast<double>(reader->left()[i]) * reader->left()[i];
            }
            frames += count;
        }
    }

    AppSettings settings(storeWithHistory(span));
    // Nothing recorded for these: the picture leaves them out rather than show them empty.
    settings.setShowSpectralMeter(false);
    settings.setShowLissajousMeter(false);
    ViewFrame frame;
    frame.levelMeter = levelMeterSettings(settings);
    MeterValues &values = frame.values;
    values.setLoudness(meter.read());
    const float peakDb = 20.0f * std::log10(std::max(peak, 1e-6f));
    const float rmsDb = 10.0f * static_cast<float>(std::log10(std::max(square / std::max<std::size_t>(frames, 1), 1e-12)));
    values.peakLevelLeft = values.peakLevelRight = peakDb;
    values.maxPeakLeft = values.maxPeakRight = peakDb;
    values.rmsLevelLeft = values.rmsLevelRight = rmsDb;
    frame.nowSeconds = 10.0; // rings settled

    const Size size{windowSize.width, 620.0}; // without the spectrum and the phase scope
    QImage image(static_cast<int>(size.width * 2), static_cast<int>(size.height * 2),
                 QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(2.0);
    image.fill(Qt::black);
    QPainter painter(&image);
    QtCanvas canvas(painter);
    LevelMeterView view;
    view.setLoudnessHistory(&history);
    drawView(canvas, ViewKind::LevelMeterWindow, size, frame, view);
    painter.end();
    const QString path = dir.filePath(name + QStringLiteral(".png"));
    const bool saved = image.save(path);
    std::fprintf(stderr, "%s %s\n", saved ? "wrote" : "could not write", qPrintable(path));
    const bool reported = writeReport(dir, name, history, values, QStringLiteral("File: ") + QFileInfo(file).fileName(),
                                      settings.selectedBroadcastPreset());
    return (saved ? 0 : 1) + (reported ? 0 : 1);
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    applyDarkAppearance(app);
    if (args.size() == 7 && args[1] == QStringLiteral("live"))
        return live(QDir(args[2]), args[3], args[4].toInt(), args[5].toInt(), args[6]);
    if (args.size() == 6 && args[1] == QStringLiteral("offline"))
        return offline(QDir(args[2]), args[3], args[4].toInt(), args[5]);
    std::fputs("usage: kelvra_history_screenshots live OUTPUT_DIR FILE SECONDS SPAN_MINUTES NAME\n"
               "       kelvra_history_screenshots offline OUTPUT_DIR FILE SPAN_MINUTES NAME\n",
               stderr);
    return 2;
}
