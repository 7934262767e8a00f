// A block of bytes with its size, shared by its holders. One byte more than
// the size is allocated and kept 0, so that a block of text can be read as a
// C string without running past it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace orva::templates::container {

class ManagedDataArray {
public:
    // `size` zero bytes.
    explicit ManagedDataArray(std::size_t size) : size_(size), block_(new uint8_t[size + 1]()) {}
    // A copy of `size` bytes at `data`.
    ManagedDataArray(const void* data, std::size_t size) : ManagedDataArray(size) {
        if (size != 0) {
            std::memcpy(block_.get(), data, size);
        }
    }

    std::size_t size() const { return size_; }
    uint8_t* data() { return block_.get(); }
    const uint8_t* data() const { return block_.get(); }
    // The block's shared owner; holders may keep the bytes alive with it.
    const std::shared_ptr<uint8_t[]>& owner() const { return block_; }

    // Shortens the array to `size` bytes (never grows it); the byte behind
    // the new end becomes 0.
    void Truncate(std::size_t size) {
        size_ = std::min(size, size_);
        block_.get()[size_] = 0;
    }

private:
    std::size_t size_;
    std::shared_ptr<uint8_t[]> block_;
};

} // namespace orva::templates::container
