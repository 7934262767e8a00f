#include "DispatcherHarness.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <stdexcept>
#include <string_view>

namespace orva::logging::dispatcher::test {
namespace {

struct CallbackRecord {
    std::mutex mutex;
    std::vector<std::pair<uint32_t, uint32_t>> levels;
    int disconnects = 0;
};

std::array<CallbackRecord, kSlots> records;
std::array<int, kSlots> tokens;

template <int Slot> void OnSetLevel(uint32_t id, uint32_t level) {
    const std::lock_guard lock(records[Slot].mutex);
    records[Slot].levels.emplace_back(id, level);
}

template <int Slot> void OnDisconnect() {
    const std::lock_guard lock(records[Slot].mutex);
    ++records[Slot].disconnects;
}

// The tests load and look up from one thread only.
std::string DlError() {
    const char* error = ::dlerror(); // NOLINT(concurrency-mt-unsafe)
    return error != nullptr ? error : "";
}

constexpr std::array<LoggingOnSetLevel, kSlots> kOnSetLevel{&OnSetLevel<0>, &OnSetLevel<1>};
constexpr std::array<LoggingOnDisconnect, kSlots> kOnDisconnect{&OnDisconnect<0>, &OnDisconnect<1>};

} // namespace

std::vector<std::pair<uint32_t, uint32_t>> LevelCalls(int slot) {
    const std::lock_guard lock(records.at(slot).mutex);
    return records.at(slot).levels;
}

int DisconnectCalls(int slot) {
    const std::lock_guard lock(records.at(slot).mutex);
    return records.at(slot).disconnects;
}

LoggingOnSetLevel OnSetLevelOf(int slot) {
    return kOnSetLevel.at(slot);
}
LoggingOnDisconnect OnDisconnectOf(int slot) {
    return kOnDisconnect.at(slot);
}
void* TokenOf(int slot) {
    return &tokens.at(slot);
}

std::pair<uint32_t, uint32_t> Connection::idAndLevel(const std::string& name) const {
    uint32_t id = 0xdeadbeef;
    uint32_t level = 0xdeadbeef;
    getLogger(name.c_str(), &id, &level);
    return {id, level};
}

void Connection::write(const std::string& name, uint32_t level, const std::string& text) const {
    log(id(name), level, text.c_str(), 0, 0);
}

std::optional<LogLine> ParseLine(const std::string& line) {
    // "2024-05-01T12:34:56.789+02:00"; 'd' is a digit, '+' a sign.
    constexpr std::string_view kTimeShape = "dddd-dd-ddTdd:dd:dd.ddd+dd:dd";
    constexpr size_t kTimeSize = kTimeShape.size();
    if (line.size() < kTimeSize) {
        return std::nullopt;
    }
    for (size_t i = 0; i < kTimeSize; ++i) {
        const char c = line[i];
        const char shape = kTimeShape[i];
        const bool fits = shape == 'd'   ? std::isdigit(static_cast<unsigned char>(c)) != 0
                          : shape == '+' ? c == '+' || c == '-'
                                         : c == shape;
        if (!fits) {
            return std::nullopt;
        }
    }
    LogLine parsed;
    parsed.time = line.substr(0, kTimeSize);
    const std::string_view rest = std::string_view(line).substr(kTimeSize);
    const size_t levelEnd = rest.find("] [");
    const size_t loggerEnd = rest.find("] ", levelEnd == std::string_view::npos ? 0 : levelEnd + 3);
    if (!rest.starts_with(" [") || levelEnd == std::string_view::npos || loggerEnd == std::string_view::npos) {
        return std::nullopt;
    }
    parsed.level = rest.substr(2, levelEnd - 2);
    parsed.logger = rest.substr(levelEnd + 3, loggerEnd - levelEnd - 3);
    parsed.text = rest.substr(loggerEnd + 2);
    const bool lowerLetters =
        !parsed.level.empty() && std::all_of(parsed.level.begin(), parsed.level.end(),
                                             [](char c) { return std::islower(static_cast<unsigned char>(c)) != 0; });
    if (!lowerLetters) {
        return std::nullopt;
    }
    return parsed;
}

std::vector<std::string> ReadLines(const std::string& path) {
    std::ifstream in(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

void SetEnv(const char* name, const std::string& value) {
    ::setenv(name, value.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
}

StderrCapture::StderrCapture(std::string path) : path_(std::move(path)) {
    std::fflush(stderr);
    saved_ = ::dup(STDERR_FILENO);
    const int fd = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (saved_ < 0 || fd < 0 || ::dup2(fd, STDERR_FILENO) < 0) {
        throw std::runtime_error("cannot redirect standard error to " + path_);
    }
    ::close(fd);
}

StderrCapture::~StderrCapture() {
    finish();
    std::remove(path_.c_str());
}

std::vector<std::string> StderrCapture::finish() {
    if (saved_ >= 0) {
        std::fflush(stderr);
        ::dup2(saved_, STDERR_FILENO);
        ::close(saved_);
        saved_ = -1;
    }
    return ReadLines(path_);
}

void DispatcherTest::SetUp() {
    // The tests decide the environment; whatever the caller has set must not leak in.
    ::unsetenv(COMMON_LOGGING_DISPATCHER_ENV_LEVELS); // NOLINT(concurrency-mt-unsafe)
    ::unsetenv(COMMON_LOGGING_DISPATCHER_ENV_FILE);   // NOLINT(concurrency-mt-unsafe)
    logPath_ = tempPath(".log");
    std::remove(logPath_.c_str());

    handle_ = ::dlopen(libraryPath().c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle_, nullptr) << DlError();
    descriptor_ =
        static_cast<const LoggingDispatcherDescriptor*>(::dlsym(handle_, LOGGING_DISPATCHER_DESCRIPTOR_SYMBOL));
    ASSERT_NE(descriptor_, nullptr) << DlError();
    setLevels_ = reinterpret_cast<LoggingDispatcherSetLevels>(::dlsym(handle_, LOGGING_DISPATCHER_SET_LEVELS_SYMBOL));
    ASSERT_NE(setLevels_, nullptr) << DlError();
}

void DispatcherTest::TearDown() {
    unload();
    std::remove(logPath_.c_str());
}

Connection DispatcherTest::connectWith(int slot, int callbackSlot) {
    Connection connection;
    if (descriptor_->connect(TokenOf(slot), OnDisconnectOf(callbackSlot), OnSetLevelOf(callbackSlot),
                             &connection.getLogger, &connection.log) != 0 ||
        connection.getLogger == nullptr || connection.log == nullptr) {
        throw std::runtime_error("the dispatcher refused the connection");
    }
    return connection;
}

void DispatcherTest::useLogFile() const {
    SetEnv(COMMON_LOGGING_DISPATCHER_ENV_FILE, logPath_);
}

std::string DispatcherTest::tempPath(const std::string& suffix) const {
    const testing::TestInfo* info = testing::UnitTest::GetInstance()->current_test_info();
    return testing::TempDir() + "dispatcher-" + std::to_string(::getpid()) + "-" + info->test_suite_name() + "-" +
           info->name() + suffix;
}

std::string DispatcherTest::libraryPath() const {
    const char* build = std::getenv("TGX_TEST_BUILD_DIR"); // NOLINT(concurrency-mt-unsafe)
    return std::string(build != nullptr ? build : ".") + "/lib/" + COMMON_LOGGING_DISPATCHER_LIBRARY;
}

bool DispatcherTest::unload() {
    if (handle_ != nullptr) {
        ::dlclose(handle_);
        handle_ = nullptr;
        descriptor_ = nullptr;
        setLevels_ = nullptr;
    }
    void* still = ::dlopen(libraryPath().c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (still != nullptr) {
        ::dlclose(still);
        return false;
    }
    return true;
}

} // namespace orva::logging::dispatcher::test
