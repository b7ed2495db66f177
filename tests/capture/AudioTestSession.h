#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

// A private PipeWire session for one test (scripts/audio-test-env.sh): its own D-Bus,
// pipewire, wireplumber, the default sink "test-sink" and the default source
// "Virtual Mic" fed through the sink "mic-feed". This process's environment points at
// it, so every PipeWire client made afterwards (and every child process) talks to it.
// Everything is torn down by the destructor, or by the script's watchdog should this
// process die first.
class AudioTestSession {
public:
    AudioTestSession();
    ~AudioTestSession();
    AudioTestSession(const AudioTestSession &) = delete;
    AudioTestSession &operator=(const AudioTestSession &) = delete;

    // Empty when the session is up, else what went wrong.
    const QString &error() const { return error_; }
    const QString &directory() const { return directory_; }

    // Plays `file` into the sink `target` (looping it until the session ends or stop).
    void play(const QString &file, const QString &target = QStringLiteral("mic-feed"));
    // Runs a PipeWire client of the test's own (e.g. a pw-loopback) until stopPlaying()
    // or the end of the session; returns its process id (0 when it did not start).
    qint64 startClient(const QString &program, const QStringList &arguments);
    // Plays `file` once with pw-play as an application with these stream properties
    // ("application.name=PlayerA ..."); returns pw-play's process id.
    qint64 playAs(const QString &file, const QString &streamProperties);
    // Ends one client started above (SIGKILL to its process group).
    void stopClient(qint64 pid);
    void stopPlaying();
    // What a command-line tool of the session prints (e.g. "pw-link", {"-l"}).
    static QString toolOutput(const QString &program, const QStringList &arguments);

    // Adds sources described as `names` at the same moment (devices plugged in); returns
    // false on failure. The sink feeding the source named N is feedSinkFor(N). "N=NODE"
    // gives the source the node name NODE, so that two can share a description.
    bool plug(const QStringList &names);
    bool unplug(const QString &name);
    static QString feedSinkFor(const QString &name);

    // Kills pipewire (and its clients) and brings the whole session back.
    bool restartServer();

    // A stereo 32-bit float WAV of a sine with peak `peakDbfs`, `seconds` long, in this
    // session's directory (made with sox); empty on failure.
    QString makeTone(double frequency, double peakDbfs, double seconds, const QString &name);
    // A 32-bit float WAV with one channel per entry of `channelPeaksDbfs` (first = FL):
    // a 997 Hz sine at that peak, or silence for a value below -200.
    QString makeChannelTones(const std::vector<double> &channelPeaksDbfs, double seconds, const QString &name);

private:
    bool runScript(const QStringList &arguments, QString *output = nullptr);

    QString script_;     // path of audio-test-env.sh
    QString directory_;  // the session's directory
    QString error_;      // why the session is not up
    std::vector<std::unique_ptr<QProcess>> clients_; // pw-play loops and other clients
};
