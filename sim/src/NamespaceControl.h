#pragma once

#include "SharedLayout.h"
#include "SharedMemory.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orva::sim {

class Board;
struct Scenario;

// The namespace of this call: ORVA_SIM_NAMESPACE, or "default". Throws
// ORVA_SIM_ERR_INVALID_ARGUMENT for a name that can't be part of an object name.
std::string currentNamespace();
std::string controlObjectName(std::string_view ns);
std::string boardObjectName(std::string_view ns, uint32_t index);

// The control block of a namespace: which scenario is loaded and which board
// objects exist. Loading, resetting and destroying go through here, under the
// control block's lock, which is always taken before a board's lock.
class NamespaceControl {
public:
    // Maps the control block, creating it if the namespace is new.
    static std::unique_ptr<NamespaceControl> open(const std::string& ns);

    NamespaceControl(const NamespaceControl&) = delete;
    NamespaceControl& operator=(const NamespaceControl&) = delete;
    ~NamespaceControl();

    // Opens a board, loading the namespace's scenario (ORVA_SIM_SCENARIO or
    // the built-in one) first if none is loaded.
    std::shared_ptr<Board> openBoard(uint32_t index);
    // Indices of the boards, loading the scenario first if need be.
    std::vector<uint32_t> boards();
    void load(std::string_view text, std::string_view source);
    void reset();

    // Unlinks every object of a namespace; open handles fail from then on.
    static void destroy(const std::string& ns);

private:
    NamespaceControl(std::string ns, std::unique_ptr<SharedMemory> memory);
    void checkLive();
    void ensureLoaded();
    void loadLocked(const Scenario& scenario, std::string_view text);

    std::string ns_;
    std::unique_ptr<SharedMemory> memory_;
    layout::ControlBlock* block_;
};

} // namespace orva::sim
