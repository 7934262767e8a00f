#include "runtime/templates/InterProcessLock.h"

#include <cerrno>
#include <cstddef>
#include <ctime>
#include <fcntl.h>
#include <pthread.h>
#include <stdexcept>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

namespace orva::templates::platform {

// Layout of the shared-memory object. Every process that opens a lock maps
// this; the header fields tell a process whether the block was initialised
// by a compatible build.
struct InterProcessLockBlock {
    uint32_t magic;
    uint32_t layoutSize;
    pthread_mutex_t mutex;
};

namespace {

constexpr uint32_t kBlockMagic = 0x4F52564CU; // "ORVL"
constexpr const char* kOpenError = "can not open the requested lock";
// shm names are file names below /dev/shm; keep well under NAME_MAX.
constexpr std::size_t kMaxObjectNameLength = 200;
// Initialisation of a block takes microseconds; waiting longer than this for
// another process to finish it means that process hangs.
constexpr int kInitWaitMs = 5000;

class UniqueFd {
public:
    explicit UniqueFd(int fd) : fd_(fd) {}
    ~UniqueFd() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    UniqueFd(UniqueFd&&) = delete;
    UniqueFd& operator=(UniqueFd&&) = delete;

    int get() const { return fd_; }
    int release() {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }

private:
    int fd_;
};

// Holds an flock() on the object while it is checked and initialised. flock
// locks belong to the open file and vanish with the process, so a creator
// that dies half-way leaves nothing stuck: the next opener initialises.
class FileLockHolder {
public:
    explicit FileLockHolder(int fd) : fd_(fd) {
        for (int waitedMs = 0;; ++waitedMs) {
            if (::flock(fd_, LOCK_EX | LOCK_NB) == 0) {
                held_ = true;
                return;
            }
            if (errno != EWOULDBLOCK && errno != EINTR) {
                return;
            }
            if (waitedMs >= kInitWaitMs) {
                return;
            }
            const timespec pause{0, 1000000};
            ::nanosleep(&pause, nullptr);
        }
    }
    ~FileLockHolder() {
        if (held_) {
            ::flock(fd_, LOCK_UN);
        }
    }
    FileLockHolder(const FileLockHolder&) = delete;
    FileLockHolder& operator=(const FileLockHolder&) = delete;
    FileLockHolder(FileLockHolder&&) = delete;
    FileLockHolder& operator=(FileLockHolder&&) = delete;

    bool held() const { return held_; }

private:
    int fd_;
    bool held_ = false;
};

class MutexAttributes {
public:
    MutexAttributes() { ok_ = ::pthread_mutexattr_init(&attr_) == 0; }
    ~MutexAttributes() {
        if (ok_) {
            ::pthread_mutexattr_destroy(&attr_);
        }
    }
    MutexAttributes(const MutexAttributes&) = delete;
    MutexAttributes& operator=(const MutexAttributes&) = delete;
    MutexAttributes(MutexAttributes&&) = delete;
    MutexAttributes& operator=(MutexAttributes&&) = delete;

    bool configure() {
        return ok_ && ::pthread_mutexattr_setpshared(&attr_, PTHREAD_PROCESS_SHARED) == 0 &&
               ::pthread_mutexattr_setrobust(&attr_, PTHREAD_MUTEX_ROBUST) == 0 &&
               ::pthread_mutexattr_settype(&attr_, PTHREAD_MUTEX_RECURSIVE) == 0;
    }
    const pthread_mutexattr_t* get() const { return &attr_; }

private:
    pthread_mutexattr_t attr_{};
    bool ok_ = false;
};

bool IsInitialised(const InterProcessLockBlock* block) {
    return __atomic_load_n(&block->magic, __ATOMIC_ACQUIRE) == kBlockMagic;
}

bool InitialiseBlock(InterProcessLockBlock* block) {
    MutexAttributes attributes;
    if (!attributes.configure()) {
        return false;
    }
    if (::pthread_mutex_init(&block->mutex, attributes.get()) != 0) {
        return false;
    }
    block->layoutSize = sizeof(InterProcessLockBlock);
    __atomic_store_n(&block->magic, kBlockMagic, __ATOMIC_RELEASE);
    return true;
}

uint64_t Fnv1a(const std::string& text) {
    uint64_t hash = 14695981039346656037ULL;
    for (const char c : text) {
        hash ^= static_cast<unsigned char>(c);
        hash *= 1099511628211ULL;
    }
    return hash;
}

timespec DeadlineAfter(uint32_t timeoutMs) {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    const int64_t totalNs = static_cast<int64_t>(now.tv_nsec) + static_cast<int64_t>(timeoutMs % 1000U) * 1000000;
    timespec deadline{};
    deadline.tv_sec = now.tv_sec + static_cast<time_t>(timeoutMs / 1000U) + static_cast<time_t>(totalNs / 1000000000);
    deadline.tv_nsec = static_cast<long>(totalNs % 1000000000);
    return deadline;
}

} // namespace

std::string InterProcessLock::ObjectName(const std::string& name) {
    std::string object = "/";
    object.reserve(name.size() + 1);
    for (const char c : name) {
        const bool allowed = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
                             c == '.' || c == '-';
        object.push_back(allowed ? c : '_');
    }
    if (object.size() > kMaxObjectNameLength) {
        // Keep long names distinct: a prefix plus a stable hash of the whole.
        static constexpr char kHex[] = "0123456789abcdef";
        std::string suffix = "-";
        uint64_t hash = Fnv1a(name);
        for (int i = 0; i < 16; ++i) {
            suffix.push_back(kHex[(hash >> 60U) & 0xFU]);
            hash <<= 4U;
        }
        object.resize(kMaxObjectNameLength - suffix.size());
        object += suffix;
    }
    return object;
}

InterProcessLock::InterProcessLock(const std::string& name, bool recursive) : name_(name) {
    if (!recursive) {
        throw std::runtime_error("non-recursive locks are not implemented");
    }
    if (name.empty()) {
        throw std::runtime_error(kOpenError);
    }
    const std::string objectName = ObjectName(name);

    // Open or create in one step; whoever finds the block uninitialised
    // initialises it under the file lock, so creators can't race each other
    // or an opener.
    UniqueFd fd(::shm_open(objectName.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
    if (fd.get() < 0) {
        throw std::runtime_error(kOpenError);
    }
    FileLockHolder fileLock(fd.get());
    if (!fileLock.held()) {
        throw std::runtime_error(kOpenError);
    }
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0) {
        throw std::runtime_error(kOpenError);
    }
    const auto blockSize = static_cast<off_t>(sizeof(InterProcessLockBlock));
    if (info.st_size != 0 && info.st_size != blockSize) {
        // Someone else's object, or one of an incompatible build.
        throw std::runtime_error(kOpenError);
    }
    if (info.st_size == 0 && ::ftruncate(fd.get(), blockSize) != 0) {
        throw std::runtime_error(kOpenError);
    }
    void* mapping = ::mmap(nullptr, sizeof(InterProcessLockBlock), PROT_READ | PROT_WRITE, MAP_SHARED, fd.get(), 0);
    if (mapping == MAP_FAILED) {
        throw std::runtime_error(kOpenError);
    }
    auto* block = static_cast<InterProcessLockBlock*>(mapping);
    bool usable = false;
    if (IsInitialised(block)) {
        // Initialised by a build with another layout: in use, not ours to touch.
        usable = block->layoutSize == sizeof(InterProcessLockBlock);
    } else {
        // Never finished (its creator died before the end): nobody can have
        // used its mutex, so it is safe to start over.
        usable = InitialiseBlock(block);
    }
    if (!usable) {
        ::munmap(mapping, sizeof(InterProcessLockBlock));
        throw std::runtime_error(kOpenError);
    }
    block_ = block;
    fd_ = fd.release();
}

InterProcessLock::~InterProcessLock() {
    if (block_ != nullptr) {
        ::munmap(block_, sizeof(InterProcessLockBlock));
    }
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

void InterProcessLock::lock() {
    const int result = ::pthread_mutex_lock(&block_->mutex);
    if (result == EOWNERDEAD) {
        // The holder died inside its section. What it guarded is register
        // traffic to the board, which the next transaction redoes from the
        // start, so the lock is simply declared consistent and taken.
        ::pthread_mutex_consistent(&block_->mutex);
    }
    // Other results (only ENOTRECOVERABLE or a recursion overflow are
    // possible) leave nothing to do: the caller proceeds as if it held the
    // lock, and its unlock() fails harmlessly.
}

bool InterProcessLock::tryLock(uint32_t timeoutMs) {
    const timespec deadline = DeadlineAfter(timeoutMs);
    int result = 0;
#if defined(__SANITIZE_THREAD__)
    // The thread sanitizer doesn't intercept pthread_mutex_clocklock; tell it
    // about the acquisition so that it pairs it with the unlock.
    __tsan_mutex_pre_lock(&block_->mutex, __tsan_mutex_try_lock);
#endif
    do {
        result = ::pthread_mutex_clocklock(&block_->mutex, CLOCK_MONOTONIC, &deadline);
    } while (result == EINTR);
#if defined(__SANITIZE_THREAD__)
    const bool acquired = result == 0 || result == EOWNERDEAD;
    __tsan_mutex_post_lock(&block_->mutex, __tsan_mutex_try_lock | (acquired ? 0U : __tsan_mutex_try_lock_failed), 0);
#endif
    if (result == EOWNERDEAD) {
        // An abandoned lock is reported as a failure. Releasing it without
        // pthread_mutex_consistent() would make it unusable for every
        // process, and keeping it would leave a lock that the caller, seeing
        // false, never releases. So it is repaired and released: the next
        // attempt (of any process) succeeds.
        ::pthread_mutex_consistent(&block_->mutex);
        ::pthread_mutex_unlock(&block_->mutex);
        return false;
    }
    return result == 0;
}

void InterProcessLock::unlock() {
    ::pthread_mutex_unlock(&block_->mutex);
}

void InterProcessLock::Remove(const std::string& name) {
    if (name.empty()) {
        return;
    }
    ::shm_unlink(ObjectName(name).c_str());
}

} // namespace orva::templates::platform
