#include "runtime/templates/SpinLockVariableGuard.h"

#include "runtime/templates/ThreadId.h"

namespace orva::templates::platform {

namespace {

inline void CpuRelax() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield" ::: "memory");
#endif
}

} // namespace

SpinLockVariableGuard::SpinLockVariableGuard(std::atomic<int32_t>* spin, std::atomic<int32_t>* owner)
    : spinVariable(spin), ownerVariable(owner) {
    const auto self = static_cast<int32_t>(CurrentThreadId());
    // Only the holder ever writes its own id into the owner variable and it
    // clears it before letting go, so no other thread can read our id here.
    if (ownerVariable != nullptr && ownerVariable->load(std::memory_order_relaxed) == self) {
        return;
    }
    int32_t expected = 0;
    while (!spinVariable->compare_exchange_weak(expected, 1, std::memory_order_acquire, std::memory_order_relaxed)) {
        expected = 0;
        // A pause hint only, no sleep or yield: the sections are short, and
        // this lock must not depend on the scheduler.
        CpuRelax();
    }
    if (ownerVariable != nullptr) {
        ownerVariable->store(self, std::memory_order_relaxed);
    }
    acquired = true;
}

SpinLockVariableGuard::~SpinLockVariableGuard() {
    if (!acquired) {
        return;
    }
    if (ownerVariable != nullptr) {
        ownerVariable->store(0, std::memory_order_relaxed);
    }
    spinVariable->store(0, std::memory_order_release);
}

} // namespace orva::templates::platform
