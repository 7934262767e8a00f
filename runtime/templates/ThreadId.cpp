#include "runtime/templates/ThreadId.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace orva::templates::platform {

namespace {

thread_local uint32_t cachedThreadId = 0;

// The thread that calls fork() lives on in the child under a new id, but
// with the parent's thread-local values.
void ForgetThreadIdInChild() {
    cachedThreadId = 0;
}

void RegisterForkHandler() {
    static const bool registered = [] { return pthread_atfork(nullptr, nullptr, &ForgetThreadIdInChild) == 0; }();
    (void)registered;
}

} // namespace

uint32_t CurrentThreadId() {
    if (cachedThreadId == 0) {
        RegisterForkHandler();
        cachedThreadId = static_cast<uint32_t>(::syscall(SYS_gettid));
    }
    return cachedThreadId;
}

} // namespace orva::templates::platform
