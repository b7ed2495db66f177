#pragma once

#include "capture/LinkedCaptureBackend.h"

#include <QSet>
#include <QString>


// Application audio: the sum of what the chosen applications play, on a capture node
// "KelvraMeters-Apps" at 48000 Hz with two channels. Every playback stream of a chosen
// application (by desktop app id or program name) is linked to it, folded onto the
// stereo pair by channel side; streams that open later are linked as they come, and
// when the last one goes the back-end waits (linkedStreamCount() 0) until one plays
// again. This process's own streams are never linked.
class AppAudioCaptureImpl final : public LinkedCaptureBackend {
    Q_OBJECT

public:
    static constexpr const char *nodeName = "KelvraMeters-Apps";
    static constexpr double captureSampleRate = 48000.0; // Hz

    AppAudioCaptureImpl(PipeWireConnection &connection, QSet<QString> bundleIDs);

    Kind kind() const override { return Kind::appAudio; }
    const QSet<QString> &targetBundleIDs() const { return targetBundleIDs_; }

private:
    bool wantsStream(const PlaybackStream &stream) const override;

    const QSet<QString> targetBundleIDs_; // the applications captured
};
