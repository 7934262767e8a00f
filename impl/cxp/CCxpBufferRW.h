// One command packet of the CoaXPress control channel while it is built, and
// the parsing of the acknowledges that answer it.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace orva::cxp {

class CCxpBufferRW {
public:
    // `data` points at the words to send (wire order), null for a read; the
    // object doesn't own it. `maxPacketWords` is the largest packet in words
    // without markers, type and CRC overhead already taken off by the caller.
    CCxpBufferRW(uint32_t address, const uint32_t* data, uint32_t wordCount, uint32_t maxPacketWords, bool hasTag,
                 uint8_t tag, bool isWrite);
    virtual ~CCxpBufferRW();

    CCxpBufferRW(const CCxpBufferRW&) = delete;
    CCxpBufferRW& operator=(const CCxpBufferRW&) = delete;
    CCxpBufferRW(CCxpBufferRW&&) = delete;
    CCxpBufferRW& operator=(CCxpBufferRW&&) = delete;

    // Fills `packet`: firstWord, [tag], size and operation, address, payload
    // (writes only). `payloadWords` is the number of data words the packet
    // moves for a write, 0 for a read. False if there is nothing to send.
    bool BuildCommand(std::vector<uint32_t>& packet, uint32_t& packetWords, uint32_t& payloadWords,
                      uint32_t firstWord) const;

    // Result of the acknowledge at the front of `words`: 0..4 for final with
    // data, final, tentative, channel reset, wait; a negative status for the
    // camera's error codes and for lists too short to hold a status.
    int32_t GetAckStatus(std::span<const uint32_t> words) const;

    // Copies the payload of a final acknowledge with data into `dest` (at
    // most `destWords` words) after checking its length and, if present, its
    // CRC. `gotWords` is the number copied; `receivedTag` the tag it carried.
    int32_t GetDataFromRawPacket(std::span<const uint32_t> words, uint32_t* dest, uint32_t destWords,
                                 uint32_t& gotWords, uint8_t& receivedTag) const;

    bool IsWrite() const { return isWrite_; }
    bool HasTag() const { return hasTag_; }
    uint8_t Tag() const { return tag_; }
    uint32_t WordCount() const { return wordCount_; }
    uint32_t Address() const { return address_; }
    uint32_t MaxPayloadWords() const { return maxPayloadWords_; }
    uint32_t MaxPacketWords() const { return maxPacketWords_; }

private:
    bool isWrite_;
    bool hasTag_;
    uint8_t tag_;
    const uint32_t* data_;
    uint32_t wordCount_;
    uint32_t address_;
    uint32_t maxPayloadWords_;
    uint32_t maxPacketWords_;
};

} // namespace orva::cxp
