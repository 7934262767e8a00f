// Data queues of the simulated board as the host must use them: each carries
// one direction only, and its lock belongs to one process at a time.

#include "support/SimTestSupport.h"

namespace orva::simtest {
namespace {

// Board 0, design "diagnostic": port p has its control queues at 4p (to the
// camera) and 4p + 1 (from the camera).
constexpr const char* kScenario = R"({"boards":[
  {"index":0,"type":"0xA64","serial":1,"design":"diagnostic","ports":4,"cameras":[
    {"model":"echo","ports":[0],"params":{"latencyUs":0}}]}]})";

uint32_t down(uint32_t port) {
    return 4 * port;
}
uint32_t up(uint32_t port) {
    return 4 * port + 1;
}

class Queues : public SimTest {
protected:
    void SetUp() override {
        SimTest::SetUp();
        load(kScenario);
        board = open(0);
    }

    OHalDevice* board = nullptr;
};

TEST_F(Queues, QueuesCarryOneDirectionOnly) {
    char buffer[8] = {};
    EXPECT_EQ(hal.OHalDataQueueReadBufferLong(board, down(0), buffer, sizeof(buffer), 0), ORVA_SIM_ERR_WRONG_DIRECTION);
    EXPECT_EQ(hal.OHalDataQueueWriteBufferLong(board, up(0), buffer, sizeof(buffer), 0), ORVA_SIM_ERR_WRONG_DIRECTION);
    EXPECT_EQ(hal.OHalDataQueueReadBufferLong(board, 999, buffer, sizeof(buffer), 0), ORVA_SIM_ERR_NO_SUCH_QUEUE);
    EXPECT_EQ(hal.OHalDataQueueGetNrOfWords(board, 999), ORVA_SIM_ERR_NO_SUCH_QUEUE);
    EXPECT_EQ(hal.OHalDataQueueClear(board, 999), ORVA_SIM_ERR_NO_SUCH_QUEUE);
    EXPECT_EQ(hal.OHalDataQueueFlush(board, 999), ORVA_SIM_ERR_NO_SUCH_QUEUE);
    EXPECT_EQ(hal.OHalDataQueueReadBufferLong(board, up(0), nullptr, 8, 0), ORVA_SIM_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(hal.OHalDataQueueWriteBufferLong(board, down(0), nullptr, 8, 0), ORVA_SIM_ERR_INVALID_ARGUMENT);
    // Queues of ports beyond the board's four don't exist.
    EXPECT_EQ(hal.OHalDataQueueGetNrOfWords(board, up(4)), ORVA_SIM_ERR_NO_SUCH_QUEUE);
}

TEST_F(Queues, QueueLockBelongsToOneProcessAtATime) {
    ASSERT_EQ(hal.OHalDataQueueAcquireLock(board, down(0)), ORVA_SIM_OK);
    EXPECT_EQ(hal.OHalDataQueueAcquireLock(board, down(0)), ORVA_SIM_OK) << "the owner may acquire again";

    const auto childAcquires = [&] {
        return runInChild([&] {
            return withOwnHandle(0, [&](OHalDevice* own) {
                const int32_t status = hal.OHalDataQueueAcquireLock(own, down(0));
                if (status == ORVA_SIM_OK) {
                    hal.OHalDataQueueReleaseLock(own, down(0));
                }
                return status == ORVA_SIM_OK ? 0 : status == ORVA_SIM_ERR_BUSY ? 1 : 2;
            });
        });
    };
    EXPECT_EQ(childAcquires(), 1) << "busy while the parent owns the queue";
    EXPECT_EQ(hal.OHalDataQueueAcquireLock(board, down(1)), ORVA_SIM_OK) << "each queue has its own owner";
    ASSERT_EQ(hal.OHalDataQueueReleaseLock(board, down(0)), ORVA_SIM_OK);
    EXPECT_EQ(childAcquires(), 0);
    EXPECT_EQ(hal.OHalDataQueueReleaseLock(board, down(0)), ORVA_SIM_ERR_NOT_OWNER);
}

} // namespace
} // namespace orva::simtest
