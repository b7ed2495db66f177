#include "engine/DisplayLinkProxy.h"

#include "engine/AudioEngine.h"
#include "engine/CrossThreadCall.h"


#include <mutex>

DisplayLinkProxy::DisplayLinkProxy(AudioEngine *engine) : engine_(engine) {}

void DisplayLinkProxy::displayLinkFired()
{
    {
        std::lock_guard guard(pendingLock_);
        if (updatePending_) return;
        updatePending_ = true;
    }
    // Queued on this object: if it is destroyed first, Qt drops the call with it.
    crossThreadCall(this, [this] { runPendingTick(); });
}

bool DisplayLinkProxy::isUpdatePending() const
{
    std::lock_guard guard(pendingLock_);
    return updatePending_;
}

void DisplayLinkProxy::runPendingTick()
{
    // Cleared before the tick, so a frame arriving during a long tick queues the next one.
    {
        std::lock_guard guard(pendingLock_);
        updatePending_ = false;
    }
    if (engine_) engine_->updateDisplayValues();
}
