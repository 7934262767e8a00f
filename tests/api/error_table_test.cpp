#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <limits>
#include <map>
#include <set>
#include <string>

#include "impl/genicam/ErrorTable.h"
#include "tgx_genicam.h"

namespace {

constexpr const char* kUnknown = "Unknown Error.";

struct ExpectedRecord {
    int32_t code;     // the published number
    int32_t constant; // the header's constant for it
    const char* text;
};

// The published table, typed out on its own so that a changed text or code in
// the library shows here.
constexpr ExpectedRecord kExpected[] = {
    {0, TGX_OK, "No error"},
    {-1000, TGX_ERR_INVALID_CAMERA_HANDLE, "Invalid camera handle"},
    {-1001, TGX_ERR_INVALID_BOARD_HANDLE, "Invalid board handle"},
    {-1002, TGX_ERR_FILE_NOT_FOUND, "File not found"},
    {-1003, TGX_ERR_INVALID_FILENAME, "Invalid filename"},
    {-1006, TGX_ERR_FILE_ACCESS, "Error when accessing the file"},
    {-1008, TGX_ERR_NO_DATA, "No data at function argument given"},
    {-1009, TGX_ERR_VALUE_OUT_OF_RANGE, "Value out of range"},
    {-1010, TGX_ERR_NO_INTERFACE, "No Interface"},
    {-1011, TGX_ERR_BOARD_NOT_SUPPORTED, "Board type does not support GenICam interface"},
    {-1012, TGX_ERR_BUFFER_TOO_SMALL, "Buffer to small to store all received data"},
    {-1013, TGX_ERR_ACCESS_DENIED, "Access denied"},
    {-1015, TGX_ERR_BLOCKED, "Operation is blocked by another process / thread"},
    {-1016, TGX_ERR_NO_EVENT_HANDLER, "No event handler registered"},
    {-1017, TGX_ERR_INVALID_POINTER, "Invalid pointer"},
    {-1018, TGX_ERR_OUT_OF_MEMORY, "Not enough memory"},
    {-1100, TGX_ERR_NO_GENICAM_CONNECTION, "No GenICam connection"},
    {-1101, TGX_ERR_UNKNOWN_PROPERTY, "Tried to access an unknown property"},
    {-1102, TGX_ERR_INVALID_FEATURE, "Invalid GenICam feature requested"},
    {-1103, TGX_ERR_INVALID_COMMAND, "Invalid GenICam command requested"},
    {-1104, TGX_ERR_FEATURE_WRITE_ONLY, "a TGX_GetValue function tried to read a write only register"},
    {-1105, TGX_ERR_FEATURE_READ_ONLY, "a TGX_GetValue function tried to write a read only register"},
    {-1198, TGX_ERR_GENICAM_EXCEPTION, "GenICam layer threw an exception, which was caught"},
    {-1200, TGX_ERR_INVALID_LINK_SPEED, "Tried to set an invalid link speed"},
    {-1201, TGX_ERR_INVALID_LINK_INDEX, "Invalid link index"},
    {-1202, TGX_ERR_STREAM_PACKET_SIZE_REJECTED, "Camera doesn't accept the given stream packet size"},
    {-1203, TGX_ERR_LINK_COMBINATION_REJECTED, "Combination of bit rate and no. of links not accepted"},
    {-1204, TGX_ERR_EXTENSION_LINK_MISMATCH, "Extension link does not match to master"},
    {-1205, TGX_ERR_STREAM_PACKET_SIZE_NOT_ACCEPTED, "Stream packet size is not accepted by camera"},
    {-1206, TGX_ERR_LINK_LAYOUT_MISMATCH, "Desired link layout does not match"},
    {-1207, TGX_ERR_LINK_TIMEOUT, "Timeout when establishing link"},
    {-1208, TGX_ERR_INVALID_PORT, "Function was called by using an invalid port mask or port index"},
    {-1209, TGX_ERR_NO_MASTER_CONNECT, "A Master connect didn't take place at a second frame grabber"},
    {-1210, TGX_ERR_NO_CAMERA_FOUND, "Automatic discovery didn't find any camera"},
    {-1211, TGX_ERR_NO_PHYSICAL_CONNECTION, "No physical layer connection"},
    {-1212, TGX_ERR_NO_MASTER, "No master was detected or set for the camera"},
    {-1213, TGX_ERR_DISCOVERY_INFO_INCOMPLETE, "The camera discovery info is incomplete"},
    {-1501, TGX_ERR_CLHS_NO_COMMAND_WORD, "No command word available in the X-Core (CLHS)"},
    {-1502, TGX_ERR_CLHS_TX_BUFFER_FULL, "An transmission buffer was full, when trying to send data (CLHS)"},
    {-1503, TGX_ERR_CLHS_RECEIVE_FAILED, "XCore failed receiving a message 10 times (CLHS)"},
    {-1504, TGX_ERR_CLHS_TX_BUSY_TIMEOUT, "XCore TX Busy time out (CLHS)"},
    {-1505, TGX_ERR_CLHS_SEND_FAILED,
     "XCore failed Sending a message 10 times (CLHS) (no Acknowledge received 10 times)"},
    {-1506, TGX_ERR_CLHS_LLDEVICEID_REJECTED, "LLDeviceID Rejected by camera (CLHS)"},
    {-1507, TGX_ERR_CLHS_LLDEVICEID_READBACK, "LLDeviceID read back from camera failed (CLHS)"},
    {-1601, TGX_ERR_GENCP_CRC, "Corrupt CRC at command or acknowledge packet"},
    {-1602, TGX_ERR_GENCP_RETRIES_EXHAUSTED, "Timeout occurred after 3 retrials"},
    {-1603, TGX_ERR_GENCP_INVALID_PACKET, "Invalid GenCP packet received"},
    {-1604, TGX_ERR_GENCP_NO_ACK, "No acknowledge according to GenCP protocol received"},
    {-1605, TGX_ERR_GENCP_UNKNOWN_DEVICE_ERROR, "Unknown error code received from device / camera"},
    {-1606, TGX_ERR_GENCP_SHORT_READ, "Too few data received at a read command"},
    {-1607, TGX_ERR_GENCP_NO_READ_DATA, "No data received at a read command"},
    {-1608, TGX_ERR_GENCP_PENDING_ACK, "Pending Acknowledge received"},
    {-1609, TGX_ERR_GENCP_PENDING_OTHER_REQID,
     "Acknowledge of another ReqId received, while waiting on finalizing pending Ack."},
    {-1610, TGX_ERR_GENCP_PENDING_UNKNOWN_ERROR, "An unknown GenCP error code was detected on finalizing pending Ack."},
    {-1611, TGX_ERR_GENCP_UNEXPECTED_ACK, "An unexpected type of acknowledge was received"},
    {-1990, TGX_ERR_INVALID_DATA_TYPE, "Invalid data type for void pointer"},
    {-1991, TGX_ERR_INVALID_ARGUMENT, "Invalid function argument"},
    {-1998, TGX_ERR_INTERNAL, "An internal error occurred"},
    {-1999, TGX_ERR_EXCEPTION, "Exception occurred when calling function"},
    {-2000, TGX_ERR_NOT_IMPLEMENTED, "Not implemented"},
    {-32769, TGX_ERR_GENCP_NOT_IMPLEMENTED, "GenCP: Command not implemented in the device"},
    {-32770, TGX_ERR_GENCP_INVALID_PARAMETER,
     "GenCP: least one of the command parameter of CD or SCD is invalid or out of range"},
    {-32771, TGX_ERR_GENCP_INVALID_ADDRESS, "GenCP: Attempt to access a not existing register address"},
    {-32772, TGX_ERR_GENCP_WRITE_PROTECT, "GenCP: Attempt to write to a read only register"},
    {-32773, TGX_ERR_GENCP_BAD_ALIGNMENT,
     "GenCP: Attempt to access register with an address which is not aligned according to the underlying technology"},
    {-32774, TGX_ERR_GENCP_ACCESS_DENIED,
     "GenCP: Attempt to read a non readable or write a non writable register address"},
    {-32775, TGX_ERR_GENCP_BUSY, "GenCP: The command receiver is currently busy"},
    {-32779, TGX_ERR_GENCP_MSG_TIMEOUT, "GenCP: Timeout waiting for an acknowledge"},
    {-32782, TGX_ERR_GENCP_INVALID_HEADER,
     "GenCP: The header of the received command is invalid. This includes CCD and SCD fields but not the command "
     "payload"},
    {-32783, TGX_ERR_GENCP_WRONG_CONFIG,
     "GenCP: The current receiver configuration does not allow the execution of the sent command"},
    {-36863, TGX_ERR_GENCP_GENERIC, "GenCP: Generic error"},
    {-40018, TGX_ERR_BOARD_INIT, "Board initialization error"},
    {-40019, TGX_ERR_INCOMPATIBLE_LIBRARY, "Incompatible underlying library"},
    {-40020, TGX_ERR_LIBRARY_NOT_LOADED, "Underlaying library not loaded"},
    {-64, TGX_ERR_CXP_INVALID_ADDRESS, "CXP: Invalid address"},
    {-65, TGX_ERR_CXP_INVALID_DATA, "CXP: Invalid data for the address"},
    {-66, TGX_ERR_CXP_INVALID_OPCODE, "CXP: Invalid control operation code"},
    {-67, TGX_ERR_CXP_WRITE_READ_ONLY, "CXP: Write attempted to a read-only address"},
    {-68, TGX_ERR_CXP_READ_WRITE_ONLY, "CXP: Read attempted from a write-only address"},
    {-69, TGX_ERR_CXP_SIZE_TOO_LARGE,
     "CXP: Size field too large for command message (write) or acknowledgment message (read) would exceed packet size "
     "limit"},
    {-70, TGX_ERR_CXP_SIZE_INCONSISTENT,
     "CXP: Incorrect size received, Message size is inconsistent with message size indication"},
    {-71, TGX_ERR_CXP_MALFORMED_PACKET, "CXP: Malformed packet"},
    {-128, TGX_ERR_CXP_CRC, "CXP: Failed CRC test in last received command"},
    {-256, TGX_ERR_CXP_ACK_TIMEOUT, "CXP: Acknowledgment timeout"},
};

std::map<int32_t, std::string> ExpectedByCode() {
    std::map<int32_t, std::string> byCode;
    for (const ExpectedRecord& record : kExpected) {
        byCode.emplace(record.code, record.text);
    }
    return byCode;
}

TEST(ErrorTable, EveryPublishedCodeGivesItsTextByteForByte) {
    for (const ExpectedRecord& expected : kExpected) {
        SCOPED_TRACE(::testing::Message() << "code " << expected.code);
        EXPECT_EQ(expected.constant, expected.code);
        const char* text = Tgx_getErrorDescription(expected.code);
        ASSERT_NE(text, nullptr);
        EXPECT_EQ(std::string(text), std::string(expected.text));
    }
}

TEST(ErrorTable, HoldsExactlyThePublishedRecordsOnce) {
    const orva::genicam::ErrorRecord* begin = orva::genicam::ErrorTableBegin();
    const orva::genicam::ErrorRecord* end = orva::genicam::ErrorTableEnd();
    ASSERT_NE(begin, nullptr);
    ASSERT_EQ(end - begin, 84);
    ASSERT_EQ(std::size(kExpected), 84u);

    const std::map<int32_t, std::string> expected = ExpectedByCode();
    ASSERT_EQ(expected.size(), 84u) << "the expected table itself repeats a code";

    std::set<int32_t> seen;
    for (const orva::genicam::ErrorRecord* record = begin; record != end; ++record) {
        SCOPED_TRACE(::testing::Message() << "code " << record->code);
        EXPECT_TRUE(seen.insert(record->code).second) << "duplicate code";
        ASSERT_NE(record->text, nullptr);
        const auto it = expected.find(record->code);
        ASSERT_NE(it, expected.end()) << "code not in the published table";
        EXPECT_EQ(std::string(record->text), it->second);
    }
}

TEST(ErrorDescription, ZeroIsNoError) {
    EXPECT_STREQ(Tgx_getErrorDescription(0), "No error");
    EXPECT_STREQ(Tgx_getErrorDescription(TGX_OK), "No error");
}

TEST(ErrorDescription, CodesWithoutRecordReadUnknown) {
    // Produced inside the library but deliberately without a text.
    EXPECT_EQ(TGX_ERR_INVALID_DATA, -1014);
    EXPECT_EQ(TGX_ERR_LINK_LOCK_TIMEOUT, -1020);
    EXPECT_EQ(TGX_ERR_PACKET_TIMEOUT, -1997);

    const int32_t unknown[] = {TGX_ERR_INVALID_DATA, TGX_ERR_LINK_LOCK_TIMEOUT, TGX_ERR_PACKET_TIMEOUT, -1, 1,
                               std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max(),
                               // Neighbours of the bands' edges
                               -63, -72, -127, -129, -255, -257, -999, -1019, -1199, -1214, -1500, -1508, -1600, -1612,
                               -1989, -2001, -32768, -32776, -32784, -36862, -36864, -40017, -40021,
                               // Positive images of real codes
                               1000, 64, 32769, 40018};
    for (int32_t code : unknown) {
        EXPECT_STREQ(Tgx_getErrorDescription(code), kUnknown) << "code " << code;
    }
}

// Every code across all bands gets exactly the published text or the unknown
// text, never null, never the text of a neighbour.
TEST(ErrorDescription, SweepOverAllBandsMatchesPublishedTable) {
    const std::map<int32_t, std::string> expected = ExpectedByCode();
    int32_t known = 0;
    for (int32_t code = -41000; code <= 1000; ++code) {
        const char* text = Tgx_getErrorDescription(code);
        ASSERT_NE(text, nullptr) << "code " << code;
        const auto it = expected.find(code);
        if (it == expected.end()) {
            ASSERT_STREQ(text, kUnknown) << "code " << code;
        } else {
            ASSERT_EQ(std::string(text), it->second) << "code " << code;
            ++known;
        }
    }
    EXPECT_EQ(known, 84);
}

} // namespace
