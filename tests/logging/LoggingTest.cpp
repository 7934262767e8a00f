// Loggers with and without the dispatcher library, and level changes that
// the dispatcher makes at run time.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "runtime/logging/LogMessage.h"
#include "runtime/logging/Logging.h"
#include "runtime/logging/dispatcher/CommonLoggingDispatcher.h"
#include "runtime/templates/LibraryInitController.h"
#include "runtime/templates/RuntimeLibrary.h"

using orva::templates::platform::LibraryInitController;
using orva::tools::logging::LevelDebug;
using orva::tools::logging::LevelError;
using orva::tools::logging::LevelTrace;
using orva::tools::logging::Logging;

namespace {

class LoggingTest : public ::testing::Test {
protected:
    void SetUp() override {
        logFile_ = ::testing::TempDir() + "tgx-logging-" + std::to_string(getpid()) + ".log";
        std::remove(logFile_.c_str());
        setenv("ORVA_LOG_FILE", logFile_.c_str(), 1);
        LibraryInitController::Init();
    }
    void TearDown() override {
        LibraryInitController::Deinit();
        orva::templates::platform::SetRuntimeLibraryDirectory(nullptr);
        std::remove(logFile_.c_str());
    }
    std::string Log() const {
        std::ifstream in(logFile_);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }
    std::string logFile_;
};

TEST_F(LoggingTest, WithoutTheDispatcherEveryLoggerIsTheSilentDefault) {
    orva::templates::platform::SetRuntimeLibraryDirectory(EMPTY_RUNTIME_DIR);
    Logging* logging = Logging::instance();
    EXPECT_FALSE(logging->HasDispatcher());
    auto* a = logging->GetLogger("orva.genicam.lib");
    auto* b = logging->GetLogger("orva.genicam.CxpController");
    EXPECT_EQ(a, b);
    EXPECT_FALSE(a->IsEnabled(LevelError));
    ORVA_LOG(a, LevelError, "never written");
}

TEST_F(LoggingTest, LoggersComeFromTheDispatcherOncePerNameAndFollowItsLevels) {
    setenv("ORVA_LOG", "orva.genicam.lib=1,*=4", 1);
    Logging* logging = Logging::instance();
    ASSERT_TRUE(logging->HasDispatcher());
    auto* lib = logging->GetLogger("orva.genicam.lib");
    EXPECT_EQ(logging->GetLogger("orva.genicam.lib"), lib);
    auto* driver = logging->GetLogger("orva.genicam.TGXInterface");
    EXPECT_NE(driver, lib);
    EXPECT_TRUE(lib->IsEnabled(LevelTrace));
    EXPECT_FALSE(driver->IsEnabled(LevelDebug));

    ORVA_LOG(lib, LevelTrace, "traced " << 42);
    ORVA_LOG(driver, LevelDebug, "filtered");
    const std::string log = Log();
    EXPECT_NE(log.find("[orva.genicam.lib] source-file=tests/logging/LoggingTest.cpp,source-line="), std::string::npos)
        << log;
    EXPECT_NE(log.find("|traced 42\n"), std::string::npos) << log;
    EXPECT_EQ(log.find("filtered"), std::string::npos);

    // Levels the dispatcher changes at run time reach the loggers.
    void* dispatcher = dlopen(COMMON_LOGGING_DISPATCHER_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(dispatcher, nullptr);
    auto setLevels =
        reinterpret_cast<LoggingDispatcherSetLevels>(dlsym(dispatcher, LOGGING_DISPATCHER_SET_LEVELS_SYMBOL));
    ASSERT_NE(setLevels, nullptr);
    ASSERT_EQ(setLevels("orva.genicam.*=2"), 0);
    EXPECT_TRUE(driver->IsEnabled(LevelDebug));
    EXPECT_FALSE(driver->IsEnabled(LevelTrace));
    EXPECT_FALSE(lib->IsEnabled(LevelTrace));
    dlclose(dispatcher);
}

TEST_F(LoggingTest, TheLastUseOfTheLibraryEndsLoggingAndANewUseStartsIt) {
    setenv("ORVA_LOG", "*=5", 1);
    ASSERT_TRUE(Logging::instance()->HasDispatcher());
    LibraryInitController::Deinit();
    EXPECT_FALSE(LibraryInitController::HasInstance());
    LibraryInitController::Init();
    ASSERT_TRUE(Logging::instance()->HasDispatcher());
    ORVA_LOG(Logging::instance()->GetLogger("orva.genicam.lib"), LevelError, "after restart");
    EXPECT_NE(Log().find("|after restart\n"), std::string::npos);
}

} // namespace
