// A board object may have been loaded by a program of another build, with a
// design or a camera model this one doesn't have. Its handles then refuse
// the board and name what is missing, rather than run it with the wrong
// core or without its cameras.

#include "SharedLayout.h"
#include "support/SimTestSupport.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <string>

namespace orva::simtest {
namespace {

namespace layout = orva::sim::layout;
using ::testing::HasSubstr;

class ForeignBoard : public SimTest {
protected:
    // Board 0 of the test's namespace, mapped as another program sees it.
    layout::BoardBlock* mapBoard() {
        const std::string name = "/orva-sim." + ns + ".board0";
        const int fd = ::shm_open(name.c_str(), O_RDWR, 0);
        if (fd < 0) {
            return nullptr;
        }
        void* at = ::mmap(nullptr, sizeof(layout::BoardBlock), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        ::close(fd);
        return at == MAP_FAILED ? nullptr : static_cast<layout::BoardBlock*>(at);
    }
};

void putName(char (&to)[layout::kNameBytes], const char* name) {
    std::memset(to, 0, sizeof(to));
    std::strncpy(to, name, sizeof(to) - 1);
}

struct ForeignName {
    const char* what;
    void (*write)(layout::BoardBlock& board);
    const char* message;
};

TEST_F(ForeignBoard, NameThisProgramLacksFailsTheHandlesAndSaysWhich) {
    const std::array cases{
        ForeignName{"design", [](layout::BoardBlock& b) { putName(b.baseDesign, "warp-drive"); },
                    "design 'warp-drive' of board 0 is unknown to this program"},
        ForeignName{"camera model", [](layout::BoardBlock& b) { putName(b.cameras[0].model, "ghost"); },
                    "camera model 'ghost' on board 0 is unknown to this program"},
    };
    for (const ForeignName& c : cases) {
        SCOPED_TRACE(c.what);
        ASSERT_EQ(orva_sim_reset(), ORVA_SIM_OK) << orva_sim_last_error();
        OHalDevice* device = open(0);
        EXPECT_EQ(readRegister(device, "Scratch"), 0u) << "the handle has taken the board up as loaded";

        layout::BoardBlock* board = mapBoard();
        ASSERT_NE(board, nullptr);
        // The other program loads anew: every handle looks at the board again.
        c.write(*board);
        ++board->generation;
        ::munmap(board, sizeof(layout::BoardBlock));

        uint64_t value = 0;
        EXPECT_EQ(hal.OHalRegisterRead(device, 1, &value), ORVA_SIM_ERR_STATE);
        EXPECT_THAT(orva_sim_last_error(), HasSubstr(c.message));
    }
}

} // namespace
} // namespace orva::simtest
