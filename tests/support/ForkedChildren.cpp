// Linked into the test programs of the ThreadSanitizer build only.
//
// QProcess (Qt 6.4) starts children with clone(CLONE_VM | CLONE_VFORK): until it calls
// exec, the child runs in our address space and on our main thread's sanitizer state,
// and whatever it does to that state through the intercepted calls it makes stays with
// the parent. From the first child on, the tool no longer saw the main thread take
// pthread mutexes and reported every hand-over under the PipeWire loop lock as a race.
// Interposing clone() here turns such a spawn into fork() (which the tool intercepts,
// with its own fork handling) followed by the same child function, so the parent's state
// is never shared. Threads are made by glibc without going through this symbol.
#include <dlfcn.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>

extern "C" int clone(int (*function)(void *), void *stack, int flags, void *argument, ...)
{
    va_list rest;
    va_start(rest, argument);
    auto *parentTid = va_arg(rest, pid_t *);
    void *tls = va_arg(rest, void *);
    auto *childTid = va_arg(rest, pid_t *);
    va_end(rest);

    if ((flags & CLONE_VM) && !(flags & CLONE_THREAD)) {
        const pid_t pid = fork();
        if (pid == 0) _exit(function(argument));
        if (pid > 0 && (flags & CLONE_PIDFD))
            *reinterpret_cast<int *>(parentTid) = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
        return pid;
    }
    using Clone = int (*)(int (*)(void *), void *, int, void *, ...);
    static const auto realClone = reinterpret_cast<Clone>(dlsym(RTLD_NEXT, "clone"));
    return realClone(function, stack, flags, argument, parentTid, tls, childTid);
}
