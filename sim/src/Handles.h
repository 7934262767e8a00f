#pragma once

// The handles the board libraries give out. Every live handle is recorded,
// so that a stale or foreign pointer is refused without being dereferenced.

#include "Design.h"
#include "runtime/board/OrvaBoardApi.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace orva::sim {
class Board;
}

struct OHalDevice {
    std::shared_ptr<orva::sim::Board> board;
};

// A design bound to a board reads the board's register set; one loaded by
// name alone knows only its design's table.
struct DsgDesign {
    std::shared_ptr<orva::sim::Board> board;
    const orva::sim::DesignDef* design = nullptr;
};

namespace orva::sim {

class HandleRegistry {
public:
    static HandleRegistry& instance();

    OHalDevice* addDevice(std::shared_ptr<Board> board);
    bool removeDevice(OHalDevice* device);
    // The board of a live device handle, null otherwise.
    std::shared_ptr<Board> boardOf(const OHalDevice* device) const;

    DsgDesign* addDesign(std::shared_ptr<Board> board, const DesignDef* design);
    bool removeDesign(DsgDesign* design);
    // A copy of a live design handle; false if it isn't one.
    bool lookupDesign(const DsgDesign* handle, DsgDesign& copy) const;

    // A grabber handle owns its device and design handles.
    Gb_Struct_s* addGrabber(uint32_t boardIndex, std::shared_ptr<Board> board);
    bool removeGrabber(Gb_Struct_s* grabber);
    bool isLiveGrabber(const Gb_Struct_s* grabber) const;

private:
    mutable std::mutex mutex_;
    std::unordered_map<const OHalDevice*, std::unique_ptr<OHalDevice>> devices_;
    std::unordered_map<const DsgDesign*, std::unique_ptr<DsgDesign>> designs_;
    std::unordered_map<const Gb_Struct_s*, std::unique_ptr<Gb_Struct_s>> grabbers_;
};

} // namespace orva::sim
