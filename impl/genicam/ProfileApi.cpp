// The board configuration document and the connection profile built on it.
// These functions are ordinary callers of the board and camera functions:
// they take no lock of their own, and each step shows in the trace as the
// call it is.
#include <chrono>
#include <cstddef>
#include <exception>
#include <fstream>
#include <memory>
#include <new>
#include <string>

#include "core/plex/CxpLinkConfiguration.h"
#include "impl/genicam/ApiBoundary.h"
#include "impl/genicam/ApiCallFrame.h"
#include "include/tgx_genicam.h"

using orva::core::plex::CxpLinkConfiguration;
using orva::genicam::CallGuarded;
using orva::genicam::HandleText;

namespace {

// The document's word: the board configuration is kept in the CoaXPress
// form on every technology.
constexpr const char* kDocumentTechnology = "cxp";

// Discovery run by Tgx_LoadConnectionProfile before it compares: every port,
// automatic speed, and long enough for cameras that are still booting after
// the board powered them. Technologies without a discovery time-out ignore it.
constexpr uint32_t kProfileScanPortMask = 0xFFFF;
constexpr uint32_t kProfileScanTimeoutMs = 10000;
constexpr uint32_t kProfileScanSpeed = 0;
constexpr int32_t kPortMaskBits = 32;

bool Empty(const char* text) {
    return text == nullptr || *text == '\0';
}

// Reads the document of `fileName`, as CxpLinkConfiguration::Reload does,
// except that a document that can't be read or parsed leaves `document`
// empty rather than as far as the parser got. False in that case.
bool ReadDocument(CxpLinkConfiguration& document, const char* fileName) {
    document.SetFileName(fileName);
    try {
        document.LoadFromFile(fileName);
        return true;
    } catch (const std::exception&) {
        CxpLinkConfiguration empty(kDocumentTechnology);
        empty.SetFileName(fileName);
        document = empty;
        return false;
    }
}

// A camera property by the name of its constant, which the messages show.
struct PropertyName {
    const char* property;
    const char* constant;
};
constexpr PropertyName kConnected{"CONNECTED", "CAM_PROP_ISCONNECTED_S"};
constexpr PropertyName kStreamPacketSize{"STREAMPACKETSIZE", "CAM_PROP_STREAMPACKET_SIZE_S"};
constexpr PropertyName kLinkSpeed{"LINKSPEED", "CAM_PROP_LINKSPEED_S"};
constexpr PropertyName kNrOfLinks{"NROFLINKS", "CAM_PROP_NROFLINKS_S"};
constexpr PropertyName kMasterId{"MASTERID", "CAM_PROP_MASTERID_S"};
constexpr PropertyName kFgPort{"FGPORT", "CAM_PROP_FGPORT_S"};
constexpr PropertyName kAppletPort{"APPLETPORT", "CAM_PROP_APPLETPORT_S"};
constexpr PropertyName kMasterLink{"MASTERLINK", "CAM_PROP_MASTERLINK_S"};

int32_t ReadProperty(TgxCameraHandle* camera, const PropertyName& name, uint32_t* value, uint32_t* link = nullptr) {
    const uint32_t type = TGX_PROPERTY_TYPE_UINT32;
    return Tgx_getCameraPropertyWithType(camera, name.property, value, &type, link);
}

std::string ReadFailure(const PropertyName& name) {
    return std::string("Invalid property by type ") + name.constant;
}

std::string Difference(const PropertyName& name) {
    return std::string("Difference between ") + name.constant + " saved and discovered";
}

// Fills `document` with the link groups of the board's connected cameras, in
// list order up to the first camera that isn't connected.
template <class Frame> int32_t CollectLinkGroups(Frame& frame, TgxBoardHandle* board, CxpLinkConfiguration& document) {
    document.SetLinks(CxpLinkConfiguration::kMaxPhysicalLinks);
    const int32_t cameraCount = Tgx_getCameraCount(board);
    document.SetLinkGroups(static_cast<uint32_t>(cameraCount));

    uint32_t saved = 0;
    for (uint32_t i = 0; i < static_cast<uint32_t>(cameraCount); ++i) {
        TgxCameraHandle* camera = nullptr;
        if (const int32_t status = Tgx_getCameraByIndex(board, i, &camera); status != TGX_OK) {
            return frame.Fail("Invalid config camera by index", status);
        }
        uint32_t connected = 0;
        if (const int32_t status = ReadProperty(camera, kConnected, &connected); status != TGX_OK) {
            return frame.Fail(ReadFailure(kConnected), status);
        }
        if (connected == 0) {
            break;
        }
        // The document holds four groups and takes no count above that, so
        // a list of five or more cameras leaves it none: the first connected
        // camera has no place.
        if (i >= document.GetLinkGroups()) {
            return frame.Fail("More cameras than link groups in a board configuration", TGX_ERR_VALUE_OUT_OF_RANGE);
        }
        ++saved;

        // The group's values, in the order they are read.
        const struct {
            const PropertyName& name;
            void (CxpLinkConfiguration::*set)(uint32_t, uint32_t);
        } groupValues[] = {
            {kStreamPacketSize, &CxpLinkConfiguration::SetStreamPacketSize},
            {kLinkSpeed, &CxpLinkConfiguration::SetSpeed},
            {kNrOfLinks, &CxpLinkConfiguration::SetLinkCount},
            {kMasterId, &CxpLinkConfiguration::SetMasterId},
        };
        for (const auto& entry : groupValues) {
            uint32_t value = 0;
            if (const int32_t status = ReadProperty(camera, entry.name, &value); status != TGX_OK) {
                return frame.Fail(ReadFailure(entry.name), status);
            }
            (document.*entry.set)(i, value);
        }

        for (uint32_t k = 0; k < document.GetLinkCount(i); ++k) {
            uint32_t link = k;
            uint32_t fgPort = 0;
            if (const int32_t status = ReadProperty(camera, kFgPort, &fgPort, &link); status != TGX_OK) {
                return frame.Fail(ReadFailure(kFgPort), status);
            }
            document.SetPhyIndex(i, k, static_cast<int32_t>(fgPort));
            uint32_t appletPort = 0;
            if (const int32_t status = ReadProperty(camera, kAppletPort, &appletPort, &link); status != TGX_OK) {
                return frame.Fail(ReadFailure(kAppletPort), status);
            }
            document.SetDlIndex(i, k, static_cast<int32_t>(appletPort));
            uint32_t masterLink = 0;
            if (const int32_t status = ReadProperty(camera, kMasterLink, &masterLink, &link); status != TGX_OK) {
                return frame.Fail(ReadFailure(kMasterLink), status);
            }
            // The group's master is kept as the physical port of its master link.
            if (masterLink != 0) {
                document.SetMasterPhyIndex(i, static_cast<int32_t>(fgPort));
            }
        }
    }
    document.SetLinkGroups(saved);
    return TGX_OK;
}

// Compares the saved link groups with the cameras the last discovery found.
template <class Frame>
int32_t CompareLinkGroups(Frame& frame, TgxBoardHandle* board, const CxpLinkConfiguration& document) {
    for (uint32_t g = 0; g < document.GetLinkGroups(); ++g) {
        TgxCameraHandle* camera = nullptr;
        const auto masterPort = static_cast<uint32_t>(document.GetMasterPhyIndex(g));
        if (const int32_t status = Tgx_getCamera(board, masterPort, &camera); status != TGX_OK) {
            return frame.Fail("Error getting camera by master index", status);
        }
        if (camera == nullptr) {
            return frame.Fail("Invalid boardHandle", TGX_ERR_INVALID_BOARD_HANDLE);
        }

        const struct {
            const PropertyName& name;
            uint32_t saved;
        } groupValues[] = {
            {kNrOfLinks, document.GetLinkCount(g)},
            {kMasterId, document.GetMasterId(g)},
            {kStreamPacketSize, document.GetStreamPacketSize(g)},
            {kLinkSpeed, document.GetSpeed(g)},
        };
        for (const auto& entry : groupValues) {
            uint32_t discovered = 0;
            if (const int32_t status = ReadProperty(camera, entry.name, &discovered); status != TGX_OK) {
                return frame.Fail(ReadFailure(entry.name), status);
            }
            if (discovered != entry.saved) {
                return frame.Fail(Difference(entry.name), TGX_ERR_EXCEPTION);
            }
        }

        for (uint32_t k = 0; k < document.GetLinkCount(g); ++k) {
            const struct {
                const PropertyName& name;
                int32_t saved;
            } linkValues[] = {
                {kFgPort, document.GetPhyIndex(g, k)},
                {kAppletPort, document.GetDlIndex(g, k)},
            };
            for (const auto& entry : linkValues) {
                uint32_t link = k;
                uint32_t discovered = 0;
                if (const int32_t status = ReadProperty(camera, entry.name, &discovered, &link); status != TGX_OK) {
                    return frame.Fail(std::string("Invalid property by ") + entry.name.constant, status);
                }
                if (static_cast<int32_t>(discovered) != entry.saved) {
                    return frame.Fail(Difference(entry.name), TGX_ERR_EXCEPTION);
                }
            }
        }
    }
    return TGX_OK;
}

// The master ports of the document's link groups that have no camera in the
// board's list, as a port mask. Ports past the width of a mask can't be
// scanned for and are left to the comparison.
uint32_t MissingMasterPorts(TgxBoardHandle* board, const CxpLinkConfiguration& document) {
    uint32_t missing = 0;
    for (uint32_t g = 0; g < document.GetLinkGroups(); ++g) {
        const int32_t port = document.GetMasterPhyIndex(g);
        if (port < 0 || port >= kPortMaskBits) {
            continue;
        }
        TgxCameraHandle* camera = nullptr;
        if (Tgx_getCamera(board, static_cast<uint32_t>(port), &camera) == TGX_OK && camera == nullptr) {
            missing |= uint32_t{1} << static_cast<uint32_t>(port);
        }
    }
    return missing;
}

// A discovery ends at the first camera with a link, while the other cameras
// of a document may link a step later: their master ports are scanned again
// until each has a camera, the time is up, or a scan fails. What is still
// missing then is for the comparison to report.
void WaitForDocumentMasters(TgxBoardHandle* board, const CxpLinkConfiguration& document,
                            std::chrono::steady_clock::time_point deadline) {
    for (uint32_t missing = MissingMasterPorts(board, document); missing != 0;
         missing = MissingMasterPorts(board, document)) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return;
        }
        const int32_t scan = Tgx_scanPorts(board, missing, static_cast<uint32_t>(left.count()), kProfileScanSpeed);
        if (scan != TGX_OK && scan != TGX_ERR_LINK_LAYOUT_MISMATCH) {
            return;
        }
    }
}

// The profile record and its arrays, released in one place whatever the
// path that ends a load.
void FreeProfile(TgxConnectionProfile* profile) {
    if (profile == nullptr) {
        return;
    }
    delete[] profile->cameras;
    delete[] profile->cameraInfos;
    delete[] profile->states;
    delete profile;
}

struct ProfileDeleter {
    void operator()(TgxConnectionProfile* profile) const { FreeProfile(profile); }
};
using ProfilePtr = std::unique_ptr<TgxConnectionProfile, ProfileDeleter>;

// Opens and checks the cameras of a new profile; single failures show in
// the states only.
void ConnectProfileCameras(TgxConnectionProfile& profile) {
    const int32_t count = Tgx_getCameraCount(profile.board);
    const auto n = static_cast<std::size_t>(count > 0 ? count : 0);
    profile.cameras = new TgxCameraHandle*[n]();
    profile.cameraInfos = new const TgxCameraInfo*[n]();
    profile.states = new int32_t[n]();
    profile.nrOfCameras = static_cast<int32_t>(n);

    for (std::size_t i = 0; i < n; ++i) {
        profile.cameraInfos[i] = nullptr;
        TgxCameraHandle* camera = nullptr;
        if (Tgx_getCameraByIndex(profile.board, static_cast<uint32_t>(i), &camera) != TGX_OK) {
            profile.cameras[i] = nullptr;
            profile.states[i] = TGX_PROFILE_CAMERA_MISSING;
            continue;
        }
        profile.cameras[i] = camera;
        const int32_t link = Tgx_LinkConnect(profile.board, camera);
        if (link != TGX_OK && link != TGX_ERR_LINK_LAYOUT_MISMATCH) {
            profile.states[i] = TGX_PROFILE_LINK_FAILED;
            continue;
        }
        profile.cameraInfos[i] = Tgx_getCameraInfo(camera);
        profile.states[i] = Tgx_connectCamera(camera) == TGX_OK ? TGX_PROFILE_CONNECTED : TGX_PROFILE_CONNECT_FAILED;
    }
}

} // namespace

extern "C" {

TGX_API int32_t Tgx_SaveBoardConfiguration(TgxBoardHandle* board, const char* fileName) {
    return CallGuarded("Tgx_SaveBoardConfiguration", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME("Tgx_SaveBoardConfiguration", [&] { return HandleText(board); });
        if (board == nullptr) {
            return frame.Fail("Invalid board handle", TGX_ERR_INVALID_BOARD_HANDLE);
        }
        if (Empty(fileName)) {
            return frame.Fail("Invalid config file name", TGX_ERR_INVALID_FILENAME);
        }
        CxpLinkConfiguration document(kDocumentTechnology);
        document.SetFileName(fileName);
        if (const int32_t status = CollectLinkGroups(frame, board, document); status != TGX_OK) {
            return status;
        }
        if (!document.Save()) {
            return frame.Fail("Error saving config file", TGX_ERR_FILE_ACCESS);
        }
        return frame.Return(TGX_OK);
    });
}

TGX_API int32_t Tgx_LoadBoardConfiguration(TgxBoardHandle* board, const char* fileName) {
    return CallGuarded("Tgx_LoadBoardConfiguration", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME("Tgx_LoadBoardConfiguration", [&] { return HandleText(board); });
        if (board == nullptr) {
            return frame.Fail("Invalid board handle", TGX_ERR_INVALID_BOARD_HANDLE);
        }
        if (Empty(fileName)) {
            return frame.Fail("Invalid config file name", TGX_ERR_INVALID_FILENAME);
        }
        if (!std::ifstream(fileName, std::ios::binary)) {
            return frame.Return(TGX_ERR_INVALID_FILENAME);
        }
        // A document that doesn't parse leaves nothing to compare.
        CxpLinkConfiguration document(kDocumentTechnology);
        ReadDocument(document, fileName);
        return frame.Return(CompareLinkGroups(frame, board, document));
    });
}

TGX_API int32_t Tgx_LoadConnectionProfile(struct Gb_Struct_s* grabber, const char* fileName,
                                          TgxConnectionProfile** out) {
    return CallGuarded("Tgx_LoadConnectionProfile", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME("Tgx_LoadConnectionProfile", [&] { return HandleText(grabber); });
        if (grabber == nullptr || Empty(fileName) || out == nullptr) {
            return frame.Fail("Invalid parameter", TGX_ERR_INVALID_ARGUMENT);
        }
        *out = nullptr;
        ProfilePtr profile(new (std::nothrow) TgxConnectionProfile{});
        if (!profile) {
            return frame.Return(TGX_ERR_OUT_OF_MEMORY);
        }
        if (const int32_t status = Tgx_initBoard(grabber, 0, &profile->board); status != TGX_OK) {
            return frame.Return(status);
        }
        // A board that was just opened knows no cameras yet: discover them
        // before the document is compared with what was found.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kProfileScanTimeoutMs);
        const int32_t scan =
            Tgx_scanPorts(profile->board, kProfileScanPortMask, kProfileScanTimeoutMs, kProfileScanSpeed);
        if (scan != TGX_OK && scan != TGX_ERR_LINK_LAYOUT_MISMATCH && scan != TGX_ERR_NO_CAMERA_FOUND) {
            Tgx_freeBoard(profile->board);
            return frame.Return(scan);
        }
        if (scan != TGX_ERR_NO_CAMERA_FOUND) {
            CxpLinkConfiguration document(kDocumentTechnology);
            ReadDocument(document, fileName);
            WaitForDocumentMasters(profile->board, document, deadline);
        }
        if (const int32_t status = Tgx_LoadBoardConfiguration(profile->board, fileName); status != TGX_OK) {
            Tgx_freeBoard(profile->board);
            return frame.Return(status);
        }
        try {
            ConnectProfileCameras(*profile);
        } catch (const std::bad_alloc&) {
            Tgx_freeBoard(profile->board);
            return frame.Return(TGX_ERR_OUT_OF_MEMORY);
        }
        *out = profile.release();
        return frame.Return(TGX_OK);
    });
}

TGX_API int32_t Tgx_UnloadConnectionProfile(TgxConnectionProfile* profile) {
    return CallGuarded("Tgx_UnloadConnectionProfile", TGX_ERR_EXCEPTION, [&] {
        TGX_API_FRAME("Tgx_UnloadConnectionProfile", [&] { return HandleText(profile); });
        if (profile == nullptr) {
            return frame.Fail("Invalid parameter", TGX_ERR_INVALID_ARGUMENT);
        }
        for (int32_t i = 0; i < profile->nrOfCameras; ++i) {
            if (profile->cameras[i] != nullptr) {
                Tgx_disconnectCamera(profile->cameras[i]);
                Tgx_LinkDisconnect(profile->cameras[i]);
            }
        }
        Tgx_freeBoard(profile->board);
        FreeProfile(profile);
        return frame.Return(TGX_OK);
    });
}

} // extern "C"
