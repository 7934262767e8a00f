#include "tools/tgx/BoardSession.h"

#include "tools/tgx/GrabberLibrary.h"

namespace tgx {

BoardSession::BoardSession(uint32_t index, bool openBoard) : index_(index) {
    GenICamInit();
    grabber_ = Gb_InitEx(index, nullptr, 0);
    if (grabber_ == nullptr) {
        error_ = "no board " + std::to_string(index);
        return;
    }
    if (!openBoard) {
        return;
    }
    if (const int32_t status = Tgx_initBoard(grabber_, 0, &board_); status != TGX_OK) {
        board_ = nullptr;
        error_ = "board " + std::to_string(index) + ": " + StatusText(status);
    }
}

BoardSession::~BoardSession() {
    if (board_ != nullptr) {
        Tgx_freeBoard(board_);
    }
    if (grabber_ != nullptr) {
        Gb_FreeGrabber(grabber_);
    }
    GenICamDeinit();
}

uint32_t BoardSession::ports() const {
    uint32_t ports = 0;
    if (board_ != nullptr) {
        Tgx_getBoardPropertyWithType(board_, "NrOfPorts", &ports, TGX_PROPERTY_TYPE_UINT32, nullptr);
    }
    return ports;
}

std::string StatusText(int32_t status) {
    return std::string(Tgx_getErrorDescription(status)) + " (" + std::to_string(status) + ")";
}

} // namespace tgx
