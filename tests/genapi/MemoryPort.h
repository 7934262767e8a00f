// A camera's address space in memory, as a register port of a node map.
//
// Every byte reads 0 until written; only touched pages take memory, so the
// descriptions of real cameras, with registers all over 32 bits of address,
// fit. The test plays the camera through the same object: it sets registers,
// makes the port fail, and lets a command register clear itself.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <unordered_map>

#include <gtest/gtest.h>

#include "core/genapi/RegisterPort.h"

namespace orva::test {

// The text of the E that `work` throws; a failure of the test if none.
template <class E, class Work> std::string ThrownText(Work work) {
    try {
        work();
    } catch (const E& e) {
        return e.what();
    }
    ADD_FAILURE() << "no exception";
    return {};
}

class MemoryPort : public core::genapi::IRegisterPort {
public:
    void Read(uint64_t address, void* buffer, uint64_t length) override {
        std::lock_guard lock(mutex_);
        Fail("read", address, length);
        ++reads_;
        auto* out = static_cast<uint8_t*>(buffer);
        for (uint64_t i = 0; i < length; ++i) {
            out[i] = ByteAt(address + i);
        }
        ++readsOf_[address];
        if (auto clear = selfClearing_.find(address); clear != selfClearing_.end() && clear->second.armed) {
            if (--clear->second.readsLeft == 0) {
                clear->second.armed = false;
                for (uint64_t i = 0; i < clear->second.length; ++i) {
                    ByteAt(address + i) = 0;
                }
            }
        }
    }

    void Write(uint64_t address, const void* buffer, uint64_t length) override {
        std::lock_guard lock(mutex_);
        Fail("write", address, length);
        ++writes_;
        const auto* in = static_cast<const uint8_t*>(buffer);
        for (uint64_t i = 0; i < length; ++i) {
            ByteAt(address + i) = in[i];
        }
        if (auto clear = selfClearing_.find(address); clear != selfClearing_.end()) {
            clear->second.armed = true;
            clear->second.readsLeft = clear->second.reads;
        }
    }

    // Registers as the camera holds them: big-endian.
    void SetU32(uint64_t address, uint32_t value) {
        std::lock_guard lock(mutex_);
        for (int i = 0; i < 4; ++i) {
            ByteAt(address + i) = static_cast<uint8_t>(value >> (24 - 8 * i));
        }
    }
    uint32_t U32(uint64_t address) {
        std::lock_guard lock(mutex_);
        uint32_t value = 0;
        for (int i = 0; i < 4; ++i) {
            value = (value << 8) | ByteAt(address + i);
        }
        return value;
    }
    void SetFloat32(uint64_t address, float value) {
        uint32_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        SetU32(address, bits);
    }
    float Float32(uint64_t address) {
        const uint32_t bits = U32(address);
        float value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    void SetBytes(uint64_t address, const std::string& bytes) {
        std::lock_guard lock(mutex_);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            ByteAt(address + i) = static_cast<uint8_t>(bytes[i]);
        }
    }
    std::string Bytes(uint64_t address, std::size_t length) {
        std::lock_guard lock(mutex_);
        std::string bytes(length, '\0');
        for (std::size_t i = 0; i < length; ++i) {
            bytes[i] = static_cast<char>(ByteAt(address + i));
        }
        return bytes;
    }

    // A command register that the camera clears (all `length` bytes) once
    // `reads` reads have seen it set after a write.
    void SelfClearing(uint64_t address, uint64_t length, int reads) {
        std::lock_guard lock(mutex_);
        selfClearing_[address] = SelfClear{length, reads, 0, false};
    }

    // From now on every access throws a PortError with this status, as a
    // board port whose ReadMem/WriteMem returns it.
    void FailWith(int32_t status) {
        std::lock_guard lock(mutex_);
        failStatus_ = status;
        failPlain_ = false;
    }
    // Every access throws a std::runtime_error: a port with no status.
    void FailPlain() {
        std::lock_guard lock(mutex_);
        failPlain_ = true;
        failStatus_.reset();
    }
    void Heal() {
        std::lock_guard lock(mutex_);
        failStatus_.reset();
        failPlain_ = false;
    }

    uint64_t Reads() {
        std::lock_guard lock(mutex_);
        return reads_;
    }
    uint64_t Writes() {
        std::lock_guard lock(mutex_);
        return writes_;
    }
    // Reads that began at this address.
    uint64_t ReadsOf(uint64_t address) {
        std::lock_guard lock(mutex_);
        return readsOf_[address];
    }

private:
    static constexpr uint64_t kPageSize = 4096;

    struct SelfClear {
        uint64_t length;
        int reads;
        int readsLeft;
        bool armed;
    };

    void Fail(const char* what, uint64_t address, uint64_t length) const {
        if (failStatus_) {
            throw core::genapi::PortError(*failStatus_, std::string("test port: ") + what + " of " +
                                                            std::to_string(length) + " bytes at " +
                                                            std::to_string(address) + " refused");
        }
        if (failPlain_) {
            throw std::runtime_error(std::string("test port: ") + what + " without a status");
        }
    }

    uint8_t& ByteAt(uint64_t address) { return pages_[address / kPageSize][address % kPageSize]; }

    std::mutex mutex_;
    std::unordered_map<uint64_t, std::array<uint8_t, kPageSize>> pages_;
    std::map<uint64_t, SelfClear> selfClearing_;
    std::map<uint64_t, uint64_t> readsOf_;
    std::optional<int32_t> failStatus_;
    bool failPlain_ = false;
    uint64_t reads_ = 0;
    uint64_t writes_ = 0;
};

} // namespace orva::test
