#pragma once

#include "runtime/templates/GenericLock.h"

#include <cstdint>
#include <string>

namespace orva::templates::platform {

struct InterProcessLockBlock;

// One named lock shared by all processes that build the same name, e.g. the
// per-board register locks "orva_genicam-board_<n>-...". Recursive per
// thread, also across two objects of one name in one process. A lock whose
// holder dies (process killed, thread ended) is recovered by the next taker.
//
// Backed by a robust, process-shared, recursive pthread mutex in a POSIX
// shared-memory object "/<name>" (characters other than [A-Za-z0-9_.-]
// become '_'). The object is never unlinked by the lock itself, as other
// processes may map it at any time; Remove() exists for tests and tools.
//
// Thread-safe. An object must not be destroyed while a thread holds the
// mutex through it.
class InterProcessLock : public patterns::GenericLock {
public:
    // Opens the named lock, creating it when no process has done so yet.
    // Throws std::runtime_error("can not open the requested lock") if the
    // shared object can't be opened, created or mapped, and
    // std::runtime_error("non-recursive locks are not implemented") for
    // recursive == false.
    explicit InterProcessLock(const std::string& name, bool recursive = true);
    ~InterProcessLock() override;

    // Waits without limit. If the previous holder died, the lock is made
    // consistent and the caller holds it.
    void lock() override ACQUIRE();
    // Waits at most timeoutMs. False on timeout and when the previous holder
    // died (the lock is then repaired and free for the next attempt).
    bool tryLock(uint32_t timeoutMs) override TRY_ACQUIRE(true);
    void unlock() override RELEASE();

    const std::string& name() const { return name_; }

    // Unlinks the shared object of the name. Processes that still map it keep
    // their mutex; later openers get a new one.
    static void Remove(const std::string& name);

    // The shared-memory object name used for a lock name.
    static std::string ObjectName(const std::string& name);

private:
    std::string name_;
    int fd_ = -1;
    InterProcessLockBlock* block_ = nullptr;
};

} // namespace orva::templates::platform
