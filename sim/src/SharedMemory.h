#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace orva::sim {

// One mapping of a POSIX shared-memory object; unmapped on destruction. The
// object itself outlives the mapping until it is unlinked.
class SharedMemory {
public:
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;
    ~SharedMemory();

    // Creates the object, sized and zero-filled; null if it exists already.
    static std::unique_ptr<SharedMemory> create(const std::string& name, size_t size);
    // Maps an existing object; null if there is none. Waits, bounded, for
    // its creator to size it, and fails if it has a different size.
    static std::unique_ptr<SharedMemory> open(const std::string& name, size_t size);
    // Removes the name; false if there was no such object.
    static bool unlink(const std::string& name);

    void* data() const { return data_; }
    size_t size() const { return size_; }
    const std::string& name() const { return name_; }

private:
    SharedMemory(std::string name, void* data, size_t size) : name_(std::move(name)), data_(data), size_(size) {}

    std::string name_;
    void* data_;
    size_t size_;
};

} // namespace orva::sim
