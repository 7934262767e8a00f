// What the tests of the CoaXPress controller share: a simulated board
// namespace per test, short wait times, a controller on a board of the
// test's scenario, and a record of its link events.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "impl/cxp/CxpController.h"
#include "include/tgx_genicam.h"
#include "orva_sim.h"
#include "runtime/board/BoardForwarders.h"
#include "runtime/board/GrabberHandle.h"
#include "runtime/templates/ByteOrder.h"
#include "support/SimNamespace.h"

namespace orva::cxptest {

using core::LinkEventKind;

// Bound of every wait for the worker: a discovery takes about a second.
constexpr auto kEventBound = std::chrono::seconds(30);
constexpr uint32_t kDiscoveryTimeoutMs = 30000;

struct LinkEvent {
    LinkEventKind kind;
    uint32_t portMask;
    bool operator==(const LinkEvent&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const LinkEvent& e) {
    return out << (e.kind == LinkEventKind::Gained ? "gained " : "lost ") << e.portMask;
}

// The controller's event function writes here; tests wait on it.
class EventLog {
public:
    static void Sink(LinkEventKind kind, uint32_t portMask, void* context) {
        auto* log = static_cast<EventLog*>(context);
        std::function<void(LinkEventKind, uint32_t)> hook;
        {
            std::lock_guard<std::mutex> lock(log->mutex_);
            hook = log->hook_;
        }
        if (hook) {
            hook(kind, portMask);
        }
        {
            std::lock_guard<std::mutex> lock(log->mutex_);
            log->events_.push_back({kind, portMask});
        }
        log->changed_.notify_all();
    }

    // Called on the worker for each event, before the event is recorded: a
    // test that waits for the event sees what the hook did.
    void SetHook(std::function<void(LinkEventKind, uint32_t)> hook) {
        std::lock_guard<std::mutex> lock(mutex_);
        hook_ = std::move(hook);
    }

    // True once `count` events have come.
    bool WaitForCount(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, kEventBound, [&] { return events_.size() >= count; });
    }

    std::vector<LinkEvent> Events() {
        std::lock_guard<std::mutex> lock(mutex_);
        return events_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<LinkEvent> events_;
    std::function<void(LinkEventKind, uint32_t)> hook_;
};

// A board of a scenario: type, design, ports and its cameras as JSON.
inline std::string Board(uint32_t index, const char* type, const char* design, uint32_t ports,
                         const std::string& cameras, const char* power = "on") {
    std::ostringstream json;
    json << R"({"index": )" << index << R"(, "type": ")" << type << R"(", "serial": )" << 4700 + index
         << R"(, "design": )" << design << R"(, "ports": )" << ports << R"(, "portPower": ")" << power
         << R"(", "cameras": [)" << cameras << "]}";
    return json.str();
}

inline std::string Scenario(const std::string& boards) {
    return R"({"description": "controller test", "boards": [)" + boards + "]}";
}

class CxpControllerTest : public ::testing::Test {
protected:
    void SetUp() override { test::UseShortCxpWaits(namespace_.folder()); }

    void TearDown() override {
        controller.reset();
        for (Gb_Struct_s* grabber : grabbers_) {
            board::Gb_FreeGrabber(grabber);
        }
    }

    void Load(const std::string& scenario) {
        ASSERT_EQ(orva_sim_load_text(scenario.c_str()), ORVA_SIM_OK) << orva_sim_last_error();
    }

    // Opens the board and makes its controller, as the core does: reset,
    // then the event function.
    void Open(uint32_t boardIndex = 0) {
        Gb_Struct_s* grabber = board::Gb_InitEx(boardIndex, nullptr, 0);
        ASSERT_NE(grabber, nullptr) << orva_sim_last_error();
        grabbers_.push_back(grabber);
        ASSERT_TRUE(board::GetBoardHandles(grabber, handles));
        controller = std::make_unique<cxp::CxpController>(handles.device, handles.design);
        controller->ResetController();
        controller->WaitAfterReset();
        controller->SetEventCallback(&EventLog::Sink, &events);
    }

    cxp::CCxpPort& Port(uint32_t index) { return *static_cast<cxp::CCxpPort*>(controller->GetPort(index)); }

    // A bootstrap register of the camera behind a port, as a host value.
    int32_t ReadCamera(uint32_t port, uint32_t address, uint32_t& value) {
        uint32_t wire = 0;
        const int32_t status = controller->GetPort(port)->ReadMem(address, &wire, 4, 200);
        value = templates::platform::swap32(wire);
        return status;
    }

    // A 32-bit counter of the camera's persistent memory (sim/README.md).
    uint32_t CameraCounter(uint32_t boardIndex, uint32_t port, uint32_t offset) {
        uint32_t value = 0;
        EXPECT_EQ(orva_sim_read_camera_memory(boardIndex, port, offset, &value, 4), 4) << orva_sim_last_error();
        return value;
    }

    uint64_t DesignRegister(const char* name) {
        bool found = false;
        const uint64_t value = controller->ReadDesignRegister(name, found);
        EXPECT_TRUE(found) << name;
        return value;
    }

    uint32_t PortPower(uint32_t port, uint32_t boardIndex = 0) { return orva_sim_get_power(boardIndex, port); }

    board::BoardHandles handles;
    std::unique_ptr<cxp::CxpController> controller;
    EventLog events;

private:
    test::TestNamespace namespace_{"cxpctl"};
    std::vector<Gb_Struct_s*> grabbers_;
};

} // namespace orva::cxptest
