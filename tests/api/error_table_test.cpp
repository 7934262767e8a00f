// The lookup behind Tgx_getErrorDescription: every code of the table finds
// its own text, codes without a record read as unknown, and no code gives a
// null text. A few texts are pinned byte for byte; the table itself is not
// copied here.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <map>
#include <string>

#include "impl/genicam/ErrorTable.h"
#include "tgx_genicam.h"

namespace {

constexpr const char* kUnknown = "Unknown Error.";

TEST(ErrorTable, EachCodeOnceAndFoundWithItsOwnText) {
    std::map<int32_t, std::string> byCode;
    for (const auto* record = orva::genicam::ErrorTableBegin(); record != orva::genicam::ErrorTableEnd(); ++record) {
        ASSERT_NE(record->text, nullptr) << record->code;
        EXPECT_TRUE(byCode.emplace(record->code, record->text).second) << "duplicate code " << record->code;
    }
    ASSERT_GT(byCode.size(), 80U);
    // Every value of the bands in use, and their neighbours: the record's own
    // text or the unknown text, never a neighbour's, never null.
    for (int32_t code = -41000; code <= 1000; ++code) {
        const char* text = Tgx_getErrorDescription(code);
        ASSERT_NE(text, nullptr) << code;
        const auto it = byCode.find(code);
        ASSERT_EQ(std::string(text), it == byCode.end() ? kUnknown : it->second) << code;
    }
}

TEST(ErrorTable, TextsOfEachBandAsPublished) {
    const std::pair<int32_t, const char*> rows[] = {
        {TGX_OK, "No error"},
        {TGX_ERR_INVALID_BOARD_HANDLE, "Invalid board handle"},
        {TGX_ERR_FEATURE_WRITE_ONLY, "a TGX_GetValue function tried to read a write only register"},
        {TGX_ERR_CLHS_SEND_FAILED, "XCore failed Sending a message 10 times (CLHS) (no Acknowledge received 10 times)"},
        {TGX_ERR_GENCP_PENDING_OTHER_REQID,
         "Acknowledge of another ReqId received, while waiting on finalizing pending Ack."},
        {TGX_ERR_GENCP_GENERIC, "GenCP: Generic error"},
        {TGX_ERR_LIBRARY_NOT_LOADED, "Underlaying library not loaded"},
        {TGX_ERR_CXP_CRC, "CXP: Failed CRC test in last received command"},
        {TGX_ERR_CXP_ACK_TIMEOUT, "CXP: Acknowledgment timeout"},
    };
    for (const auto& [code, text] : rows) {
        EXPECT_STREQ(Tgx_getErrorDescription(code), text) << code;
    }
    // Produced inside the library but deliberately without a text.
    for (const int32_t code : {TGX_ERR_INVALID_DATA, TGX_ERR_LINK_LOCK_TIMEOUT, TGX_ERR_PACKET_TIMEOUT,
                               std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()}) {
        EXPECT_STREQ(Tgx_getErrorDescription(code), kUnknown) << code;
    }
}

} // namespace
