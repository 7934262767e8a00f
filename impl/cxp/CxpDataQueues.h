// The board data queues of one port on the queue path: queue numbers 4n to
// 4n + 3 of port n, of which the first receives acknowledges and the last
// sends commands. The port holds the locks of these two for its lifetime,
// so that no other process talks on them; a queue that is taken is logged,
// and the port goes on without it. On the register path there are no queues.
//
// Not synchronised: constructed and released by the port's constructor and
// destructor only; the queue numbers never change in between.
#pragma once

#include <array>
#include <cstdint>

#include "runtime/board/OrvaBoardApi.h"

namespace orva::core {
class LazyLogger;
}

namespace orva::cxp {

class CxpDataQueues {
public:
    static constexpr uint32_t kNone = 0xFFFFFFFF;

    // With `usesQueues`, takes the lock of the receiving queue and, if that
    // worked, of the sending one; "Failed to get data queue lock for port
    // <n>; port is already in use!" at level 5 if either fails.
    CxpDataQueues(OHalDevice* device, uint32_t portNumber, bool usesQueues, core::LazyLogger& logger);
    // Release().
    ~CxpDataQueues();

    CxpDataQueues(const CxpDataQueues&) = delete;
    CxpDataQueues& operator=(const CxpDataQueues&) = delete;
    CxpDataQueues(CxpDataQueues&&) = delete;
    CxpDataQueues& operator=(CxpDataQueues&&) = delete;

    // Gives back the locks held, the sending queue's first; once.
    void Release();

    uint32_t Receiving() const { return queues_[0]; } // kNone on the register path
    uint32_t Sending() const { return queues_[3]; }   // kNone on the register path

private:
    OHalDevice* const device_;
    std::array<uint32_t, 4> queues_{kNone, kNone, kNone, kNone};
    bool receivingLocked_ = false;
    bool sendingLocked_ = false;
};

} // namespace orva::cxp
