#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace orva::sim {

// Failure inside the simulator, with the status that the C functions return.
class SimError : public std::runtime_error {
public:
    SimError(int32_t status, const std::string& message) : std::runtime_error(message), status_(status) {}
    int32_t status() const noexcept { return status_; }

private:
    int32_t status_;
};

// A failed system call as a SimError, with the call's text and errno.
[[noreturn]] void throwSystemError(const std::string& what, int error);

} // namespace orva::sim
