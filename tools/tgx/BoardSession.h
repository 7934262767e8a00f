// An open board for one command: the grabber handle from the board runtime
// and the library's board handle on it, released in reverse order.
#pragma once

#include <cstdint>
#include <string>

#include "include/tgx_genicam.h"

namespace tgx {

class BoardSession {
public:
    // Opens the grabber of board `index` and, with `openBoard`, the
    // library's board handle on it; check ok() and error() afterwards.
    explicit BoardSession(uint32_t index, bool openBoard = true);
    ~BoardSession();
    BoardSession(const BoardSession&) = delete;
    BoardSession& operator=(const BoardSession&) = delete;

    bool ok() const { return error_.empty(); }
    const std::string& error() const { return error_; }
    TgxBoardHandle* board() const { return board_; }
    struct Gb_Struct_s* grabber() const {
        return grabber_;
    }
    uint32_t index() const { return index_; }
    uint32_t ports() const;

private:
    uint32_t index_;
    struct Gb_Struct_s* grabber_ = nullptr;
    TgxBoardHandle* board_ = nullptr;
    std::string error_;
};

// "text (status)" of a status.
std::string StatusText(int32_t status);

} // namespace tgx
