#include "impl/core/CDriver.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <exception>
#include <fstream>
#include <thread>

#include "impl/core/ControllerFactory.h"
#include "impl/core/PropertyArguments.h"
#include "impl/core/PropertyTable.h"
#include "runtime/board/BoardForwarders.h"
#include "runtime/board/GrabberHandle.h"
#include "runtime/logging/LogMessage.h"
#include "runtime/logging/Logging.h"

namespace orva::core {

using templates::platform::RecursiveMutexGuard;
using tools::logging::LevelError;

namespace {
constexpr const char* kLoggerName = "orva.genicam.TGXInterface";
constexpr const char* kBoardTypeKey = "board/type";
// The camera needs its supply to drop out fully before it comes back.
constexpr std::chrono::milliseconds kPowerCyclePause{1000};

uint32_t HighWord(uint32_t value) {
    return value >> 16;
}
uint32_t LowWord(uint32_t value) {
    return value & 0xFFFFU;
}
} // namespace

CDriver::CDriver() = default;

CDriver::~CDriver() {
    // First the application's function: a delivery in progress ends before
    // this goes on, and the reports the controller still makes while it
    // stops find no function. The controller's own event lock stays alone,
    // as its thread may hold it while it waits here.
    RegisterEventCallback(nullptr, nullptr);
    monitor_.reset(); // stops and joins
    cameras_.clear(); // cameras borrow ports of the controller: first
    controller_.reset();
}

void CDriver::Monitor() {}

tools::logging::Logger* CDriver::GetLogger() {
    if (logger_ == nullptr) {
        logger_ = tools::logging::Logging::instance()->GetLogger(kLoggerName);
    }
    return logger_;
}

int32_t CDriver::Init(const Gb_Struct_s* grabber, bool forceCoreReset) {
    board::BoardHandles handles;
    if (!board::GetBoardHandles(grabber, handles)) {
        return TGX_ERR_INVALID_ARGUMENT;
    }
    const int64_t boardType = board::OHalGetBoardInfoInt(handles.device, kBoardTypeKey);
    std::unique_ptr<IControllerInterface> controller;
    try {
        controller = CreateController(boardType, handles, forceCoreReset);
    } catch (const std::exception& e) {
        // A controller that can't take its named locks can't share the board.
        ORVA_LOG(GetLogger(), LevelError,
                 "Controller of board type 0x" << std::hex << boardType << std::dec << " failed: " << e.what());
        return TGX_ERR_BOARD_INIT;
    }
    if (!controller) {
        return TGX_ERR_BOARD_NOT_SUPPORTED;
    }
    return Init(std::move(controller));
}

int32_t CDriver::Init(std::unique_ptr<IControllerInterface> controller) {
    if (!controller) {
        return TGX_ERR_INVALID_ARGUMENT;
    }
    controller_ = std::move(controller);
    controller_->ResetController();
    controller_->WaitAfterReset();
    controller_->SetEventCallback(&CDriver::EventSink, this);
    monitor_ = std::make_unique<CDriverMonitoringThread>(this);
    monitor_->start();
    return TGX_OK;
}

int32_t CDriver::ScanPorts(uint32_t portMask, uint32_t speed, uint32_t timeoutMs) {
    RecursiveMutexGuard guard(cameraLock_);
    if (!controller_) {
        return TGX_ERR_INVALID_POINTER;
    }
    const int32_t result = controller_->DiscoverCameras(portMask, speed, timeoutMs);
    if (result != TGX_OK && result != TGX_ERR_LINK_LAYOUT_MISMATCH) {
        return result; // the old list stands
    }
    const uint32_t nrOfPorts = controller_->GetNrOfPorts();
    for (uint32_t i = 0; i < nrOfPorts; ++i) {
        IPortInterface* port = controller_->GetPort(i);
        if (port == nullptr) {
            continue;
        }
        RemoveCameraOfPort(port);
        if (port->GetLinkIndex() == kLinkIndexMaster) {
            AddCameraOfMasterPort(port, speed);
        }
    }
    return result;
}

void CDriver::RemoveCameraOfPort(const IPortInterface* port) {
    RecursiveMutexGuard guard(cameraLock_);
    auto it = std::find_if(cameras_.begin(), cameras_.end(),
                           [port](const auto& camera) { return camera->GetPort() == port; });
    if (it != cameras_.end()) {
        cameras_.erase(it);
    }
}

void CDriver::AddCameraOfMasterPort(IPortInterface* master, uint32_t speed) {
    RecursiveMutexGuard guard(cameraLock_);
    auto camera = std::make_unique<CCameraInterface>(master, controller_.get());
    camera->SetDiscoverySpeed(speed);
    const uint32_t cameraId = HighWord(master->GetMasterId());
    const uint32_t nrOfPorts = controller_->GetNrOfPorts();
    uint32_t links = 0;
    for (uint32_t j = 0; j < nrOfPorts; ++j) {
        IPortInterface* q = controller_->GetPort(j);
        if (q == nullptr || HighWord(q->GetMasterId()) != cameraId) {
            continue;
        }
        const uint32_t link = LowWord(q->GetMasterId());
        const uint32_t appletMasterId = q->GetAppletMasterId();
        // A link number past the table is refused by the setters; the link
        // still counts, as the camera has it.
        camera->SetLinkAppletPort(link, q->GetAppletPort());
        camera->SetLinkAppletMasterId(link, HighWord(appletMasterId));
        camera->SetLinkAppletLinkOrderIndex(link, LowWord(appletMasterId));
        camera->SetLinkFgPort(link, q->GetPortNumber());
        ++links;
    }
    camera->SetNrOfLinks(links);
    cameras_.push_back(std::move(camera));
}

int32_t CDriver::ReadPort(uint32_t portIndex, uint32_t address, void* buffer, uint32_t length, uint32_t timeoutMs) {
    IPortInterface* port = GetPort(portIndex);
    return port != nullptr ? port->ReadMem(address, buffer, length, timeoutMs) : TGX_ERR_INVALID_POINTER;
}

int32_t CDriver::WritePort(uint32_t portIndex, uint32_t address, const void* buffer, uint32_t length,
                           uint32_t timeoutMs) {
    IPortInterface* port = GetPort(portIndex);
    return port != nullptr ? port->WriteMem(address, buffer, length, timeoutMs) : TGX_ERR_INVALID_POINTER;
}

int32_t CDriver::GetCameraCount() {
    RecursiveMutexGuard guard(cameraLock_);
    return static_cast<int32_t>(cameras_.size());
}

int32_t CDriver::GetCameraListSize() {
    return GetCameraCount();
}

CCameraInterface* CDriver::GetCameraByIndex(uint32_t index) {
    RecursiveMutexGuard guard(cameraLock_);
    return index < cameras_.size() ? cameras_[index].get() : nullptr;
}

CCameraInterface* CDriver::GetCameraAtPort(uint32_t portIndex) {
    RecursiveMutexGuard guard(cameraLock_);
    auto it = std::find_if(cameras_.begin(), cameras_.end(), [portIndex](const auto& camera) {
        return camera->GetLink(0).fgPort == static_cast<int32_t>(portIndex);
    });
    return it != cameras_.end() ? it->get() : nullptr;
}

uint32_t CDriver::GetNrOfPorts() {
    return controller_ ? controller_->GetNrOfPorts() : 0;
}

IPortInterface* CDriver::GetPort(uint32_t index) {
    return controller_ ? controller_->GetPort(index) : nullptr;
}

namespace {

// The board's own properties, behind the controller's: unsigned 32-bit, to
// get only.
struct BoardPropertyRow {
    const char* name;
    uint32_t (*read)(CDriver& driver);
};

// Bit n set if port n's transceiver is locked; polls every port in turn.
uint32_t TransceiversLockedMask(CDriver& driver) {
    uint32_t mask = 0;
    for (uint32_t i = 0; i < driver.GetNrOfPorts() && i < 32; ++i) {
        IPortInterface* port = driver.GetPort(i);
        if (port != nullptr && port->IsTransceiverLocked()) {
            mask |= 1U << i;
        }
    }
    return mask;
}

constexpr std::array kBoardProperties = {
    BoardPropertyRow{"NrOfCameras", [](CDriver& d) { return static_cast<uint32_t>(d.GetCameraCount()); }},
    BoardPropertyRow{"TransceiversLockedMask", TransceiversLockedMask},
    BoardPropertyRow{"NrOfPorts", [](CDriver& d) { return d.GetNrOfPorts(); }},
};

} // namespace

int32_t CDriver::GetBoardProperty(const char* name, void* value, uint32_t type, uint32_t* extra) {
    if (controller_) {
        const int32_t result = controller_->GetBoardProperty(name, value, type, extra);
        if (result != TGX_ERR_NOT_IMPLEMENTED) {
            return result; // a controller may shadow the board's own names
        }
    }
    const BoardPropertyRow* row = FindPropertyRow<BoardPropertyRow>(kBoardProperties, name);
    if (row == nullptr) {
        return TGX_ERR_NOT_IMPLEMENTED;
    }
    if (const int32_t status = CheckPropertyArgs(value, type, extra, kPropertyTypeUint32); status != TGX_OK) {
        return status;
    }
    *static_cast<uint32_t*>(value) = row->read(*this);
    return TGX_OK;
}

int32_t CDriver::SetBoardProperty(const char* name, void* value, uint32_t type, uint32_t* extra) {
    return controller_ ? controller_->SetBoardProperty(name, value, type, extra) : TGX_ERR_NOT_IMPLEMENTED;
}

int32_t CDriver::StoreLowLevelLinkProfile(const char* fileName) {
    if (!controller_) {
        return TGX_ERR_INVALID_BOARD_HANDLE;
    }
    std::ofstream out(fileName);
    if (!out) {
        return TGX_ERR_FILE_ACCESS;
    }
    out << "# low level link profile v1.0\n";
    out << "mux=0x" << std::hex << controller_->GetDiscoverySelector() << std::dec << '\n';
    const uint32_t ports = controller_->GetNrOfPorts();
    for (uint32_t i = 0; i < ports; ++i) {
        IPortInterface* port = controller_->GetPort(i);
        out << "dl_" << i << '=';
        if (port != nullptr) {
            out << HighWord(port->GetAppletMasterId()) << ',' << LowWord(port->GetAppletMasterId()) << '\n';
        } else {
            out << "-1,-1\n";
        }
    }
    for (uint32_t i = 0; i < ports; ++i) {
        IPortInterface* port = controller_->GetPort(i);
        out << "speed_" << i << '=';
        if (port != nullptr) {
            out << port->GetLinkSpeed() << '\n';
        } else {
            out << "-1\n";
        }
    }
    out.close();
    return out ? TGX_OK : TGX_ERR_FILE_ACCESS;
}

int32_t CDriver::RestoreLowLevelLinkProfile(const char* fileName) {
    if (!controller_) {
        return TGX_ERR_INVALID_BOARD_HANDLE;
    }
    if (!std::ifstream(fileName)) {
        return TGX_ERR_FILE_ACCESS;
    }
    return TGX_ERR_INVALID_ARGUMENT;
}

int32_t CDriver::PowerSwitch(uint32_t portMask, uint32_t command) {
    if (!controller_) {
        return TGX_OK;
    }
    switch (command) {
    case TGX_POWER_OFF:
        controller_->PowerOff(portMask);
        break;
    case TGX_POWER_ON:
        controller_->PowerOn(portMask);
        break;
    case TGX_POWER_CYCLE:
        controller_->PowerOff(portMask);
        std::this_thread::sleep_for(kPowerCyclePause);
        controller_->PowerOn(portMask);
        break;
    default:
        break;
    }
    return TGX_OK;
}

int32_t CDriver::RegisterEventCallback(TgxEventCallback callback, void* context) {
    RecursiveMutexGuard guard(eventLock_);
    eventCallback_ = callback;
    eventContext_ = context;
    return TGX_OK;
}

int32_t CDriver::DeliverEvent(const TgxEventRecord* record, uint32_t reserved) {
    RecursiveMutexGuard guard(eventLock_);
    if (eventCallback_ == nullptr) {
        return TGX_ERR_NO_EVENT_HANDLER;
    }
    // Marks this thread as the one in the event function, for as long as it
    // is; a delivery nested on the same thread keeps the mark.
    const std::thread::id outer = deliveringThread_.exchange(std::this_thread::get_id());
    int32_t result = TGX_ERR_EXCEPTION;
    try {
        result = eventCallback_(this, reserved, record, eventContext_);
    } catch (...) {
        result = TGX_ERR_EXCEPTION; // the application's function must not take the worker down
    }
    deliveringThread_.store(outer);
    return result;
}

bool CDriver::IsDeliveringEvent() const {
    return deliveringThread_.load() == std::this_thread::get_id();
}

void CDriver::EventSink(LinkEventKind kind, uint32_t portMask, void* context) {
    auto* driver = static_cast<CDriver*>(context);
    if (driver == nullptr) {
        return;
    }
    TgxEventRecord record{};
    record.id = kind == LinkEventKind::Gained ? TGX_EVENT_LINK_UP : TGX_EVENT_LINK_DOWN;
    record.portMask = portMask;
    driver->DeliverEvent(&record, 0);
}

} // namespace orva::core
