#pragma once

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <poll.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace runtime_test {

// Upper bound of every wait in these tests; reached only when the code under
// test is broken.
constexpr std::chrono::seconds kBound{30};

// Polls a condition until it holds or the bound passes; returns whether it held.
inline bool WaitUntil(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + kBound;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

// Sets or clears an environment variable for a scope, restoring it after.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value) : name_(name) {
        if (const char* old = std::getenv(name)) { // NOLINT(concurrency-mt-unsafe)
            previous_ = old;
        }
        if (value != nullptr) {
            ::setenv(name, value, 1); // NOLINT(concurrency-mt-unsafe)
        } else {
            ::unsetenv(name); // NOLINT(concurrency-mt-unsafe)
        }
    }
    ~ScopedEnv() {
        if (previous_) {
            ::setenv(name_.c_str(), previous_->c_str(), 1); // NOLINT(concurrency-mt-unsafe)
        } else {
            ::unsetenv(name_.c_str()); // NOLINT(concurrency-mt-unsafe)
        }
    }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    std::string name_;
    std::optional<std::string> previous_;
};

// A fresh directory below /tmp, removed with its content at the end. /tmp
// itself holds none of the names of the installation-directory walk.
class TempDir {
public:
    TempDir() {
        std::string pattern = "/tmp/runtime_test_XXXXXX";
        if (::mkdtemp(pattern.data()) != nullptr) {
            path_ = pattern;
        }
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

// A pipe to pass one-byte messages between a parent and a forked child.
class Pipe {
public:
    Pipe() : valid_(::pipe(fds_) == 0) {}
    ~Pipe() {
        if (valid_) {
            ::close(fds_[0]);
            ::close(fds_[1]);
        }
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    bool valid() const { return valid_; }
    bool send(char message) const { return ::write(fds_[1], &message, 1) == 1; }
    // Waits at most the bound for one byte.
    std::optional<char> receive() const {
        pollfd pfd{fds_[0], POLLIN, 0};
        char message = 0;
        if (::poll(&pfd, 1, static_cast<int>(std::chrono::milliseconds(kBound).count())) != 1 ||
            ::read(fds_[0], &message, 1) != 1) {
            return std::nullopt;
        }
        return message;
    }

private:
    int fds_[2]{-1, -1};
    bool valid_;
};

// Exit status of a child, or -1 if it didn't exit normally.
inline int WaitForChild(pid_t child) {
    int status = 0;
    if (::waitpid(child, &status, 0) != child || !WIFEXITED(status)) {
        return -1;
    }
    return WEXITSTATUS(status);
}

// Build directory: from ctest's environment, else the one this was built in.
inline std::string BuildDir() {
    if (const char* dir = std::getenv("TGX_TEST_BUILD_DIR")) { // NOLINT(concurrency-mt-unsafe)
        return dir;
    }
    return RUNTIME_TEST_BUILD_DIR;
}

} // namespace runtime_test
