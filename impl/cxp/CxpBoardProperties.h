// The board properties of a CoaXPress board, one row each: power readings
// and transceiver counters from the design's per-port registers, records of
// the port, and the camera's link configuration.
//
// Get and Set take controllerMutex over the argument checks and the reads;
// Set takes scanMutex before it, as a new link configuration locks the
// camera's links again and the link watch must not take that for a loss.
// A failed get leaves the value as it was.
#pragma once

#include <cstdint>

#include "impl/cxp/CxpBoard.h"
#include "impl/cxp/CxpTopology.h"

namespace orva::cxp {

class CxpBoardProperties {
public:
    // Longest text "XmlFile" copies: two 8-digit versions, two separators
    // and a URL of at most 255 characters fit.
    static constexpr uint32_t kXmlFileMaxBytes = 512;

    CxpBoardProperties(CxpBoard& board, CxpTopology& topology);

    // `extra` points to the port number. TGX_ERR_NOT_IMPLEMENTED for a name
    // in no row; then, in this order, TGX_ERR_INVALID_POINTER,
    // TGX_ERR_INVALID_DATA_TYPE, TGX_ERR_INVALID_ARGUMENT (no port),
    // TGX_ERR_VALUE_OUT_OF_RANGE (port); TGX_ERR_INVALID_COMMAND on a board
    // or design without the row's source, or the board's status of the read.
    int32_t Get(const char* name, void* value, uint32_t type, uint32_t* extra);
    int32_t Set(const char* name, void* value, uint32_t type, uint32_t* extra);

    struct GetRow;
    struct SetRow;

private:
    int32_t Read(const GetRow& row, uint32_t port, void* value) REQUIRES(board_.controllerMutex);

    CxpBoard& board_;
    CxpTopology& topology_;
};

} // namespace orva::cxp
