#pragma once

#include <QMetaObject>
#include <QObject>

#include <utility>

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>

#include <memory>
#include <type_traits>
#endif

// Runs `function` on the thread of `receiver`, from a worker thread (the PipeWire loop,
// the display link, a QThread), through Qt's posted-event queue. Dropped with the
// receiver if that is destroyed first.
//
// The queue orders everything the worker did before posting with everything the call
// does, but it locks with a futex inside Qt, which ThreadSanitizer cannot see. The
// release/acquire pair tells it about that ordering, so the sanitizer build still checks
// the data handed over instead of reporting every hand-over; elsewhere it compiles away.
template <typename Function>
void crossThreadCall(QObject *receiver, Function &&function)
{
#if defined(__SANITIZE_THREAD__)
    // The function and its captures are built before the release and not touched again
    // on this thread (moving a std::map, say, writes into its nodes). Whoever destroys
    // them, the call or Qt dropping it with the receiver, acquires first.
    using Payload = std::decay_t<Function>;
    std::shared_ptr<Payload> payload(new Payload(std::forward<Function>(function)), [receiver](Payload *done) {
        __tsan_acquire(receiver);
        delete done;
    });
    __tsan_release(receiver);
    QMetaObject::invokeMethod(
        receiver,
        [receiver, payload = std::move(payload)] {
            __tsan_acquire(receiver);
            (*payload)();
        },
        Qt::QueuedConnection);
#else
    QMetaObject::invokeMethod(receiver, std::forward<Function>(function), Qt::QueuedConnection);
#endif
}
