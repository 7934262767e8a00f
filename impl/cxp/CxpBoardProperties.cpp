#include "impl/cxp/CxpBoardProperties.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "impl/core/IControllerInterface.h"
#include "impl/core/PropertyArguments.h"
#include "impl/core/PropertyTable.h"
#include "impl/cxp/CxpPowerStatus.h"
#include "include/tgx_genicam.h"
#include "runtime/logging/LogMessage.h"
#include "runtime/templates/RecursiveMutexGuard.h"

namespace orva::cxp {

namespace {

using core::kPropertyTypeDouble;
using core::kPropertyTypeText;
using core::kPropertyTypeUint32;
using templates::platform::MutexLock;
using templates::platform::RecursiveMutexGuard;
using tools::logging::LevelWarning;

// A row for every board, in or outside the CoaXPress groups.
constexpr core::CxpBoardGroups kEveryBoard = 0;

// What a row's value is made of: the 64-bit value of its source register
// (0 for a row without one), the port, the board.
struct Reading {
    const CxpBoard& board;
    CCxpPort& port;
    uint64_t raw;
};

int32_t StoreDouble(void* value, double result) {
    *static_cast<double*>(value) = result;
    return TGX_OK;
}

int32_t StoreUint(void* value, uint32_t result) {
    *static_cast<uint32_t*>(value) = result;
    return TGX_OK;
}

double Raw(const Reading& r) {
    return static_cast<double>(r.raw);
}

// The auxiliary sensor's divider is undefined at its top reading.
constexpr double kAdInTop = 13800.0;

int32_t StoreAdIn(const Reading& r, void* value) {
    if (Raw(r) == kAdInTop) {
        return TGX_ERR_INVALID_DATA;
    }
    return StoreDouble(value, Raw(r) * 300.0 / (kAdInTop - Raw(r)));
}

int32_t StorePowerStatus(const Reading& r, void* value) {
    uint32_t status = kPowerStatusUnknown;
    switch (DecodePowerStatus(r.board.Facts(), r.raw, status)) {
    case PowerStatusDecode::Ok:
        break;
    case PowerStatusDecode::InvalidValue:
        ORVA_LOG(r.board.GetLogger(), LevelWarning, "Failed to get PoCXP status: invalid value");
        break;
    case PowerStatusDecode::BoardNotSupported:
        ORVA_LOG(r.board.GetLogger(), LevelWarning, "Failed to get PoCXP status: board not supported");
        break;
    }
    return StoreUint(value, status);
}

int32_t StoreXmlFile(const Reading& r, void* value) {
    // The caller's buffer has no size: the text is bounded instead, and
    // copied without a terminating zero.
    const std::string text = r.port.GetXmlManifestInfo();
    const std::size_t bytes = std::min<std::size_t>(text.size(), CxpBoardProperties::kXmlFileMaxBytes);
    std::memcpy(value, text.data(), bytes);
    return TGX_OK;
}

} // namespace

// The rows of a name are adjacent; the first of them gives the type, the
// first that serves the board gives the value.
struct CxpBoardProperties::GetRow {
    const char* name;
    uint32_t type;
    core::CxpBoardGroups boards;
    // The port's design register, the port number behind; null for a
    // record of the port.
    const char* source;
    int32_t (*store)(const Reading& reading, void* value);
};

struct CxpBoardProperties::SetRow {
    const char* name;
    uint32_t type;
    int32_t (*write)(CxpTopology& topology, uint32_t port, uint32_t value);
};

namespace {

using GetRow = CxpBoardProperties::GetRow;
using SetRow = CxpBoardProperties::SetRow;

constexpr core::CxpBoardGroups kGroup1 = core::kCxpGroup1;
constexpr core::CxpBoardGroups kGroup2 = core::kCxpGroup2;
constexpr core::CxpBoardGroups kGroup4 = core::kCxpGroup4;
constexpr core::CxpBoardGroups kGroups1To3 = core::kCxpGroup1 | core::kCxpGroup2 | core::kCxpGroup3;

constexpr std::array kGetRows = {
    // name, type, boards, source, value
    GetRow{"CxpPowerSense", kPropertyTypeDouble, kGroup1, "CxpPowerSense_",
           [](const Reading& r, void* v) { return StoreDouble(v, Raw(r) * 0.0004 * 1000.0); }},
    GetRow{"CxpPowerSense", kPropertyTypeDouble, kGroup2, "CxpPowerShuntVoltage_",
           [](const Reading& r, void* v) { return StoreDouble(v, Raw(r) * 0.2); }},
    GetRow{"CxpPowerSense", kPropertyTypeDouble, kGroup4, "CxpPowerStatus_",
           [](const Reading& r, void* v) { return StoreDouble(v, static_cast<double>(r.raw & 0xFFFF) * 0.2); }},
    GetRow{"CxpPowerVin", kPropertyTypeDouble, kGroup1, "CxpPowerVin_",
           [](const Reading& r, void* v) { return StoreDouble(v, Raw(r) * 0.025); }},
    GetRow{"CxpPowerVin", kPropertyTypeDouble, kGroup2, "CxpPowerBusVoltage_",
           [](const Reading& r, void* v) { return StoreDouble(v, Raw(r) * 0.004); }},
    GetRow{
        "CxpPowerVin", kPropertyTypeDouble, kGroup4, "CxpPowerStatus_",
        [](const Reading& r, void* v) { return StoreDouble(v, static_cast<double>((r.raw >> 16) & 0x3FFF) * 0.004); }},
    GetRow{"CxpPowerAdIn", kPropertyTypeDouble, kGroup1, "CxpPowerAdIn_", StoreAdIn},
    GetRow{"CxpPowerStatus", kPropertyTypeUint32, kGroups1To3, "CxpPowerStatus_", StorePowerStatus},
    // Group 4 keeps both transceiver counters in one status register.
    GetRow{"CxpTransceiverNotInTable", kPropertyTypeUint32, kGroup4, "CxpTransceiverStatus_",
           [](const Reading& r, void* v) { return StoreUint(v, static_cast<uint32_t>(r.raw & 0xFFFFFF)); }},
    GetRow{"CxpTransceiverNotInTable", kPropertyTypeUint32, kEveryBoard, "CxpTransceiverNotInTable_",
           [](const Reading& r, void* v) { return StoreUint(v, static_cast<uint32_t>(r.raw)); }},
    GetRow{"CxpTransceiverDisparityError", kPropertyTypeUint32, kGroup4, "CxpTransceiverStatus_",
           [](const Reading& r, void* v) { return StoreUint(v, static_cast<uint32_t>((r.raw >> 24) & 0xFFFFFF)); }},
    GetRow{"CxpTransceiverDisparityError", kPropertyTypeUint32, kEveryBoard, "CxpTransceiverDisparityError_",
           [](const Reading& r, void* v) { return StoreUint(v, static_cast<uint32_t>(r.raw)); }},
    GetRow{"MagicValue", kPropertyTypeUint32, kEveryBoard, nullptr,
           [](const Reading& r, void* v) { return StoreUint(v, r.port.GetMagicValue()); }},
    GetRow{"XmlSize", kPropertyTypeUint32, kEveryBoard, nullptr,
           [](const Reading& r, void* v) { return StoreUint(v, r.port.GetXmlManifestSize()); }},
    GetRow{"XmlFile", kPropertyTypeText, kEveryBoard, nullptr, StoreXmlFile},
    GetRow{"CameraRevision", kPropertyTypeUint32, kEveryBoard, nullptr,
           [](const Reading& r, void* v) { return StoreUint(v, r.port.GetCameraRevision()); }},
};

constexpr std::array kSetRows = {
    SetRow{core::kLinkConfigProperty, kPropertyTypeUint32,
           [](CxpTopology& topology, uint32_t port, uint32_t value) {
               return topology.SetPortConnectionConfig(port, value);
           }},
};

bool Serves(const GetRow& row, const core::BoardTypeFacts& board) {
    return row.boards == kEveryBoard || board.InCxpGroup(row.boards);
}

} // namespace

CxpBoardProperties::CxpBoardProperties(CxpBoard& board, CxpTopology& topology) : board_(board), topology_(topology) {}

int32_t CxpBoardProperties::Get(const char* name, void* value, uint32_t type, uint32_t* extra) {
    const GetRow* first = core::FindPropertyRow<GetRow>(kGetRows, name);
    if (first == nullptr) {
        return TGX_ERR_NOT_IMPLEMENTED;
    }
    RecursiveMutexGuard guard(board_.controllerMutex);
    const int32_t check = core::CheckPortPropertyArguments(value, type, first->type, extra, board_.NrPorts());
    if (check != TGX_OK) {
        return check;
    }
    for (const GetRow* row = first; row != kGetRows.end() && std::strcmp(row->name, first->name) == 0; ++row) {
        if (Serves(*row, board_.Facts())) {
            return Read(*row, *extra, value);
        }
    }
    return TGX_ERR_INVALID_COMMAND;
}

int32_t CxpBoardProperties::Read(const GetRow& row, uint32_t port, void* value) {
    uint64_t raw = 0;
    if (row.source != nullptr) {
        const int32_t status = board_.ReadRegisterByName(PortRegisterName(row.source, port), raw);
        if (status != TGX_OK) {
            return status;
        }
    }
    return row.store(Reading{board_, board_.Port(port), raw}, value);
}

int32_t CxpBoardProperties::Set(const char* name, void* value, uint32_t type, uint32_t* extra) {
    const SetRow* row = core::FindPropertyRow<SetRow>(kSetRows, name);
    if (row == nullptr) {
        return TGX_ERR_NOT_IMPLEMENTED;
    }
    MutexLock scan(board_.scanMutex);
    RecursiveMutexGuard guard(board_.controllerMutex);
    const int32_t check = core::CheckPortPropertyArguments(value, type, row->type, extra, board_.NrPorts());
    if (check != TGX_OK) {
        return check;
    }
    return row->write(topology_, *extra, *static_cast<const uint32_t*>(value));
}

} // namespace orva::cxp
