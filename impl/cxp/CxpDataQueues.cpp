#include "impl/cxp/CxpDataQueues.h"

#include "impl/core/LazyLogger.h"
#include "runtime/board/BoardForwarders.h"
#include "runtime/logging/LogMessage.h"
#include "runtime/logging/Logger.h"

namespace orva::cxp {

CxpDataQueues::CxpDataQueues(OHalDevice* device, uint32_t portNumber, bool usesQueues, core::LazyLogger& logger)
    : device_(device) {
    if (!usesQueues) {
        return;
    }
    for (uint32_t i = 0; i < queues_.size(); ++i) {
        queues_[i] = 4 * portNumber + i;
    }
    // The sending queue is ours only if the receiving one is: it is tried
    // only then.
    receivingLocked_ = orva::board::OHalDataQueueAcquireLock(device_, Receiving()) == 0;
    if (receivingLocked_) {
        sendingLocked_ = orva::board::OHalDataQueueAcquireLock(device_, Sending()) == 0;
    }
    if (!receivingLocked_ || !sendingLocked_) {
        ORVA_LOG(logger.Get(), tools::logging::LevelError,
                 "Failed to get data queue lock for port " << portNumber << "; port is already in use!");
    }
}

CxpDataQueues::~CxpDataQueues() {
    Release();
}

void CxpDataQueues::Release() {
    if (sendingLocked_) {
        orva::board::OHalDataQueueReleaseLock(device_, Sending());
        sendingLocked_ = false;
    }
    if (receivingLocked_) {
        orva::board::OHalDataQueueReleaseLock(device_, Receiving());
        receivingLocked_ = false;
    }
}

} // namespace orva::cxp
