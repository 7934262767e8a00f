// The control interface of orva_sim.h.

#include "Board.h"
#include "Handles.h"
#include "LastError.h"
#include "NamespaceControl.h"
#include "Scenario.h"
#include "orva_sim.h"

#include <array>
#include <cstring>
#include <span>
#include <string>

using namespace orva::sim;

namespace {

void requirePointer(const void* pointer, const char* what) {
    if (pointer == nullptr) {
        throw SimError(ORVA_SIM_ERR_INVALID_ARGUMENT, std::string(what) + " is null");
    }
}

std::shared_ptr<Board> openBoard(uint32_t index) {
    return Board::open(index);
}

thread_local std::string namespaceText;

struct StatusText {
    int32_t status;
    const char* text;
};

constexpr std::array kStatusTexts{
    StatusText{ORVA_SIM_OK, "success"},
    StatusText{ORVA_SIM_ERR_INTERNAL, "internal failure of the simulator"},
    StatusText{ORVA_SIM_ERR_INVALID_HANDLE, "invalid handle"},
    StatusText{ORVA_SIM_ERR_INVALID_ARGUMENT, "invalid argument"},
    StatusText{ORVA_SIM_ERR_NO_SUCH_BOARD, "no such board"},
    StatusText{ORVA_SIM_ERR_NO_SUCH_REGISTER, "no such register in the design"},
    StatusText{ORVA_SIM_ERR_NO_SUCH_QUEUE, "no such data queue"},
    StatusText{ORVA_SIM_ERR_NO_SUCH_PORT, "no such port"},
    StatusText{ORVA_SIM_ERR_WRONG_DIRECTION, "data queue of the other direction"},
    StatusText{ORVA_SIM_ERR_BUSY, "busy: owned by another process"},
    StatusText{ORVA_SIM_ERR_NOT_SUPPORTED, "not supported by the board's design"},
    StatusText{ORVA_SIM_ERR_SCENARIO, "invalid scenario"},
    StatusText{ORVA_SIM_ERR_STATE, "simulator state missing or unusable"},
    StatusText{ORVA_SIM_ERR_SYSTEM, "system call failed"},
    StatusText{ORVA_SIM_ERR_NO_CAMERA, "no camera on the port"},
    StatusText{ORVA_SIM_ERR_UNKNOWN_FAULT, "fault unknown to the camera model"},
    StatusText{ORVA_SIM_ERR_UNKNOWN_KEY, "unknown board information key"},
    StatusText{ORVA_SIM_ERR_NOT_OWNER, "not owned by this process"},
    StatusText{ORVA_SIM_ERR_TIMEOUT, "timed out"},
};

} // namespace

extern "C" {

const char* orva_sim_last_error(void) {
    return lastError();
}

const char* orva_sim_status_text(int32_t status) {
    for (const auto& entry : kStatusTexts) {
        if (entry.status == status) {
            return entry.text;
        }
    }
    return status >= 0 ? "success" : "unknown status";
}

const char* orva_sim_namespace(void) {
    const int32_t status = statusOf([]() -> int32_t {
        namespaceText = currentNamespace();
        return ORVA_SIM_OK;
    });
    return status == ORVA_SIM_OK ? namespaceText.c_str() : "";
}

int32_t orva_sim_load_file(const char* path) {
    return statusOf([&]() -> int32_t {
        requirePointer(path, "the scenario path");
        const std::string text = readScenarioFile(path);
        NamespaceControl::open(currentNamespace())->load(text, path);
        return ORVA_SIM_OK;
    });
}

int32_t orva_sim_load_text(const char* json) {
    return statusOf([&]() -> int32_t {
        requirePointer(json, "the scenario text");
        NamespaceControl::open(currentNamespace())->load(json, "scenario text");
        return ORVA_SIM_OK;
    });
}

int32_t orva_sim_reset(void) {
    return statusOf([]() -> int32_t {
        NamespaceControl::open(currentNamespace())->reset();
        return ORVA_SIM_OK;
    });
}

int32_t orva_sim_destroy(void) {
    return statusOf([]() -> int32_t {
        NamespaceControl::destroy(currentNamespace());
        return ORVA_SIM_OK;
    });
}

int32_t orva_sim_list_boards(orva_sim_board_info* boards, uint32_t capacity) {
    return statusOf([&]() -> int32_t {
        if (capacity > 0) {
            requirePointer(boards, "the board list");
        }
        const auto indices = NamespaceControl::open(currentNamespace())->boards();
        for (size_t i = 0; i < indices.size() && i < capacity; ++i) {
            boards[i] = openBoard(indices[i])->info();
        }
        return static_cast<int32_t>(indices.size());
    });
}

int32_t orva_sim_get_port_info(uint32_t board, uint32_t port, orva_sim_port_info* info) {
    return statusOf([&]() -> int32_t {
        requirePointer(info, "the port information");
        *info = openBoard(board)->portInfo(port);
        return ORVA_SIM_OK;
    });
}

int32_t orva_sim_plug(uint32_t board, uint32_t port, int32_t plugged) {
    return statusOf([&]() -> int32_t {
        openBoard(board)->setPlugged(port, plugged != 0);
        return ORVA_SIM_OK;
    });
}

int32_t orva_sim_set_power(uint32_t board, uint32_t port, uint32_t state) {
    return statusOf([&]() -> int32_t {
        openBoard(board)->setPowerState(port, state);
        return ORVA_SIM_OK;
    });
}

int32_t orva_sim_get_power(uint32_t board, uint32_t port) {
    return statusOf([&]() -> int32_t { return static_cast<int32_t>(openBoard(board)->powerState(port)); });
}

int32_t orva_sim_inject_fault(uint32_t board, uint32_t port, const char* name, uint32_t count) {
    return statusOf([&]() -> int32_t {
        requirePointer(name, "the fault name");
        openBoard(board)->injectFault(port, name, count);
        return ORVA_SIM_OK;
    });
}

int32_t orva_sim_pending_fault(uint32_t board, uint32_t port, const char* name) {
    return statusOf([&]() -> int32_t {
        requirePointer(name, "the fault name");
        return static_cast<int32_t>(openBoard(board)->pendingFault(port, name));
    });
}

int32_t orva_sim_read_camera_memory(uint32_t board, uint32_t port, uint32_t offset, void* buffer, uint32_t bytes) {
    return statusOf([&]() -> int32_t {
        if (bytes > 0) {
            requirePointer(buffer, "the buffer");
        }
        return static_cast<int32_t>(
            openBoard(board)->readCameraMemory(port, offset, {static_cast<uint8_t*>(buffer), bytes}));
    });
}

int32_t orva_sim_grabber_handles(const Gb_Struct_s* grabber, OHalDevice** device, DsgDesign** design) {
    return statusOf([&]() -> int32_t {
        if (!HandleRegistry::instance().isLiveGrabber(grabber)) {
            throw SimError(ORVA_SIM_ERR_INVALID_HANDLE, "not a live grabber handle");
        }
        if (device != nullptr) {
            *device = grabber->device;
        }
        if (design != nullptr) {
            *design = grabber->design;
        }
        return ORVA_SIM_OK;
    });
}

} // extern "C"
