#pragma once

#include "engine/dsp/SpinLock.h"

#include <QObject>
#include <QPointer>

class AudioEngine;

// Receives display-link frames on the link's thread and runs the engine's tick on the
// thread this object lives in (the main thread). At most one tick is queued at any
// time: while one is pending, further frames are dropped, so a busy main thread
// lowers the tick rate instead of piling up work.
class DisplayLinkProxy final : public QObject {
    Q_OBJECT

public:
    // Create on the main thread. `engine` is held weakly: a tick that runs after the
    // engine is gone does nothing.
    explicit DisplayLinkProxy(AudioEngine *engine);

    // Any thread: queues one tick unless one is already pending.
    void displayLinkFired();

    bool isUpdatePending() const;

private:
    void runPendingTick();

    QPointer<AudioEngine> engine_;  // weak; read only on the main thread
    mutable SpinLock pendingLock_;  // guards updatePending_
    bool updatePending_ = false;    // a tick is queued and has not started yet
};
