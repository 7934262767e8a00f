// The failures of the node map. Every one is a std::exception whose text says
// what was attempted on which node and why it failed; the API layer turns
// them into statuses.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace orva::core::genapi {

// Base of every failure of the node map.
class GenApiError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The camera's description was refused: not well-formed XML (a cut-off
// transfer, say), a link to a node that isn't there, or a chain of links that
// leads back to where it started.
class DescriptionError : public GenApiError {
public:
    using GenApiError::GenApiError;
};

// The node's access mode forbids the operation (NI, NA, read of WO, write of
// RO).
class AccessError : public GenApiError {
public:
    using GenApiError::GenApiError;
};

// A value outside the node's minimum, maximum or increment, a text longer
// than the node holds, or an enumeration value without an available entry.
class OutOfRangeError : public GenApiError {
public:
    using GenApiError::GenApiError;
};

// A register access of the port failed. Carries the port's status.
class PortError : public GenApiError {
public:
    PortError(int32_t status, const std::string& text) : GenApiError(text), status_(status) {}
    int32_t GetStatus() const noexcept { return status_; }

private:
    int32_t status_;
};

} // namespace orva::core::genapi
