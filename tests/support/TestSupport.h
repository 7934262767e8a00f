// Helpers every test area uses: bounded waits, the environment for a scope,
// temporary directories, whole files, and forked children.
#pragma once

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <thread>

namespace orva::test {

// Upper bound of every wait in the tests; reached only when the code under
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

// The tests change the environment only from their main thread, while no
// other thread of theirs runs.
inline void SetEnv(const char* name, const std::string& value) {
    ::setenv(name, value.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
}
inline void UnsetEnv(const char* name) {
    ::unsetenv(name); // NOLINT(concurrency-mt-unsafe)
}

// Sets or clears an environment variable for a scope, restoring it after.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value) : name_(name) {
        if (const char* old = std::getenv(name)) { // NOLINT(concurrency-mt-unsafe)
            previous_ = old;
        }
        if (value != nullptr) {
            SetEnv(name, value);
        } else {
            UnsetEnv(name);
        }
    }
    ~ScopedEnv() {
        if (previous_) {
            SetEnv(name_.c_str(), *previous_);
        } else {
            UnsetEnv(name_.c_str());
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
        std::string pattern = "/tmp/tgx_test_XXXXXX";
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

// The whole content of a file; empty if it can't be read.
inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

inline void WriteFile(const std::string& path, const std::string& content) {
    const std::filesystem::path parent = std::filesystem::path(path).parent_path();
    if (!parent.empty()) {
        std::filesystem::create_directories(parent);
    }
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

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
    return TGX_TEST_BUILD_DIR_PATH;
}

} // namespace orva::test
