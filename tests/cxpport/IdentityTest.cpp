// Bootstrap and identity of the camera through the port, against the plain
// camera of the scripted board, where the simulated camera can't stand in:
// version negotiation with a refusing firmware or camera, a smaller control
// packet, texts that fill their field, and descriptions that can't be used.

#include <algorithm>
#include <sstream>
#include <string>

#include "FakeBoardTest.h"
#include "ZipTestSupport.h"
#include "include/tgx_genicam.h"

namespace orva::cxptest {
namespace {

using cxp::CCxpPort;
namespace wire = cxp::wire;

constexpr uint32_t kRevision10 = 0x10000;
constexpr uint32_t kRevision20 = 0x20000;
constexpr uint32_t kUrlAddress = 0x6000;
constexpr uint32_t kXmlAddress = 0x100000;

const std::string kXml = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<RegisterDescription ModelName=\"cam\">" +
                         std::string(2000, ' ') + "</RegisterDescription>\n";

class Identity : public FakeBoardTest {
protected:
    // A camera of `revision` on port 0 with `versions` supported.
    void Camera(uint32_t revision, uint32_t versions = 0, uint32_t packetSize = 1024) {
        FakeCxp_SetMemory(0, 0x0000, CCxpPort::kMagicValue);
        FakeCxp_SetMemory(0, 0x0004, revision);
        FakeCxp_SetMemory(0, 0x4044, versions);
        FakeCxp_SetMemory(0, 0x400C, packetSize);
        SetCameraText(0, 0x2000, "orva-sim", 32);
        SetCameraText(0, 0x2020, "cxp-camera", 32);
        SetCameraText(0, 0x2040, "simulated camera", 32);
        SetCameraText(0, 0x2070, "1.0", 32);
        SetCameraText(0, 0x2090, "1.0.0", 32);
        SetCameraText(0, 0x20B0, "CXP-SIM-0001", 16);
        SetCameraText(0, 0x20C0, "left", 16);
    }

    // The manifest of one entry and the description block behind it.
    void Description(const std::string& url, const std::vector<uint8_t>& block, uint32_t entries = 1) {
        FakeCxp_SetMemory(0, 0x0008, entries);
        FakeCxp_SetMemory(0, 0x0010, 0x00010000);
        FakeCxp_SetMemory(0, 0x0014, 0x00010100);
        FakeCxp_SetMemory(0, 0x0018, kUrlAddress);
        SetCameraText(0, kUrlAddress, url, 256);
        SetCameraBytes(0, kXmlAddress, block);
    }

    static std::string Hex(size_t value) {
        std::ostringstream text;
        text << std::hex << value;
        return text.str();
    }

    static bool Touched(const std::vector<Access>& accesses, uint32_t address, bool write) {
        return std::any_of(accesses.begin(), accesses.end(),
                           [&](const Access& a) { return a.address == address && a.write == write; });
    }

    orva::core::CCameraInfo& Info(CCxpPort& port) {
        return *static_cast<orva::core::CCameraInfo*>(port.GetCameraInfo());
    }
};

struct Negotiation {
    const char* what;
    uint32_t revision;
    uint32_t versions;
    uint32_t gtxIf;
    bool extensions;
    int32_t firmwareStatus; // of the firmware's version call
    uint32_t used;          // in the record and told to the camera
    std::vector<uint32_t> firmwareCalls;
    bool tagged;
    const char* log;
};

TEST_F(Identity, VersionNegotiationAndTags) {
    const Negotiation cases[] = {
        {"1.0 camera", kRevision10, 0, 16, true, 0, 0, {}, false, ""},
        {"2.0 camera offering only 1.1", kRevision20, 2, 16, true, 0, 0x10001, {2}, false, ""},
        {"2.0 on the register path", kRevision20, 6, 10, true, 0, 0x20000, {3}, false, ""},
        {"2.0 on the queue path", kRevision20, 6, 16, true, 0, 0x20000, {3}, true, ""},
        {"2.0 without extensions", kRevision20, 6, 16, false, 0, 0x10001, {2}, false, ""},
        {"2.0 offering neither, without extensions",
         kRevision20,
         4,
         16,
         false,
         0,
         0,
         {},
         false,
         "Version Supported does not include either CXP 1.1 or CXP 2.0"},
        {"firmware refusing 2.0",
         kRevision20,
         6,
         16,
         true,
         -10,
         0x10001,
         {3, 2},
         false,
         "Failed to set Version in the Firmware: 3 Error code: -10"},
    };
    for (const Negotiation& c : cases) {
        SCOPED_TRACE(c.what);
        FakeCxp_Reset();
        SetTweak("ORVA_CXP_ENABLE_CXP2_EXTENSIONS", c.extensions ? "On" : "Off");
        FakeCxp_SetControlStatus("Version", c.firmwareStatus);
        Camera(c.revision, c.versions);
        auto port = MakePort(0, c.gtxIf);
        port->SaveCameraInfo();
        EXPECT_EQ(Info(*port).GetVersionsSupported(), c.versions);
        EXPECT_EQ(Info(*port).GetVersionUsed(), c.used);
        EXPECT_EQ(FakeCxp_GetMemory(0, 0x4048), c.used);
        EXPECT_EQ(ControlCalls("Version", 0), c.firmwareCalls);
        EXPECT_EQ(port->GetTagMode(), c.tagged);
        const auto accesses = Accesses(0, c.gtxIf == 16);
        EXPECT_EQ(std::any_of(accesses.begin(), accesses.end(), [](const Access& a) { return a.tagged; }), c.tagged);
        EXPECT_EQ(Touched(accesses, 0x2090, false), c.revision < kRevision20) << "no firmware version from 2.0 on";
        EXPECT_EQ(Touched(accesses, 0x4044, false), c.revision >= kRevision20) << "no versions before 2.0";
        EXPECT_NE(LogSinceStart().find(c.log), std::string::npos) << c.log;
    }
}

TEST_F(Identity, CameraThatFailsTheTaggedReadGoesOnWithoutTags) {
    Camera(kRevision20, 6);
    FakeCxp_FailReads(0, 0x4048, 0x42424242);
    auto port = MakePort(0, 16);
    port->SaveCameraInfo();
    EXPECT_FALSE(port->GetTagMode());
    EXPECT_NE(LogSinceStart().find("Camera failed to respond to packet with tags, reverting to communication "
                                   "without tags"),
              std::string::npos);
    const auto accesses = Accesses(0, true);
    EXPECT_FALSE(accesses.back().tagged);
    EXPECT_STREQ(Info(*port).GetDeviceName(), "orva-sim") << "the rest of the identity is read";
}

TEST_F(Identity, CameraWithASmallerControlPacketLowersThePorts) {
    Camera(kRevision10, 0, 4096);
    auto port = MakePort(0, 10);
    ASSERT_EQ(port->GetControlPacketSize(), 512u);
    port->SaveCameraInfo();
    EXPECT_EQ(port->GetControlPacketSize(), 512u);
    EXPECT_EQ(Info(*port).GetControlPacketSizeLimit(), 4096u);

    FakeCxp_SetMemory(0, 0x400C, 256);
    port->SaveCameraInfo();
    EXPECT_EQ(port->GetControlPacketSize(), 256u);
    // And the next long read goes out in chunks that fit it.
    const uint32_t before = FakeCxp_CommandCount(0);
    std::vector<uint8_t> block(1000);
    ASSERT_EQ(port->ReadMem(0x10000, block.data(), 1000, 200), 0);
    const auto accesses = Accesses(0, false);
    ASSERT_EQ(accesses.size(), before + 5u);
    EXPECT_EQ(accesses[before].bytes, 224u);
}

TEST_F(Identity, TextsFillTheirFieldWithoutAZero) {
    Camera(kRevision10);
    const std::string full(32, 'N');
    SetCameraText(0, 0x2000, full, 32);
    SetCameraText(0, 0x2020, full, 32); // runs on into the next field
    SetCameraText(0, 0x20B0, "0123456789ABCDEF", 16);
    auto port = MakePort(0, 10);
    port->SaveCameraInfo();
    EXPECT_EQ(std::string(Info(*port).GetDeviceName()), full);
    EXPECT_EQ(std::string(Info(*port).GetSerialNumber()), "0123456789ABCDEF");
}

TEST_F(Identity, PlainDescriptionArrivesAsText) {
    // The name says zip; the bytes decide.
    Description("Local:cam.zip;100000;" + Hex(kXml.size()), std::vector<uint8_t>(kXml.begin(), kXml.end()));
    auto port = MakePort(0, 10);
    std::string xml = "old";
    ASSERT_EQ(port->GetXmlInfo(xml, 0), 0);
    EXPECT_EQ(xml, kXml);

    // Zeros behind the text end it; the block's own end ends it as well.
    Description("Local:cam.xml;100000;" + Hex(kXml.size() + 100), std::vector<uint8_t>(kXml.begin(), kXml.end()));
    ASSERT_EQ(port->GetXmlInfo(xml, 0), 0);
    EXPECT_EQ(xml, kXml);
    Description("Local:cam.xml;100000;10", std::vector<uint8_t>(kXml.begin(), kXml.end()));
    ASSERT_EQ(port->GetXmlInfo(xml, 0), 0);
    EXPECT_EQ(xml, kXml.substr(0, 16));
}

TEST_F(Identity, DescriptionsThatCantBeUsedAreRefusedAndLeaveTheText) {
    const auto bomb = ziptest::MakeZip({{"cam.xml", std::string(80u << 20, '<'), 8, 0}});
    const struct {
        std::string url;
        std::vector<uint8_t> block;
        uint32_t entry;
        int32_t status;
    } cases[] = {
        {"Local:cam.zip;100000;40", {0x50, 0x4B, 0x03, 0x04}, 0, TGX_ERR_INTERNAL},  // a zip's signature alone
        {"Local:cam.zip;100000;" + Hex(bomb.size()), bomb, 0, TGX_ERR_INVALID_DATA}, // unpacks beyond the limit
        {"Local:a.xml;100000;7FFFFFFF", {}, 0, TGX_ERR_INVALID_DATA},                // larger than a description can be
        {"Local:a.xml;100000;10", {}, 1, TGX_ERR_GENCP_INVALID_ADDRESS},             // an entry beyond the manifest
        {"file:///cam.xml;100000;40", {}, 0, TGX_ERR_INTERNAL},
        {"Local:a.xml;100;", {}, 0, TGX_ERR_INTERNAL},
        {"Local:a.xml;100", {}, 0, TGX_ERR_INTERNAL},
        {"Local:a.xml", {}, 0, TGX_ERR_INTERNAL},
        {"Local:a.xml;zz;40", {}, 0, TGX_ERR_INTERNAL},
        {"Local:a.xml;100;zz", {}, 0, TGX_ERR_INTERNAL},
        {"Local:a.xml;1FFFFFFFF;40", {}, 0, TGX_ERR_INTERNAL},
    };
    auto port = MakePort(0, 10);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.url);
        Description(c.url, c.block);
        std::string xml = "kept";
        EXPECT_EQ(port->GetXmlInfo(xml, c.entry), c.status);
        EXPECT_EQ(xml, "kept");
    }
}

} // namespace
} // namespace orva::cxptest
