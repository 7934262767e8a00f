#include "Handles.h"

namespace orva::sim {

HandleRegistry& HandleRegistry::instance() {
    static HandleRegistry registry;
    return registry;
}

OHalDevice* HandleRegistry::addDevice(std::shared_ptr<Board> board) {
    auto device = std::make_unique<OHalDevice>();
    device->board = std::move(board);
    OHalDevice* raw = device.get();
    const std::lock_guard lock(mutex_);
    devices_.emplace(raw, std::move(device));
    return raw;
}

bool HandleRegistry::removeDevice(OHalDevice* device) {
    std::unique_ptr<OHalDevice> owned;
    {
        const std::lock_guard lock(mutex_);
        auto it = devices_.find(device);
        if (it == devices_.end()) {
            return false;
        }
        owned = std::move(it->second);
        devices_.erase(it);
    }
    return true; // the board mapping goes with `owned`, outside the lock
}

std::shared_ptr<Board> HandleRegistry::boardOf(const OHalDevice* device) const {
    const std::lock_guard lock(mutex_);
    auto it = devices_.find(device);
    return it == devices_.end() ? nullptr : it->second->board;
}

DsgDesign* HandleRegistry::addDesign(std::shared_ptr<Board> board, const DesignDef* design) {
    auto handle = std::make_unique<DsgDesign>();
    handle->board = std::move(board);
    handle->design = design;
    DsgDesign* raw = handle.get();
    const std::lock_guard lock(mutex_);
    designs_.emplace(raw, std::move(handle));
    return raw;
}

bool HandleRegistry::removeDesign(DsgDesign* design) {
    std::unique_ptr<DsgDesign> owned;
    {
        const std::lock_guard lock(mutex_);
        auto it = designs_.find(design);
        if (it == designs_.end()) {
            return false;
        }
        owned = std::move(it->second);
        designs_.erase(it);
    }
    return true;
}

bool HandleRegistry::lookupDesign(const DsgDesign* handle, DsgDesign& copy) const {
    const std::lock_guard lock(mutex_);
    auto it = designs_.find(handle);
    if (it == designs_.end()) {
        return false;
    }
    copy = *it->second;
    return true;
}

Gb_Struct_s* HandleRegistry::addGrabber(uint32_t boardIndex, std::shared_ptr<Board> board) {
    auto grabber = std::make_unique<Gb_Struct_s>();
    grabber->magic = GB_STRUCT_MAGIC;
    grabber->boardIndex = boardIndex;
    grabber->device = addDevice(board);
    grabber->design = addDesign(std::move(board), nullptr);
    Gb_Struct_s* raw = grabber.get();
    const std::lock_guard lock(mutex_);
    grabbers_.emplace(raw, std::move(grabber));
    return raw;
}

bool HandleRegistry::removeGrabber(Gb_Struct_s* grabber) {
    std::unique_ptr<Gb_Struct_s> owned;
    {
        const std::lock_guard lock(mutex_);
        auto it = grabbers_.find(grabber);
        if (it == grabbers_.end()) {
            return false;
        }
        owned = std::move(it->second);
        grabbers_.erase(it);
    }
    removeDevice(owned->device);
    removeDesign(owned->design);
    return true;
}

bool HandleRegistry::isLiveGrabber(const Gb_Struct_s* grabber) const {
    const std::lock_guard lock(mutex_);
    auto it = grabbers_.find(grabber);
    return it != grabbers_.end() && it->second->magic == GB_STRUCT_MAGIC;
}

} // namespace orva::sim
