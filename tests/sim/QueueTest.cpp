// Data queues, the camera frame and the echo camera: what the host sends
// down a port reaches the camera on it, the answer comes back up, and power,
// cable and injected faults decide whether it does.

#include "SimTestSupport.h"

#include <array>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace orva::simtest {
namespace {

// Board 0, design "diagnostic": port p has its control queues at 4p (to the
// camera) and 4p + 1 (from the camera).
constexpr const char* kScenario = R"({"boards":[
  {"index":0,"type":"0xA64","serial":1,"design":"diagnostic","ports":4,"cameras":[
    {"model":"echo","ports":[0],"params":{"latencyUs":0}},
    {"model":"echo","ports":[1,2],"params":{"latencyUs":0}}]},
  {"index":1,"type":"0xB61","serial":2,"design":"gige","ports":2,"cameras":[
    {"model":"echo","ports":[0],"params":{"latencyUs":0,"externalPower":true}}]},
  {"index":2,"type":"0xA58","serial":3,"design":"cameralink","ports":2,"cameras":[
    {"model":"echo","ports":[1],"params":{"latencyUs":0,"externalPower":true}}]}]})";

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

    int32_t send(uint32_t port, const std::string& bytes) {
        return hal.OHalDataQueueWriteBufferLong(board, down(port), bytes.data(), static_cast<uint32_t>(bytes.size()),
                                                100);
    }
    // What came back on a port's upstream queue, waiting at most `timeoutMs`.
    std::string receive(uint32_t port, uint32_t timeoutMs = 0, uint32_t capacity = 256) {
        std::string buffer(capacity, '\0');
        const int32_t n = hal.OHalDataQueueReadBufferLong(board, up(port), buffer.data(), capacity, timeoutMs);
        EXPECT_GE(n, 0) << orva_sim_last_error();
        buffer.resize(n > 0 ? static_cast<size_t>(n) : 0);
        return buffer;
    }
    void power(uint32_t port, bool on) {
        ASSERT_EQ(hal.OHalCameraCtrlSetPortPowerState(board, port, on ? 2 : 1), ORVA_SIM_OK) << orva_sim_last_error();
    }
    // The echo camera's counters in its persistent memory: answered, dropped.
    std::array<uint32_t, 2> echoCounters(uint32_t boardIndex, uint32_t port) {
        std::array<uint32_t, 2> counters{};
        EXPECT_EQ(orva_sim_read_camera_memory(boardIndex, port, 0, counters.data(), sizeof(counters)),
                  static_cast<int32_t>(sizeof(counters)))
            << orva_sim_last_error();
        return counters;
    }

    OHalDevice* board = nullptr;
};

TEST_F(Queues, StreamQueueCountsWordsAndKeepsWhatAReadDoesNotTake) {
    char buffer[16];
    EXPECT_EQ(hal.OHalDataQueueReadBufferLong(board, up(0), buffer, sizeof(buffer), 0), 0);
    EXPECT_EQ(hal.OHalDataQueueReadBufferLong(board, up(0), buffer, sizeof(buffer), 30), 0) << "empty after the wait";
    EXPECT_EQ(hal.OHalDataQueueReadBuffer(board, up(0), buffer, sizeof(buffer), 30), 0);

    power(0, true);
    ASSERT_EQ(send(0, "hello camera"), 12);
    EXPECT_EQ(hal.OHalDataQueueGetNrOfWords(board, up(0)), 3);
    EXPECT_EQ(receive(0), "hello camera");
    EXPECT_EQ(hal.OHalDataQueueGetNrOfWords(board, up(0)), 0);
    EXPECT_EQ(echoCounters(0, 0)[0], 1u);

    // A partial word counts; a clear drops what arrived.
    ASSERT_EQ(send(0, "12345"), 5);
    EXPECT_EQ(hal.OHalDataQueueGetNrOfWords(board, up(0)), 2);
    EXPECT_EQ(hal.OHalDataQueueClear(board, up(0)), ORVA_SIM_OK);
    EXPECT_EQ(hal.OHalDataQueueGetNrOfWords(board, up(0)), 0);
    EXPECT_EQ(receive(0), "");

    // A read takes what fits and leaves the rest.
    ASSERT_EQ(send(0, "abc"), 3);
    ASSERT_EQ(send(0, "defgh"), 5);
    EXPECT_EQ(receive(0, 0, 4), "abcd");
    EXPECT_EQ(receive(0), "efgh");
}

TEST_F(Queues, CameraAnswersAndShowsOnlyWhilePoweredAndPlugged) {
    // The answer to a message, and whether the status shows the camera.
    const auto exchange = [&](const std::string& message) {
        EXPECT_EQ(send(0, message), static_cast<int32_t>(message.size())) << "the board sends anyway";
        return std::make_pair(receive(0), (hal.OHalGetCameraStatusExtended(board, 0) & 1u) != 0);
    };
    const auto silent = std::make_pair(std::string(), false);
    EXPECT_EQ(exchange("unpowered"), silent);
    power(0, true);
    EXPECT_EQ(exchange("powered"), std::make_pair(std::string("powered"), true));
    ASSERT_EQ(orva_sim_plug(0, 0, 0), ORVA_SIM_OK);
    EXPECT_EQ(exchange("unplugged"), silent);
    ASSERT_EQ(orva_sim_plug(0, 0, 1), ORVA_SIM_OK);
    EXPECT_EQ(exchange("back"), std::make_pair(std::string("back"), true));
    ASSERT_EQ(orva_sim_set_power(0, 0, ORVA_SIM_POWER_TRIPPED), ORVA_SIM_OK);
    EXPECT_EQ(exchange("tripped"), silent);
    EXPECT_EQ(echoCounters(0, 0)[0], 2u);
}

TEST_F(Queues, CameraWithTwoLinksAnswersOnThePortItWasAddressedOn) {
    orva_sim_port_info first{};
    orva_sim_port_info second{};
    ASSERT_EQ(orva_sim_get_port_info(0, 1, &first), ORVA_SIM_OK);
    ASSERT_EQ(orva_sim_get_port_info(0, 2, &second), ORVA_SIM_OK);
    EXPECT_EQ(first.camera, second.camera);
    EXPECT_EQ(first.link, 0u);
    EXPECT_EQ(second.link, 1u);
    EXPECT_STREQ(second.model, "echo");

    power(2, true);
    ASSERT_EQ(send(2, "via link 1"), 10);
    EXPECT_EQ(receive(2), "via link 1");
    EXPECT_EQ(receive(1), "");
}

TEST_F(Queues, FaultsSpoilExactlyTheArmedAnswersOfTheirPort) {
    power(0, true);
    power(1, true);
    ASSERT_EQ(orva_sim_inject_fault(0, 1, "drop-next-answer", 1), ORVA_SIM_OK);
    ASSERT_EQ(send(0, "unaffected"), 10);
    EXPECT_EQ(receive(0), "unaffected");
    EXPECT_EQ(orva_sim_pending_fault(0, 1, "drop-next-answer"), 1);

    ASSERT_EQ(orva_sim_inject_fault(0, 0, "drop-next-answer", 2), ORVA_SIM_OK) << orva_sim_last_error();
    EXPECT_EQ(orva_sim_pending_fault(0, 0, "drop-next-answer"), 2);
    ASSERT_EQ(send(0, "one"), 3);
    ASSERT_EQ(send(0, "two"), 3);
    ASSERT_EQ(send(0, "three"), 5);
    EXPECT_EQ(receive(0), "three");
    EXPECT_EQ(orva_sim_pending_fault(0, 0, "drop-next-answer"), 0);
    EXPECT_EQ(echoCounters(0, 0), (std::array<uint32_t, 2>{2, 2})) << "answered, dropped";

    ASSERT_EQ(orva_sim_inject_fault(0, 0, "corrupt-next-answer", 1), ORVA_SIM_OK);
    ASSERT_EQ(send(0, "A"), 1);
    EXPECT_EQ(receive(0), std::string(1, static_cast<char>(~'A')));
    ASSERT_EQ(send(0, "A"), 1);
    EXPECT_EQ(receive(0), "A");
}

TEST_F(Queues, FaultsAreCheckedAgainstTheCameraModel) {
    EXPECT_EQ(orva_sim_inject_fault(0, 0, "melt-down", 1), ORVA_SIM_ERR_UNKNOWN_FAULT);
    EXPECT_NE(std::string(orva_sim_last_error()).find("drop-next-answer"), std::string::npos)
        << "the error lists the faults the model knows";
    EXPECT_EQ(orva_sim_inject_fault(0, 3, "drop-next-answer", 1), ORVA_SIM_ERR_NO_CAMERA);
    EXPECT_EQ(orva_sim_inject_fault(0, 9, "drop-next-answer", 1), ORVA_SIM_ERR_NO_SUCH_PORT);

    ASSERT_EQ(orva_sim_inject_fault(0, 0, "drop-next-answer", 5), ORVA_SIM_OK);
    ASSERT_EQ(orva_sim_inject_fault(0, 0, "drop-next-answer", 0), ORVA_SIM_OK);
    EXPECT_EQ(orva_sim_pending_fault(0, 0, "drop-next-answer"), 0);
    power(0, true);
    ASSERT_EQ(send(0, "ok"), 2);
    EXPECT_EQ(receive(0), "ok");
}

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

TEST_F(Queues, NetworkQueueDeliversOneFrameAtATime) {
    OHalDevice* gige = open(1);
    // gige design: port 0 sends on queue 0 and receives on queue 1.
    const std::string small(10, 's');
    const std::string large(20, 'L');
    ASSERT_EQ(hal.OHalDataQueueWriteBufferLong(gige, 0, small.data(), 10, 0), 10);
    ASSERT_EQ(hal.OHalDataQueueWriteBufferLong(gige, 0, large.data(), 20, 0), 20);
    ASSERT_EQ(hal.OHalDataQueueWriteBufferLong(gige, 0, large.data(), 20, 0), 20);
    std::string buffer(100, '\0');
    ASSERT_EQ(hal.OHalDataQueueReadBufferLong(gige, 1, buffer.data(), 100, 0), 10);
    EXPECT_EQ(buffer.substr(0, 10), small);
    ASSERT_EQ(hal.OHalDataQueueReadBufferLong(gige, 1, buffer.data(), 100, 0), 20);
    EXPECT_EQ(buffer.substr(0, 20), large);
    // A frame larger than the buffer is cut, and its rest is gone.
    ASSERT_EQ(hal.OHalDataQueueReadBufferLong(gige, 1, buffer.data(), 4, 0), 4);
    EXPECT_EQ(hal.OHalDataQueueReadBufferLong(gige, 1, buffer.data(), 100, 0), 0);
}

TEST_F(Queues, SerialPortGivesItsQueuesAndKeepsTheBaudRate) {
    OHalDevice* cl = open(2);
    int32_t rx = -1;
    int32_t tx = -1;
    ASSERT_EQ(hal.OHalClSerInit(cl, 1, 9600, &rx, &tx), ORVA_SIM_OK) << orva_sim_last_error();
    ASSERT_GE(rx, 0);
    ASSERT_GE(tx, 0);
    EXPECT_NE(rx, tx);
    orva_sim_port_info info{};
    ASSERT_EQ(orva_sim_get_port_info(2, 1, &info), ORVA_SIM_OK);
    EXPECT_EQ(info.serialBaud, 9600u);
    ASSERT_EQ(hal.OHalClSerSetBaudrate(cl, 1, 115200), ORVA_SIM_OK);
    ASSERT_EQ(orva_sim_get_port_info(2, 1, &info), ORVA_SIM_OK);
    EXPECT_EQ(info.serialBaud, 115200u);

    EXPECT_EQ(hal.OHalGetCameraStatusExtended(cl, 1) & 1u, 1u) << "a Camera Link camera has power of its own";
    EXPECT_EQ(hal.OHalGetCameraStatusExtended(cl, 0) & 1u, 0u);
    const std::string command = "\x02get";
    ASSERT_EQ(hal.OHalDataQueueWriteBuffer(cl, static_cast<uint32_t>(tx), command.data(), 4, 100), 4);
    EXPECT_EQ(hal.OHalDataQueueFlush(cl, static_cast<uint32_t>(tx)), ORVA_SIM_OK);
    std::string answer(16, '\0');
    ASSERT_EQ(hal.OHalDataQueueReadBuffer(cl, static_cast<uint32_t>(rx), answer.data(), 16, 100), 4);
    EXPECT_EQ(answer.substr(0, 4), command);

    EXPECT_EQ(hal.OHalClSerSetBaudrate(cl, 1, 12345), ORVA_SIM_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(hal.OHalClSerInit(cl, 2, 9600, &rx, &tx), ORVA_SIM_ERR_NO_SUCH_PORT);
    EXPECT_EQ(hal.OHalClSerInit(open(1), 0, 9600, &rx, &tx), ORVA_SIM_ERR_NOT_SUPPORTED);
}

TEST_F(Queues, ReadWaitsForAnAnswerStillOnItsWay) {
    load(R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":"diagnostic","ports":1,"portPower":"on",
             "cameras":[{"model":"echo","ports":[0],"params":{"latencyUs":100000}}]}]})");
    ASSERT_EQ(send(0, "later"), 5);
    EXPECT_EQ(receive(0, 10000), "later");
}

TEST_F(Queues, ReadIsWokenByAnAnswerCausedInAnotherProcess) {
    power(0, true);
    Signal go;
    const pid_t child = startChild([&] {
        if (!go.wait()) {
            return 1;
        }
        return withOwnHandle(0, [&](OHalDevice* own) {
            return hal.OHalDataQueueWriteBufferLong(own, down(0), "from child", 10, 0) == 10 ? 0 : 3;
        });
    });
    go.send();
    EXPECT_EQ(receive(0, 10000), "from child");
    EXPECT_EQ(waitChild(child), 0);
    EXPECT_EQ(echoCounters(0, 0)[0], 1u) << "the camera's memory is the same in every process";
}

TEST_F(Queues, ThreadsSharingOneHandleKeepEveryMessageWhole) {
    power(0, true);
    constexpr int kThreads = 4;
    constexpr int kMessages = 100;
    std::vector<std::thread> senders;
    senders.reserve(kThreads);
    for (int t = 0; t < kThreads; ++t) {
        senders.emplace_back([this, t] {
            const std::string message(8, static_cast<char>('a' + t));
            for (int i = 0; i < kMessages; ++i) {
                EXPECT_EQ(send(0, message), 8);
            }
        });
    }
    std::string received;
    while (received.size() < size_t{kThreads} * kMessages * 8) {
        const std::string chunk = receive(0, 10000, 1000);
        if (chunk.empty()) {
            break;
        }
        received += chunk;
    }
    for (auto& sender : senders) {
        sender.join();
    }
    ASSERT_EQ(received.size(), size_t{kThreads} * kMessages * 8);
    std::array<int, kThreads> counts{};
    for (size_t at = 0; at < received.size(); at += 8) {
        const std::string message = received.substr(at, 8);
        ASSERT_EQ(message, std::string(8, message[0])) << "message at " << at << " is interleaved";
        ++counts[static_cast<size_t>(message[0] - 'a')];
    }
    for (int count : counts) {
        EXPECT_EQ(count, kMessages);
    }
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

TEST_F(Queues, QueueLockOfAProcessThatDiedIsFree) {
    Signal acquired;
    Signal finish;
    const pid_t child = startChild([&] {
        OHalDevice* own = nullptr;
        if (hal.OHalInitDevice(0, &own) != ORVA_SIM_OK || hal.OHalDataQueueAcquireLock(own, up(0)) != ORVA_SIM_OK) {
            return 1;
        }
        acquired.send();
        finish.wait();
        return 0; // ends without giving the queue back
    });
    ASSERT_TRUE(acquired.wait());
    EXPECT_EQ(hal.OHalDataQueueAcquireLock(board, up(0)), ORVA_SIM_ERR_BUSY);
    finish.send();
    ASSERT_EQ(waitChild(child), 0);
    EXPECT_EQ(hal.OHalDataQueueAcquireLock(board, up(0)), ORVA_SIM_OK);
}

} // namespace
} // namespace orva::simtest
