#include "tests/capture/AudioTestSession.h"

#include <QCoreApplication>
#include <QDir>

#include <cmath>
#include <csignal>

#include <sys/types.h>
#include <unistd.h>

namespace {

constexpr int scriptTimeoutMs = 20000;

QString sourceDirectory()
{
    const QByteArray fromEnvironment = qgetenv("KELVRA_SOURCE_DIR");
    return fromEnvironment.isEmpty() ? QStringLiteral(KELVRA_TEST_SOURCE_DIR) : QString::fromLocal8Bit(fromEnvironment);
}

} // namespace

AudioTestSession::AudioTestSession()
    : script_(sourceDirectory() + QStringLiteral("/scripts/audio-test-env.sh"))
{
    QString output;
    if (!runScript({QStringLiteral("start"), QString::number(::getpid())}, &output)) return;
    for (const QString &line : output.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        const qsizetype equals = line.indexOf(QLatin1Char('='));
        if (equals <= 0) continue;
        const QString key = line.left(equals);
        const QString value = line.mid(equals + 1);
        if (key == QStringLiteral("KELVRA_AUDIO_TEST_DIR")) directory_ = value;
        qputenv(key.toLocal8Bit().constData(), value.toLocal8Bit());
    }
    qunsetenv("PIPEWIRE_REMOTE");
    if (directory_.isEmpty()) error_ = QStringLiteral("the session script printed no directory: ") + output;
}

AudioTestSession::~AudioTestSession()
{
    stopPlaying();
    if (!directory_.isEmpty()) runScript({QStringLiteral("stop"), directory_});
}

bool AudioTestSession::runScript(const QStringList &arguments, QString *output)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.start(QStringLiteral("bash"), QStringList{script_} + arguments);
    if (!process.waitForFinished(scriptTimeoutMs) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        error_ = QStringLiteral("audio-test-env.sh %1 failed: %2")
                     .arg(arguments.join(QLatin1Char(' ')), QString::fromLocal8Bit(process.readAllStandardError()));
        if (process.state() != QProcess::NotRunning) process.kill();
        return false;
    }
    if (output) *output = QString::fromLocal8Bit(process.readAllStandardOutput());
    return true;
}

void AudioTestSession::play(const QString &file, const QString &target)
{
    // pw-play plays a file once and ends with its server; the loop keeps the signal
    // going, also across a server restart.
    startClient(QStringLiteral("bash"),
                {QStringLiteral("-c"), QStringLiteral("while :; do pw-play --target \"$1\" \"$2\"; sleep 0.1; done"),
                 QStringLiteral("play"), target, file});
}

qint64 AudioTestSession::startClient(const QString &program, const QStringList &arguments)
{
    auto client = std::make_unique<QProcess>();
    // A process group of its own, so that stopping it takes its children along.
    client->setChildProcessModifier([] { ::setpgid(0, 0); });
    client->start(program, arguments);
    client->waitForStarted();
    const qint64 pid = client->processId();
    clients_.push_back(std::move(client));
    return pid;
}

qint64 AudioTestSession::playAs(const QString &file, const QString &streamProperties)
{
    return startClient(QStringLiteral("pw-play"),
                       {QStringLiteral("-P"), QStringLiteral("{ %1 }").arg(streamProperties), file});
}

void AudioTestSession::stopClient(qint64 pid)
{
    for (auto it = clients_.begin(); it != clients_.end(); ++it) {
        if ((*it)->processId() != pid) continue;
        ::kill(-static_cast<pid_t>(pid), SIGKILL);
        (*it)->waitForFinished(2000);
        clients_.erase(it);
        return;
    }
}

QString AudioTestSession::toolOutput(const QString &program, const QStringList &arguments)
{
    QProcess tool;
    tool.start(program, arguments);
    tool.waitForFinished(scriptTimeoutMs);
    return QString::fromLocal8Bit(tool.readAllStandardOutput());
}

void AudioTestSession::stopPlaying()
{
    for (auto &player : clients_) {
        const qint64 pid = player->processId();
        if (pid > 0) ::kill(-static_cast<pid_t>(pid), SIGKILL);
        player->waitForFinished(2000);
    }
    clients_.clear();
}

bool AudioTestSession::plug(const QStringList &names)
{
    return runScript(QStringList{QStringLiteral("plug"), directory_} + names);
}

bool AudioTestSession::unplug(const QString &name) { return runScript({QStringLiteral("unplug"), directory_, name}); }

QString AudioTestSession::feedSinkFor(const QString &name)
{
    if (const qsizetype equals = name.indexOf(QLatin1Char('=')); equals >= 0)
        return name.mid(equals + 1) + QStringLiteral("-feed");
    QString tag = name;
    for (QChar &c : tag) {
        if (!(c.isLetterOrNumber() && c.unicode() < 128)) c = QLatin1Char('-');
    }
    return QStringLiteral("plug-") + tag + QStringLiteral("-feed");
}

bool AudioTestSession::restartServer() { return runScript({QStringLiteral("restart-server"), directory_}); }

QString AudioTestSession::makeTone(double frequency, double peakDbfs, double seconds, const QString &name)
{
    const QString path = QDir(directory_).filePath(name);
    const QStringList format = QStringLiteral("-n -b 32 -e floating-point -r 48000 -c 2").split(QLatin1Char(' '));
    const int status = QProcess::execute(QStringLiteral("sox"),
                                         format + QStringList{path, QStringLiteral("synth"), QString::number(seconds),
                                                              QStringLiteral("sine"), QString::number(frequency),
                                                              QStringLiteral("gain"), QString::number(peakDbfs)});
    return status == 0 ? path : QString();
}

QString AudioTestSession::makeChannelTones(const std::vector<double> &channelPeaksDbfs, double seconds,
                                          const QString &name)
{
    const QString path = QDir(directory_).filePath(name);
    QStringList arguments = QStringLiteral("-n -b 32 -e floating-point -r 48000 -c").split(QLatin1Char(' '));
    arguments << QString::number(channelPeaksDbfs.size()) << path << QStringLiteral("synth")
              << QString::number(seconds);
    for (std::size_t c = 0; c < channelPeaksDbfs.size(); ++c) arguments << QStringLiteral("sine") << QStringLiteral("997");
    // One gain per channel through "remix": channel n scaled to its peak, or silent.
    arguments << QStringLiteral("remix");
    for (std::size_t c = 0; c < channelPeaksDbfs.size(); ++c) {
        const double peak = channelPeaksDbfs[c];
        arguments << (peak < -200.0 ? QStringLiteral("0")
                                    : QStringLiteral("%1v%2").arg(c + 1).arg(std::pow(10.0, peak / 20.0), 0, 'f', 6));
    }
    return QProcess::execute(QStringLiteral("sox"), arguments) == 0 ? path : QString();
}
