#include "impl/cxp/CCxpBufferRW.h"

#include <algorithm>
#include <cstring>

#include "impl/cxp/CxpPacket.h"
#include "include/tgx_genicam.h"

namespace orva::cxp {

namespace {
// Words in front of the payload besides the type word and the tag.
constexpr uint32_t kCommandHeaderWords = 3;
} // namespace

CCxpBufferRW::CCxpBufferRW(uint32_t address, const uint32_t* data, uint32_t wordCount, uint32_t maxPacketWords,
                           bool hasTag, uint8_t tag, bool isWrite)
    : isWrite_(isWrite), hasTag_(hasTag), tag_(tag), data_(data), wordCount_(wordCount), address_(address),
      maxPayloadWords_(maxPacketWords > kCommandHeaderWords + (hasTag ? 1u : 0u)
                           ? maxPacketWords - kCommandHeaderWords - (hasTag ? 1u : 0u)
                           : 0),
      maxPacketWords_(maxPacketWords) {}

CCxpBufferRW::~CCxpBufferRW() {
    data_ = nullptr;
}

bool CCxpBufferRW::BuildCommand(std::vector<uint32_t>& packet, uint32_t& packetWords, uint32_t& payloadWords,
                                uint32_t firstWord) const {
    const uint32_t words = std::min(wordCount_, maxPayloadWords_);
    if (words == 0 || (isWrite_ && data_ == nullptr)) {
        return false;
    }
    payloadWords = isWrite_ ? words : 0;
    packetWords = (hasTag_ ? 1u : 0u) + kCommandHeaderWords + payloadWords;
    packet.assign(packetWords, 0);
    size_t at = 0;
    packet[at++] = firstWord;
    if (hasTag_) {
        packet[at++] = wire::TagWord(tag_);
    }
    packet[at++] = wire::SizeAndOperationWord(isWrite_, words * 4);
    packet[at++] = wire::AddressWord(address_);
    if (payloadWords != 0) {
        std::memcpy(&packet[at], data_, size_t{payloadWords} * sizeof(uint32_t));
    }
    return true;
}

int32_t CCxpBufferRW::GetAckStatus(std::span<const uint32_t> words) const {
    const size_t tagWords = hasTag_ ? 1 : 0;
    if (words.size() < tagWords + 1) {
        return TGX_ERR_INVALID_DATA;
    }
    const uint32_t status = words[tagWords];
    switch (status) {
    case wire::kAckFinalWithData:
        // Status and size at least, and something behind the size.
        return words.size() > tagWords + 2 ? wire::kAckResultFinalWithData : TGX_ERR_GENCP_INVALID_PACKET;
    case wire::kAckFinal:
        return wire::kAckResultFinal;
    case wire::kAckTentative:
        return wire::kAckResultTentative;
    case wire::kAckChannelReset:
        return wire::kAckResultChannelReset;
    case wire::kAckWait:
        return wire::kAckResultWait;
    case wire::kAckBadCrc:
        return TGX_ERR_CXP_CRC;
    default:
        break;
    }
    const uint32_t code = status & 0xFF;
    if (status == wire::TagWord(static_cast<uint8_t>(code)) && status >= wire::kAckErrorFirst &&
        status <= wire::kAckErrorLast) {
        return -static_cast<int32_t>(code);
    }
    return TGX_ERR_CXP_MALFORMED_PACKET;
}

int32_t CCxpBufferRW::GetDataFromRawPacket(std::span<const uint32_t> words, uint32_t* dest, uint32_t destWords,
                                           uint32_t& gotWords, uint8_t& receivedTag) const {
    gotWords = 0;
    const size_t tagWords = hasTag_ ? 1 : 0;
    if (hasTag_ && !words.empty()) {
        receivedTag = wire::TagOfWord(words[0]);
    }
    const int32_t status = GetAckStatus(words);
    if (status != wire::kAckResultFinalWithData) {
        return status;
    }
    const size_t n = wire::AckSizeBytes(words[tagWords + 1]) / 4;
    const size_t plain = tagWords + 2 + n;
    if (words.size() != plain && words.size() != plain + 1) {
        // Not one whole acknowledge: nothing is taken from it.
        return 0;
    }
    if (words.size() == plain + 1 && wire::PacketCrc(words.first(plain)) != words[plain]) {
        return TGX_ERR_GENCP_CRC;
    }
    const auto copy = static_cast<uint32_t>(std::min<size_t>(n, destWords));
    if (copy != 0 && dest != nullptr) {
        std::memcpy(dest, &words[tagWords + 2], size_t{copy} * sizeof(uint32_t));
        gotWords = copy;
    }
    return 0;
}

} // namespace orva::cxp
