#include "SharedMemory.h"

#include "Clock.h"
#include "SimError.h"
#include "orva_sim.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>

namespace orva::sim {

namespace {

// How long an opener waits for the creator of an object to size it.
constexpr uint64_t kSizeWaitNs = 2 * kNsPerSecond;

class FileDescriptor {
public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    int get() const { return fd_; }

private:
    int fd_;
};

void* mapShared(int fd, size_t size, const std::string& name) {
    void* data = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (data == MAP_FAILED) {
        throwSystemError("mmap " + name, errno);
    }
    return data;
}

} // namespace

void throwSystemError(const std::string& what, int error) {
    char text[256] = {};
    throw SimError(ORVA_SIM_ERR_SYSTEM, what + ": " + strerror_r(error, text, sizeof(text)));
}

SharedMemory::~SharedMemory() {
    ::munmap(data_, size_);
}

std::unique_ptr<SharedMemory> SharedMemory::create(const std::string& name, size_t size) {
    FileDescriptor fd(::shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (fd.get() < 0) {
        if (errno == EEXIST) {
            return nullptr;
        }
        throwSystemError("shm_open " + name, errno);
    }
    if (::ftruncate(fd.get(), static_cast<off_t>(size)) != 0) {
        const int error = errno;
        ::shm_unlink(name.c_str());
        throwSystemError("ftruncate " + name, error);
    }
    void* data = mapShared(fd.get(), size, name);
    return std::unique_ptr<SharedMemory>(new SharedMemory(name, data, size));
}

std::unique_ptr<SharedMemory> SharedMemory::open(const std::string& name, size_t size) {
    FileDescriptor fd(::shm_open(name.c_str(), O_RDWR | O_CLOEXEC, 0600));
    if (fd.get() < 0) {
        if (errno == ENOENT) {
            return nullptr;
        }
        throwSystemError("shm_open " + name, errno);
    }
    const uint64_t deadline = monotonicNs() + kSizeWaitNs;
    for (;;) {
        struct stat info {};
        if (::fstat(fd.get(), &info) != 0) {
            throwSystemError("fstat " + name, errno);
        }
        if (static_cast<size_t>(info.st_size) == size) {
            break;
        }
        // Size 0 only between the creator's shm_open and ftruncate.
        if (info.st_size != 0 || monotonicNs() >= deadline) {
            throw SimError(ORVA_SIM_ERR_STATE, "shared memory object " + name + " has " + std::to_string(info.st_size) +
                                                   " bytes, expected " + std::to_string(size) +
                                                   " (left by another simulator version? run 'orva-sim destroy')");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    void* data = mapShared(fd.get(), size, name);
    return std::unique_ptr<SharedMemory>(new SharedMemory(name, data, size));
}

bool SharedMemory::unlink(const std::string& name) {
    return ::shm_unlink(name.c_str()) == 0;
}

} // namespace orva::sim
