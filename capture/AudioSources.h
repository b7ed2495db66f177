#pragma once

#include <QString>

#include <cstdint>
#include <optional>

// One process that plays audio and can be tapped.
struct AudioProcessInfo {
    std::uint32_t objectID = 0;      // the process id
    QString name;                    // the application's name, else "PID " + the id
    std::optional<QString> bundleID; // its identifier (desktop app id or program name); none when unknown
    bool isAudioActive = false;      // one of its playback streams is running

    friend bool operator==(const AudioProcessInfo &, const AudioProcessInfo &) = default;
};

// One application that can be chosen for application audio.
struct CapturedApp {
    QString bundleIdentifier; // what the selection stores: desktop app id or program name
    QString displayName;      // what the picker shows

    friend bool operator==(const CapturedApp &, const CapturedApp &) = default;
};
