// The library's life and the call frame, end to end through the exported
// functions, with the shipped dispatcher and the simulated board.
#include <memory>
#include <regex>
#include <stdexcept>

#include "impl/genicam/ApiCallFrame.h"
#include "include/tgx_genicam.h"
#include "runtime/board/BoardBinding.h"
#include "runtime/logging/Logging.h"
#include "runtime/templates/LibraryInitController.h"
#include "runtime/templates/RuntimeLibrary.h"
#include "tests/api/ApiTestSupport.h"

using orva::templates::platform::LibraryInitController;
using orva::test::ApiTest;

namespace {

class LibraryLife : public ApiTest {
protected:
    void SetUp() override { SetUpApi("*=5"); }
};

TEST_F(LibraryLife, FirstInitBoardInitialisesTheLibraryAndKeepsOneUse) {
    ASSERT_EQ(LibraryInitController::UseCount(), 0);
    orva::core::SetControllerCreatorForTesting(&orva::test::CreateFakeController);
    Gb_Struct_s* grabber = OpenGrabber(0);
    ASSERT_NE(grabber, nullptr);
    TgxBoardHandle* board = nullptr;
    ASSERT_EQ(Tgx_initBoard(grabber, 0, &board), TGX_OK);
    EXPECT_EQ(LibraryInitController::UseCount(), 2) << "one use for the board, one for the implicit GenICamInit";
    EXPECT_TRUE(orva::board::IsBound(orva::board::BoardLibrary::OrvaHal));
    EXPECT_TRUE(orva::board::IsBound(orva::board::BoardLibrary::Dsgrt));
    EXPECT_TRUE(orva::board::IsBound(orva::board::BoardLibrary::Gblib5));
    EXPECT_EQ(Tgx_freeBoard(board), TGX_OK);
    EXPECT_EQ(LibraryInitController::UseCount(), 1);
    EXPECT_TRUE(LibraryInitController::HasInstance());
}

TEST_F(LibraryLife, ExplicitInitAndDeinitAroundABoardEndWithTheLibraryDown) {
    orva::core::SetControllerCreatorForTesting(&orva::test::CreateFakeController);
    GenICamInit();
    EXPECT_EQ(LibraryInitController::UseCount(), 1);
    TgxBoardHandle* board = nullptr;
    ASSERT_EQ(Tgx_initBoard(OpenGrabber(0), 0, &board), TGX_OK);
    EXPECT_EQ(LibraryInitController::UseCount(), 2);
    EXPECT_TRUE(orva::tools::logging::Logging::instance()->HasDispatcher());
    ASSERT_EQ(Tgx_freeBoard(board), TGX_OK);
    GenICamDeinit();
    EXPECT_EQ(LibraryInitController::UseCount(), 0);
    EXPECT_FALSE(LibraryInitController::HasInstance());

    // A later start begins from scratch.
    GenICamInit();
    EXPECT_EQ(LibraryInitController::UseCount(), 1);
    EXPECT_EQ(Tgx_getCameraCount(nullptr), 0);
    GenICamDeinit();
    EXPECT_EQ(LibraryInitController::UseCount(), 0);
}

TEST_F(LibraryLife, ABoardFreedAfterGenICamDeinitTakesTheLoggerDownWithTheLibrary) {
    orva::core::SetControllerCreatorForTesting(&orva::test::CreateFakeController);
    GenICamInit();
    TgxBoardHandle* board = nullptr;
    ASSERT_EQ(Tgx_initBoard(OpenGrabber(0), 0, &board), TGX_OK);
    GenICamDeinit();
    EXPECT_EQ(Tgx_getCameraCount(board), 0) << "obtains the logger again";
    ASSERT_EQ(Tgx_freeBoard(board), TGX_OK); // the last use
    EXPECT_FALSE(LibraryInitController::HasInstance());
    EXPECT_EQ(Tgx_getCameraCount(nullptr), 0) << "logs through a logger of its own, not the destroyed one";
    EXPECT_NE(Log().find("|Invalid board handle"), std::string::npos);
}

TEST_F(LibraryLife, DeinitAfterImplicitInitialisationBringsTheLibraryDownOnce) {
    TgxBoardHandle* board = nullptr;
    EXPECT_EQ(Tgx_initBoard(nullptr, 0, &board), TGX_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(LibraryInitController::UseCount(), 1);
    GenICamDeinit();
    EXPECT_EQ(LibraryInitController::UseCount(), 0) << "0 means down, never below";
    EXPECT_FALSE(LibraryInitController::HasInstance());
    GenICamInit();
    EXPECT_EQ(LibraryInitController::UseCount(), 1);
}

TEST_F(LibraryLife, ErrorTextsNeedNoInitialisation) {
    EXPECT_STREQ(Tgx_getErrorDescription(TGX_ERR_INVALID_BOARD_HANDLE), "Invalid board handle");
    EXPECT_STREQ(Tgx_getErrorDescription(TGX_ERR_INVALID_DATA), "Unknown Error.");
    EXPECT_EQ(LibraryInitController::UseCount(), 0) << "the lookup doesn't start the library";
    GenICamInit();
    GenICamDeinit();
    EXPECT_STREQ(Tgx_getErrorDescription(TGX_ERR_BOARD_NOT_SUPPORTED), "Board type does not support GenICam interface");
    EXPECT_STREQ(Tgx_getErrorDescription(1), "Unknown Error.");
}

TEST_F(LibraryLife, MissingBoardLibrariesDontStopInitialisation) {
    orva::templates::platform::SetRuntimeLibraryDirectory(PARTIAL_BOARD_DIR); // only orva_hal there
    GenICamInit();
    EXPECT_EQ(LibraryInitController::UseCount(), 1);
    EXPECT_TRUE(orva::board::IsBound(orva::board::BoardLibrary::OrvaHal));
    EXPECT_FALSE(orva::board::IsBound(orva::board::BoardLibrary::Gblib5));
    EXPECT_EQ(orva::board::Gb_InitEx(0, nullptr, 0), nullptr);
    GenICamDeinit();
    orva::templates::platform::SetRuntimeLibraryDirectory(nullptr);
}

class BoardOpening : public ApiTest {
protected:
    void SetUp() override { SetUpApi("*=5"); }
};

TEST_F(BoardOpening, ArgumentsAreCheckedInOrder) {
    // A null grabber is reported even when the out pointer is null too.
    EXPECT_EQ(Tgx_initBoard(nullptr, 0, nullptr), TGX_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(Tgx_initBoard(OpenGrabber(0), 0, nullptr), TGX_ERR_INVALID_ARGUMENT);
    EXPECT_EQ(LibraryInitController::UseCount(), 1) << "failed calls give their use back";
    const std::string log = Log();
    const auto fg = log.find("|Invalid FG handle");
    const auto out = log.find("|Invalid board handle pointer");
    ASSERT_NE(fg, std::string::npos) << log;
    ASSERT_NE(out, std::string::npos) << log;
    EXPECT_LT(fg, out);
}

TEST_F(BoardOpening, ABoardTypeOfNoTechnologyIsNotSupported) {
    ASSERT_EQ(
        orva_sim_load_text(R"({"boards":[{"index":0,"type":"0x999","serial":7,"design":"coaxpress","ports":2}]})"),
        ORVA_SIM_OK)
        << orva_sim_last_error();
    TgxBoardHandle* board = reinterpret_cast<TgxBoardHandle*>(0x1);
    EXPECT_EQ(Tgx_initBoard(OpenGrabber(0), 0, &board), TGX_ERR_BOARD_NOT_SUPPORTED);
    EXPECT_EQ(board, nullptr);
    EXPECT_EQ(LibraryInitController::UseCount(), 1);
}

// A technology whose controller throws at its reset, after the board object
// exists.
class ThrowingResetController : public orva::test::FakeController {
public:
    using FakeController::FakeController;
    void ResetController() override { throw std::runtime_error("reset refused"); }
};

std::unique_ptr<orva::core::IControllerInterface> CreateThrowingController(int64_t, const orva::board::BoardHandles&,
                                                                           bool) {
    return std::make_unique<ThrowingResetController>(4);
}

TEST_F(BoardOpening, AControllerThatThrowsLeavesNoBoardAndGivesTheUseBack) {
    orva::core::SetControllerCreatorForTesting(&CreateThrowingController);
    TgxBoardHandle* opened = reinterpret_cast<TgxBoardHandle*>(0x1);
    EXPECT_EQ(Tgx_initBoard(OpenGrabber(0), 0, &opened), TGX_ERR_BOARD_INIT);
    EXPECT_EQ(opened, nullptr);
    EXPECT_EQ(LibraryInitController::UseCount(), 1) << "only the implicit GenICamInit's use stays";
    EXPECT_NE(Log().find("|Board initialisation failed: reset refused"), std::string::npos) << Log();
}

class Tracing : public ApiTest {
protected:
    void SetUp() override { SetUpApi("orva.genicam.lib=1"); }
    static std::string Tid() { return std::to_string(orva::templates::platform::CurrentThreadId()); }
};

TEST_F(Tracing, EntryExitAndFailureLinesHaveTheirExactForm) {
    EXPECT_EQ(Tgx_getCameraCount(nullptr), 0);
    const std::string log = Log();
    const std::string handle = ",handle=(TgxBoardHandle*)0";
    const std::string location = "source-file=impl/genicam/BoardApi.cpp,source-line=[0-9]+,thread-id=" + Tid();
    EXPECT_TRUE(std::regex_search(
        log, std::regex(location + "\\,handle=\\(TgxBoardHandle\\*\\)0\\|Entering Tgx_getCameraCount\n")))
        << log;
    EXPECT_NE(log.find("thread-id=" + Tid() + handle + "|Invalid board handle\n"), std::string::npos) << log;
    EXPECT_TRUE(std::regex_search(
        log, std::regex(location + "\\,handle=\\(TgxBoardHandle\\*\\)0\\|Leaving Tgx_getCameraCount,return=0\n")))
        << log;
}

TEST_F(Tracing, InitBoardTracesTheBoardAndTheNewHandle) {
    orva::core::SetControllerCreatorForTesting(&orva::test::CreateFakeController);
    Gb_Struct_s* grabber = OpenGrabber(0);
    TgxBoardHandle* board = nullptr;
    ASSERT_EQ(Tgx_initBoard(grabber, 0, &board), TGX_OK);
    ASSERT_EQ(Tgx_freeBoard(board), TGX_OK);
    std::ostringstream g;
    g << static_cast<const void*>(grabber);
    std::ostringstream b;
    b << static_cast<const void*>(board);
    const std::string boardText = ",handle=(Gb_Struct_s const*)" + g.str() +
                                  ",board-index=0,board-serial=186a0,board-type=a64,port-mask=65535"
                                  ",handle=(Gb_Struct_s*)" +
                                  g.str();
    const std::string log = Log();
    EXPECT_NE(log.find(boardText + "|Entering Tgx_initBoardEx\n"), std::string::npos) << log;
    EXPECT_NE(log.find(boardText + "|Leaving Tgx_initBoardEx,handle=(TgxBoardHandle*)" + b.str() + ",return=0\n"),
              std::string::npos)
        << log;
    EXPECT_NE(log.find(",handle=(TgxBoardHandle*)" + b.str() + "|Leaving Tgx_freeBoard,return=0\n"), std::string::npos)
        << log;
}

} // namespace
