#include "impl/core/CCameraInterface.h"

#include "runtime/logging/Logging.h"

namespace orva::core {

namespace {
constexpr const char* kLoggerName = "orva.genicam.TGXCameraInterface";
// Values that the design numbers with two bits at most.
constexpr uint32_t kLinkFieldLimit = 4;
} // namespace

CCameraInterface::CCameraInterface(IPortInterface* port, IControllerInterface* controller)
    : port_(port), controller_(controller) {}

CCameraInterface::~CCameraInterface() = default;

tools::logging::Logger* CCameraInterface::GetLogger() {
    if (logger_ == nullptr) {
        logger_ = tools::logging::Logging::instance()->GetLogger(kLoggerName);
    }
    return logger_;
}

int32_t CCameraInterface::SetNrOfLinks(uint32_t count) {
    if (count > kMaxLinks) {
        return TGX_ERR_INVALID_ARGUMENT;
    }
    nrOfLinks_ = count;
    return TGX_OK;
}

namespace {
template <class Apply> int32_t SetLinkField(std::array<LinkRecord, kMaxLinks>& links, uint32_t link, Apply apply) {
    if (link >= kMaxLinks) {
        return TGX_ERR_INVALID_ARGUMENT;
    }
    apply(links[link]);
    return TGX_OK;
}
} // namespace

int32_t CCameraInterface::SetLinkFgPort(uint32_t link, uint32_t value) {
    return SetLinkField(links_, link, [value](LinkRecord& r) {
        if (value < kLinkFieldLimit) {
            r.fgPort = static_cast<int32_t>(value);
        }
    });
}

int32_t CCameraInterface::SetLinkAppletPort(uint32_t link, uint32_t value) {
    return SetLinkField(links_, link, [value](LinkRecord& r) {
        if (value < kLinkFieldLimit) {
            r.appletPort = static_cast<int32_t>(value);
        }
    });
}

int32_t CCameraInterface::SetLinkAppletMasterId(uint32_t link, uint32_t value) {
    return SetLinkField(links_, link, [value](LinkRecord& r) { r.appletMasterId = static_cast<int32_t>(value); });
}

int32_t CCameraInterface::SetLinkAppletLinkOrderIndex(uint32_t link, uint32_t value) {
    return SetLinkField(links_, link, [value](LinkRecord& r) {
        if (value < kLinkFieldLimit) {
            r.appletLinkOrderIndex = static_cast<int32_t>(value);
        }
    });
}

LinkRecord CCameraInterface::GetLink(uint32_t link) const {
    return link < kMaxLinks ? links_[link] : LinkRecord{};
}

const TgxCameraInfo* CCameraInterface::RefreshInfo() {
    std::lock_guard<std::mutex> lock(infoMutex_);
    info_ = TgxCameraInfo{};
    if (const ICameraInfo* record = port_ != nullptr ? port_->GetCameraInfo() : nullptr) {
        info_.deviceName = record->GetDeviceName();
        info_.modelName = record->GetModelName();
        info_.familyName = record->GetFamilyName();
        info_.deviceVersion = record->GetDeviceVersion();
        info_.firmwareVersion = record->GetFirmwareVersion();
        info_.manufacturerInfo = record->GetManufacturerInfo();
        info_.serialNumber = record->GetSerialNumber();
        info_.userId = record->GetUserId();
    }
    return &info_;
}

void CCameraInterface::UpdateInfo() {
    std::lock_guard<std::mutex> lock(infoMutex_);
    if (port_ != nullptr) {
        port_->UpdateCameraInfo();
    }
}

} // namespace orva::core
