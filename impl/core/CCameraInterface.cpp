#include "impl/core/CCameraInterface.h"

#include <array>
#include <atomic>
#include <cstring>
#include <fstream>
#include <iterator>

#include "core/genapi/GenICamManager.h"
#include "impl/core/CameraProperties.h"
#include "impl/core/PropertyArguments.h"
#include "impl/core/PropertyTable.h"
#include "runtime/logging/LogMessage.h"
#include "runtime/logging/Logging.h"

namespace orva::core {

namespace {
constexpr const char* kLoggerName = "orva.genicam.TGXCameraInterface";
// Values that the design numbers with two bits at most.
constexpr uint32_t kLinkFieldLimit = 4;
} // namespace

CCameraInterface::CCameraInterface(IPortInterface* port, IControllerInterface* controller)
    : port_(port), controller_(controller) {}

// Drops the node map before the port it reads through; sends nothing to the
// camera and leaves the environment alone.
CCameraInterface::~CCameraInterface() {
    DropConnection();
}

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

int32_t CCameraInterface::GetProperty(const char* name, void* value, uint32_t type, const uint32_t* extra) {
    const CameraGetRow* row = FindPropertyRow(CameraGetProperties(), name);
    if (row == nullptr) {
        return TGX_ERR_NOT_IMPLEMENTED;
    }
    if (const int32_t status = CheckCameraPropertyArguments(value, type, port_); status != TGX_OK) {
        return status;
    }
    uint32_t link = 0;
    if (row->perLink) {
        // A row that needs a link can't go without one.
        if (extra == nullptr || *extra >= kMaxLinks) {
            return TGX_ERR_INVALID_ARGUMENT;
        }
        link = *extra;
    }
    *static_cast<uint32_t*>(value) = row->read(*this, link);
    return TGX_OK;
}

int32_t CCameraInterface::SetProperty(const char* name, void* value, uint32_t type, const uint32_t* extra) {
    const CameraSetRow* row = FindPropertyRow(CameraSetProperties(), name);
    if (row == nullptr) {
        return TGX_ERR_NOT_IMPLEMENTED;
    }
    if (const int32_t status = CheckCameraPropertyArguments(value, type, port_); status != TGX_OK) {
        return status;
    }
    if (controller_ == nullptr) {
        return TGX_ERR_NOT_IMPLEMENTED;
    }
    uint32_t linkConfig = row->toLinkConfig(*static_cast<const uint32_t*>(value));
    uint32_t portNumber = port_->GetPortNumber();
    return controller_->SetBoardProperty(kLinkConfigProperty, &linkConfig, kPropertyTypeUint32, &portNumber);
}

namespace {
// Placeholder some cameras leave in their descriptions; blanked on load.
constexpr std::string_view kEmptyToolTip = "<ToolTip>< / ToolTip>";
// A description file larger than this is not a camera description.
constexpr std::streamoff kMaxDescriptionFileBytes = 64LL * 1024 * 1024;
} // namespace

int32_t CCameraInterface::Connect() {
    genapi::SetGenICamEnvironment(savedEnvironment_, true);
    if (port_ == nullptr) {
        return TGX_ERR_NO_INTERFACE;
    }
    if (!port_->IsConnected()) {
        return TGX_ERR_NO_PHYSICAL_CONNECTION;
    }
    if (xml_.empty()) {
        // A description that was set or loaded before is used as it is.
        if (const int32_t status = port_->GetXmlInfo(xml_, 0); status != TGX_OK) {
            return status;
        }
    }
    return CreateNodeMap();
}

int32_t CCameraInterface::ConnectWithExternalXml(const char* fileName) {
    genapi::SetGenICamEnvironment(savedEnvironment_, true);
    if (port_ == nullptr || !port_->IsConnected()) {
        return TGX_ERR_NO_PHYSICAL_CONNECTION;
    }
    std::ifstream file(fileName, std::ios::binary | std::ios::ate);
    if (!file) {
        return TGX_ERR_INVALID_FILENAME;
    }
    const std::streamoff size = file.tellg();
    if (size <= 0) {
        return TGX_ERR_NO_DATA;
    }
    if (size > kMaxDescriptionFileBytes) {
        return TGX_ERR_FILE_ACCESS;
    }
    std::string text(static_cast<std::size_t>(size), '\0');
    file.seekg(0);
    if (!file.read(text.data(), size) || file.gcount() != size) {
        return TGX_ERR_FILE_ACCESS;
    }
    // The description is the text up to a first zero byte.
    text.resize(std::char_traits<char>::length(text.c_str()));
    xml_ = std::move(text);
    return CreateNodeMap();
}

int32_t CCameraInterface::CreateNodeMap() {
    try {
        genapi::NodeMap map = genapi::NodeMap::FromXml(xml_);
        auto adapter = std::make_shared<genapi::CorePortAdapter>(
            *port_, genapi::PortTimeouts{port_->GetNodeMapReadTimeoutMs(), port_->GetNodeMapWriteTimeoutMs()},
            [](int32_t status) { return std::string(Tgx_getErrorDescription(status)); });
        map.Connect(adapter);
        nodeMap_.emplace(std::move(map));
        portAdapter_ = std::move(adapter);
        connected_ = true;
        return TGX_OK;
    } catch (const std::exception& e) {
        // The status can't say why; the log line can.
        ORVA_LOG(GetLogger(), tools::logging::LevelWarning,
                 "Port " << port_->GetPortNumber() << ": camera description refused: " << e.what());
    } catch (...) {
        ORVA_LOG(GetLogger(), tools::logging::LevelWarning,
                 "Port " << port_->GetPortNumber() << ": camera description refused");
    }
    DropConnection();
    return TGX_ERR_NO_INTERFACE;
}

void CCameraInterface::DropConnection() {
    connected_ = false;
    nodeMap_.reset();
    portAdapter_.reset();
    xml_.clear();
}

int32_t CCameraInterface::Disconnect() {
    DropConnection();
    genapi::SetGenICamEnvironment(savedEnvironment_, false);
    return TGX_OK;
}

int32_t CCameraInterface::LoadXml() {
    if (port_ == nullptr) {
        return TGX_ERR_NO_INTERFACE;
    }
    if (const int32_t status = port_->GetXmlInfo(xml_, 0); status != TGX_OK) {
        return status;
    }
    if (const auto at = xml_.find(kEmptyToolTip); at != std::string::npos) {
        xml_.replace(at, kEmptyToolTip.size(), kEmptyToolTip.size(), ' ');
    }
    return TGX_OK;
}

int32_t CCameraInterface::GetXml(char* buffer, uint32_t* size) const {
    const auto length = static_cast<uint32_t>(xml_.size());
    if (buffer == nullptr) {
        *size = length;
        return TGX_OK;
    }
    if (*size < length) {
        return TGX_ERR_INVALID_ARGUMENT;
    }
    *size = length;
    xml_.copy(buffer, length);
    return TGX_OK;
}

const char* CCameraInterface::Keep(std::string text) {
    templates::platform::MutexLock lock(stringPoolMutex_);
    return stringPool_.insert(std::move(text)).first->c_str();
}

namespace {
// Each field of the application's record and the getter it is filled from.
struct InfoText {
    const char* TgxCameraInfo::*field;
    const char* (ICameraInfo::*get)() const;
};
constexpr std::array<InfoText, 8> kInfoTexts{{
    {&TgxCameraInfo::deviceName, &ICameraInfo::GetDeviceName},
    {&TgxCameraInfo::modelName, &ICameraInfo::GetModelName},
    {&TgxCameraInfo::familyName, &ICameraInfo::GetFamilyName},
    {&TgxCameraInfo::deviceVersion, &ICameraInfo::GetDeviceVersion},
    {&TgxCameraInfo::firmwareVersion, &ICameraInfo::GetFirmwareVersion},
    {&TgxCameraInfo::manufacturerInfo, &ICameraInfo::GetManufacturerInfo},
    {&TgxCameraInfo::serialNumber, &ICameraInfo::GetSerialNumber},
    {&TgxCameraInfo::userId, &ICameraInfo::GetUserId},
}};
} // namespace

const TgxCameraInfo* CCameraInterface::RefreshInfo() {
    templates::platform::MutexLock lock(infoMutex_);
    // Filled aside and stored field by field, only where it changed: another
    // thread may be reading the record the application was given.
    TgxCameraInfo fresh{};
    if (const ICameraInfo* record = port_ != nullptr ? port_->GetCameraInfo() : nullptr) {
        for (const InfoText& text : kInfoTexts) {
            fresh.*text.field = (record->*text.get)();
        }
    }
    for (const InfoText& text : kInfoTexts) {
        std::atomic_ref<const char*> slot(info_.*text.field);
        if (slot.load(std::memory_order_relaxed) != fresh.*text.field) {
            slot.store(fresh.*text.field, std::memory_order_release);
        }
    }
    return &info_;
}

void CCameraInterface::UpdateInfo() {
    templates::platform::MutexLock lock(infoMutex_);
    if (port_ != nullptr) {
        port_->UpdateCameraInfo();
    }
}

} // namespace orva::core
