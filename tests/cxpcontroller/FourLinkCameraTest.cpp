// A camera of four links on a board whose design lays its four ports out for
// one camera, through the exported functions: discovery, the camera list and
// the camera's link properties, with the cables in order and reversed, on
// the queue path and on the register path.
#include <array>
#include <sstream>
#include <string>

#include "tests/cxpcontroller/CxpControllerTestSupport.h"

namespace orva::cxptest {
namespace {

struct Cabling {
    const char* design;
    const char* name;
    std::array<uint32_t, 4> ports; // board port of link 0, 1, 2, 3
};

void PrintTo(const Cabling& c, std::ostream* os) {
    *os << c.name;
}

std::string FourLinkScenario(const Cabling& c) {
    std::ostringstream cameras;
    cameras << R"({"model": "cxp-camera", "ports": [)" << c.ports[0] << ", " << c.ports[1] << ", " << c.ports[2] << ", "
            << c.ports[3] << "]}";
    return Scenario(Board(0, "0xA64", (std::string("\"") + c.design + "\"").c_str(), 4, cameras.str()));
}

class FourLinkCamera : public CxpControllerTest, public ::testing::WithParamInterface<Cabling> {
protected:
    void TearDown() override {
        if (board != nullptr) {
            EXPECT_EQ(Tgx_freeBoard(board), TGX_OK);
        }
        if (grabber_ != nullptr) {
            board::Gb_FreeGrabber(grabber_);
        }
        CxpControllerTest::TearDown();
    }

    void OpenBoard() {
        grabber_ = board::Gb_InitEx(0, nullptr, 0);
        ASSERT_NE(grabber_, nullptr) << orva_sim_last_error();
        ASSERT_EQ(Tgx_initBoard(grabber_, 0, &board), TGX_OK);
    }

    uint32_t Property(TgxCameraHandle* camera, const char* name, uint32_t link = 0) {
        uint32_t value = 0xDEADBEEF;
        const uint32_t type = TGX_PROPERTY_TYPE_UINT32;
        EXPECT_EQ(Tgx_getCameraPropertyWithType(camera, name, &value, &type, &link), TGX_OK) << name;
        return value;
    }

    TgxBoardHandle* board = nullptr;

private:
    Gb_Struct_s* grabber_ = nullptr;
};

TEST_P(FourLinkCamera, ComesUpWithAllFourLinks) {
    const Cabling& c = GetParam();
    ASSERT_NO_FATAL_FAILURE(Load(FourLinkScenario(c)));
    ASSERT_NO_FATAL_FAILURE(OpenBoard());

    ASSERT_EQ(Tgx_scanPorts(board, 0xF, kDiscoveryTimeoutMs, 0), TGX_OK);
    ASSERT_EQ(Tgx_getCameraCount(board), 1);
    TgxCameraHandle* camera = nullptr;
    ASSERT_EQ(Tgx_getCameraByIndex(board, 0, &camera), TGX_OK);
    ASSERT_NE(camera, nullptr);

    EXPECT_EQ(Property(camera, "NROFLINKS"), 4u);
    EXPECT_EQ(Property(camera, "MASTERPORT"), c.ports[0]);
    for (uint32_t link = 0; link < 4; ++link) {
        // Link n sits on the board port its cable goes to, and is routed to
        // design port n, where the design expects it.
        EXPECT_EQ(Property(camera, "FGPORT", link), c.ports[link]) << "link " << link;
        EXPECT_EQ(Property(camera, "APPLETPORT", link), link) << "link " << link;
    }
    // The camera runs as its default configuration asks, on all four links.
    EXPECT_EQ(Property(camera, "LINKSPEED"), 6250u);
}

INSTANTIATE_TEST_SUITE_P(Cxp, FourLinkCamera,
                         ::testing::Values(Cabling{"coaxpress-x4", "QueuePathInOrder", {0, 1, 2, 3}},
                                           Cabling{"coaxpress-x4", "QueuePathReversed", {3, 2, 1, 0}},
                                           Cabling{"cxp-dual-4-x4", "RegisterPathReversed", {3, 2, 1, 0}}),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace orva::cxptest
