// Bootstrap registers, identity and description of the simulated CoaXPress
// camera, read and written through a register-path board as a host does.

#include "CxpTestSupport.h"

#include <gmock/gmock.h>
#include <zlib.h>

#include <bit>
#include <cstdio>
#include <fstream>
#include <iterator>

namespace orva::cxpsimtest {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

uint32_t littleEndian32(const std::vector<uint8_t>& bytes, size_t at) {
    return uint32_t{bytes[at]} | (uint32_t{bytes[at + 1]} << 8) | (uint32_t{bytes[at + 2]} << 16) |
           (uint32_t{bytes[at + 3]} << 24);
}
uint32_t littleEndian16(const std::vector<uint8_t>& bytes, size_t at) {
    return uint32_t{bytes[at]} | (uint32_t{bytes[at + 1]} << 8);
}

// The one file of a zip container, found through its directory as a reader
// of descriptions finds it.
std::string unzipOnlyFile(const std::vector<uint8_t>& zip) {
    if (zip.size() < 22 || littleEndian32(zip, 0) != 0x04034B50) {
        ADD_FAILURE() << "no zip container";
        return {};
    }
    const size_t end = zip.size() - 22;
    EXPECT_EQ(littleEndian32(zip, end), 0x06054B50u) << "end of directory behind the directory, no comment";
    EXPECT_EQ(littleEndian16(zip, end + 10), 1u) << "one entry";
    const size_t central = littleEndian32(zip, end + 16);
    EXPECT_EQ(littleEndian32(zip, central), 0x02014B50u);
    const uint32_t packed = littleEndian32(zip, central + 20);
    const uint32_t size = littleEndian32(zip, central + 24);
    const size_t local = littleEndian32(zip, central + 42);
    EXPECT_EQ(littleEndian16(zip, local + 8), 8u) << "deflated";
    const size_t data = local + 30 + littleEndian16(zip, local + 26) + littleEndian16(zip, local + 28);

    std::string out(size, '\0');
    z_stream stream{};
    EXPECT_EQ(inflateInit2(&stream, -15), Z_OK);
    stream.next_in = const_cast<Bytef*>(zip.data() + data);
    stream.avail_in = packed;
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = size;
    EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
    inflateEnd(&stream);
    EXPECT_EQ(static_cast<uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(out.data()), size)),
              littleEndian32(zip, central + 16));
    return out;
}

std::string text(const std::vector<uint8_t>& bytes) {
    std::string s(bytes.begin(), bytes.end());
    return s.substr(0, s.find('\0'));
}

std::string writeTempFile(const std::string& name, const std::string& content) {
    std::string path = ::testing::TempDir() + simtest::uniqueNamespace() + "-" + name;
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

class Bootstrap : public CxpTest {
protected:
    // One camera per port of a register-path board, each with its own
    // parameters.
    void loadCameras(const std::vector<std::string>& params) {
        std::string cameras;
        for (size_t i = 0; i < params.size(); ++i) {
            cameras += (i == 0 ? "" : ",") + std::string(R"({"model":"cxp-camera","ports":[)") + std::to_string(i) +
                       R"(],"params":)" + params[i] + "}";
        }
        load(R"({"boards":[{"index":0,"type":"0xA64","serial":1,"design":"cxp-dual-4","ports":4,"cameras":[)" +
             cameras + "]}]}");
        board = open(0);
    }

    // The answer to a read: the bytes in camera order, or the status.
    struct Answer {
        uint32_t status = 0;
        std::vector<uint8_t> bytes;
    };
    Answer read(uint32_t port, uint32_t address, uint32_t bytes) {
        const auto ack = exchangeByRegisters(board, port, commandBody(false, address, bytes));
        Answer answer;
        if (ack.empty()) {
            ADD_FAILURE() << "no answer";
            return answer;
        }
        answer.status = ack[0];
        if (ack[0] == kAckWithData && ack.size() >= 3) {
            EXPECT_EQ(swap32(ack[1]), bytes);
            EXPECT_EQ(ack.back(), packetCrc(std::span(ack).first(ack.size() - 1)));
            for (size_t i = 2; i + 1 < ack.size(); ++i) {
                for (int b = 0; b < 4; ++b) {
                    answer.bytes.push_back(static_cast<uint8_t>(ack[i] >> (8 * b)));
                }
            }
        }
        return answer;
    }
    uint32_t read32(uint32_t port, uint32_t address) {
        const Answer a = read(port, address, 4);
        EXPECT_EQ(a.status, kAckWithData) << std::hex << address;
        return a.bytes.size() == 4 ? (uint32_t{a.bytes[0]} << 24) | (uint32_t{a.bytes[1]} << 16) |
                                         (uint32_t{a.bytes[2]} << 8) | a.bytes[3]
                                   : 0;
    }
    uint32_t write32(uint32_t port, uint32_t address, uint32_t value) {
        const uint32_t payload[] = {swap32(value)};
        const auto ack = exchangeByRegisters(board, port, commandBody(true, address, 4, payload));
        return ack.size() == 1 ? ack[0] : 0xFFFFFFFFu;
    }
    // Reads a block in pieces that fit the camera's packets.
    std::vector<uint8_t> readBlock(uint32_t port, uint32_t address, uint32_t size, uint32_t piece = 480) {
        std::vector<uint8_t> out;
        for (uint32_t done = 0; done < size;) {
            const uint32_t n = std::min(piece, (size - done + 3) / 4 * 4);
            const Answer a = read(port, address + done, n);
            if (a.status != kAckWithData) {
                ADD_FAILURE() << "read at " << std::hex << address + done << " gave " << a.status;
                return out;
            }
            out.insert(out.end(), a.bytes.begin(), a.bytes.end());
            done += n;
        }
        out.resize(size);
        return out;
    }
    // The description of manifest entry 0, as its URL says.
    std::pair<std::string, std::vector<uint8_t>> description(uint32_t port) {
        EXPECT_EQ(read32(port, 0x0008), 1u) << "one manifest entry";
        EXPECT_EQ(write32(port, 0x000C, 0), kAckFinal);
        const uint32_t urlAddress = read32(port, 0x0018);
        const std::string url = text(readBlock(port, urlAddress, 256));
        const auto first = url.find(';');
        const auto second = url.find(';', first + 1);
        EXPECT_NE(second, std::string::npos) << url;
        const auto address = static_cast<uint32_t>(std::stoul(url.substr(first + 1, second - first - 1), nullptr, 16));
        const auto size = static_cast<uint32_t>(std::stoul(url.substr(second + 1), nullptr, 16));
        return {url, readBlock(port, address, size)};
    }

    OHalDevice* board = nullptr;
};

TEST_F(Bootstrap, IdentityStringsComeFromTheParameters) {
    loadCameras({R"({"revision":"1.1","deviceName":"Vendor A","modelName":"Model B","manufacturerInfo":"Info C",
                    "deviceVersion":"Version D","firmwareVersion":"Firmware E","serialNumber":"SN-F","userId":"G"})"});
    EXPECT_EQ(read32(0, 0x0000), kMagic);
    // The whole block of strings in one read: every field at its place,
    // zero-padded to its size.
    const auto block = readBlock(0, 0x2000, 0xD0, 0xD0);
    const auto field = [&](size_t at, size_t size) {
        return text(std::vector<uint8_t>(block.begin() + static_cast<std::ptrdiff_t>(at),
                                         block.begin() + static_cast<std::ptrdiff_t>(at + size)));
    };
    EXPECT_EQ(field(0x00, 32), "Vendor A");
    EXPECT_EQ(field(0x20, 32), "Model B");
    EXPECT_EQ(field(0x40, 48), "Info C");
    EXPECT_EQ(field(0x70, 32), "Version D");
    EXPECT_EQ(field(0x90, 32), "Firmware E");
    EXPECT_EQ(field(0xB0, 16), "SN-F");
    EXPECT_EQ(field(0xC0, 16), "G");
    EXPECT_EQ(std::count(block.begin() + 0x20 + 7, block.begin() + 0x40, 0), 32 - 7) << "padding is zero";
}

TEST_F(Bootstrap, RevisionsShowTheirOwnRegisters) {
    loadCameras({R"({"revision":"1.0"})", R"({"revision":"1.1"})", R"({"revision":"2.0"})",
                 R"({"revision":"2.0","versionsSupported":["2.0"]})"});
    EXPECT_EQ(read32(0, 0x0004), 0x00010000u);
    EXPECT_EQ(read32(1, 0x0004), 0x00010001u);
    EXPECT_EQ(read32(2, 0x0004), 0x00020000u);
    for (uint32_t port : {0u, 1u}) {
        EXPECT_EQ(read(port, 0x4044, 4).status, kAckInvalidAddress) << "no versions before 2.0";
        EXPECT_EQ(read(port, 0x4048, 4).status, kAckInvalidAddress);
        EXPECT_EQ(read(port, 0x2090, 32).status, kAckWithData) << "firmware version before 2.0";
    }
    EXPECT_EQ(read(2, 0x2090, 32).status, kAckInvalidAddress) << "no firmware version from 2.0 on";
    EXPECT_EQ(read32(2, 0x4044), 0x6u) << "1.1 and 2.0";
    EXPECT_EQ(read32(2, 0x4048), 0x00010001u) << "runs 1.1 until told otherwise";
    EXPECT_EQ(read32(3, 0x4044), 0x4u);
    EXPECT_EQ(read32(3, 0x4048), 0x00020000u);

    EXPECT_EQ(write32(3, 0x4048, 0x00010001), kAckInvalidData) << "a version it doesn't support";
    EXPECT_EQ(write32(2, 0x4048, 0x00020000), kAckFinal);
    EXPECT_EQ(read32(2, 0x4048), 0x00020000u);
}

TEST_F(Bootstrap, LinkRegistersAndTheirLimits) {
    loadCameras({R"({"controlPacketSize":512})"});
    EXPECT_EQ(read32(0, 0x400C), 512u);
    EXPECT_EQ(read32(0, 0x4010), 1024u);
    EXPECT_EQ(write32(0, 0x4010, 2048), kAckFinal);
    EXPECT_EQ(read32(0, 0x4010), 2048u);
    EXPECT_EQ(write32(0, 0x4010, 2047), kAckInvalidData);
    EXPECT_EQ(write32(0, 0x000C, 1), kAckInvalidData) << "there is one manifest entry";
    const uint32_t two[] = {0, 0};
    EXPECT_EQ(exchangeByRegisters(board, 0, commandBody(true, 0x4012, 4, std::span(two, 1))),
              (std::vector<uint32_t>{kAckInvalidAddress}));
    EXPECT_EQ(exchangeByRegisters(board, 0, commandBody(true, 0x4008, 8, two)),
              (std::vector<uint32_t>{kAckWriteReadOnly}))
        << "a write that runs into a read-only register writes nothing";
    EXPECT_EQ(exchangeByRegisters(board, 0, commandBody(true, 0x4008, 8, std::span(two, 1))),
              (std::vector<uint32_t>{0x46464646}))
        << "size and payload disagree";
}

TEST_F(Bootstrap, ZippedDescriptionThroughTheManifest) {
    loadCameras({R"({"modelName":"zip-model","deviceName":"zip-vendor"})"});
    const auto [url, bytes] = description(0);
    EXPECT_THAT(url, StartsWith("Local:zip-model.zip;100000;"));
    const std::string xml = unzipOnlyFile(bytes);
    EXPECT_THAT(xml, StartsWith("<?xml"));
    EXPECT_THAT(xml, HasSubstr(R"(ModelName="zip-model")"));
    EXPECT_THAT(xml, HasSubstr(R"(VendorName="zip-vendor")"));
    EXPECT_THAT(xml, HasSubstr("</RegisterDescription>"));
}

TEST_F(Bootstrap, PlainAndZippedDescriptionsFromFiles) {
    const std::string xml = "<?xml version=\"1.0\"?>\n<RegisterDescription ModelName=\"from-file\"/>\n";
    const std::string path = writeTempFile("camera.xml", xml);
    loadCameras({R"({"descriptionFile":")" + path + R"(","descriptionFormat":"plain"})",
                 R"({"descriptionFile":")" + path + R"("})"});
    const auto [plainUrl, plain] = description(0);
    EXPECT_THAT(plainUrl, HasSubstr(".xml;100000;"));
    EXPECT_EQ(std::string(plain.begin(), plain.end()), xml) << "the file as it is";
    const auto [zipUrl, zip] = description(1);
    EXPECT_THAT(zipUrl, HasSubstr(".zip;100000;"));
    EXPECT_EQ(unzipOnlyFile(zip), xml);

    // A zip file is offered as it is.
    const std::string zipPath = writeTempFile("camera.zip", std::string(zip.begin(), zip.end()));
    loadCameras({R"({"descriptionFile":")" + zipPath + R"("})"});
    EXPECT_EQ(description(0).second, zip);
    std::remove(path.c_str());
    std::remove(zipPath.c_str());
}

TEST_F(Bootstrap, DescriptionEndsWhereItsSizeSays) {
    loadCameras({"{}"});
    const auto [url, bytes] = description(0);
    const uint32_t end = 0x100000 + static_cast<uint32_t>((bytes.size() + 3) / 4 * 4);
    EXPECT_EQ(read(0, end, 4).status, kAckInvalidAddress);
}

TEST_F(Bootstrap, UserRegistersKeepWhatOneProgramWroteForTheNext) {
    loadCameras({"{}"});
    EXPECT_EQ(read32(0, 0x10000), 1024u) << "Width after power-up";
    const int child = simtest::runInChild([&] {
        OHalDevice* device = nullptr;
        if (hal.OHalInitDevice(0, &device) != ORVA_SIM_OK) {
            return 1;
        }
        const uint32_t width[] = {swap32(2048)};
        const uint32_t user[] = {0x656E696C, 0x0000332D, 0, 0}; // "line-3"
        sendRows(device, 0, registerRows(commandBody(true, 0x10000, 4, width)));
        const bool widthTaken = receiveByRegisters(device, 0) == std::vector<uint32_t>{kAckFinal};
        sendRows(device, 0, registerRows(commandBody(true, 0x20C0, 16, user)));
        const bool userTaken = receiveByRegisters(device, 0) == std::vector<uint32_t>{kAckFinal};
        hal.OHalFreeDevice(device);
        return widthTaken && userTaken ? 0 : 2;
    });
    ASSERT_EQ(child, 0);
    EXPECT_EQ(read32(0, 0x10000), 2048u);
    EXPECT_EQ(text(read(0, 0x20C0, 16).bytes), "line-3");

    // A power cycle: the user registers start from their defaults, the user
    // id is kept.
    set(board, "wCxpPowerEnablePower", 0x0);
    set(board, "wCxpPowerEnablePower", 0x1);
    EXPECT_EQ(read32(0, 0x10000), 1024u);
    EXPECT_EQ(text(read(0, 0x20C0, 16).bytes), "line-3");
}

TEST_F(Bootstrap, DescribedRegistersHoldTheirDefaultsAndCommandsAct) {
    loadCameras({"{}"});
    EXPECT_EQ(read32(0, 0x10004), 768u);
    EXPECT_EQ(read32(0, 0x10008), 0x01080001u) << "Mono8";
    EXPECT_EQ(std::bit_cast<float>(read32(0, 0x10018)), 10000.0f);
    EXPECT_EQ(read32(0, 0x10020), 0u) << "not acquiring";
    EXPECT_EQ(write32(0, 0x10010, 1), kAckFinal);
    EXPECT_EQ(read32(0, 0x10020), 1u) << "acquiring from the command on";
    // The command's register clears itself once the camera is done with it.
    EXPECT_TRUE(eventually([&] { return read32(0, 0x10010) == 0u; }, 5000)) << "a command reads back as done";
    EXPECT_EQ(write32(0, 0x10014, 1), kAckFinal);
    EXPECT_EQ(read32(0, 0x10020), 0u);
}

TEST_F(Bootstrap, DefaultSetUpCamerasOnTheQueuePath) {
    OHalDevice* device = open(0);
    startQueuePort(device, 2);
    // The camera of one link on port 2: revision 1.1, plain description.
    EXPECT_EQ(exchangeByQueue(device, 2, commandBody(false, 0x0004, 4)), queueDataAck(0x00010001));
    EXPECT_EQ(exchangeByQueue(device, 2, commandBody(false, 0x4018, 4)), queueDataAck(connectionConfig(1, 5000)));
    const auto name = exchangeByQueue(device, 2, commandBody(false, 0x2020, 16));
    ASSERT_EQ(name.size(), 7u);
    std::string model;
    for (size_t i = 3; i < 7; ++i) {
        for (int b = 0; b < 4; ++b) {
            model += static_cast<char>(name[i] >> (8 * b));
        }
    }
    EXPECT_EQ(model, std::string("cxp-single-link\0", 16));
}

} // namespace
} // namespace orva::cxpsimtest
