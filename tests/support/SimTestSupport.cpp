#include "support/SimTestSupport.h"

#include "support/TestSupport.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace orva::simtest {

namespace {

void* openLibrary(const std::string& name) {
    const std::string path = orva::test::BuildDir() + "/lib/lib" + name + ".so";
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        throw std::runtime_error("can't load " + path + ": " + dlerror()); // NOLINT(concurrency-mt-unsafe)
    }
    return handle;
}

template <class T> void bind(void* library, const char* name, T& slot) {
    slot = reinterpret_cast<T>(dlsym(library, name));
    if (slot == nullptr) {
        throw std::runtime_error(std::string("board library lacks ") + name);
    }
}

BoardLibraries loadLibraries() {
    BoardLibraries l{};
    void* dsgrt = openLibrary("dsgrt");
    void* orva_hal = openLibrary("orva_hal");
    void* gblib5 = openLibrary("gblib5");
#define ORVA_SIMTEST_BIND(library, name) bind(library, #name, l.name);
    ORVA_SIMTEST_BOARD_FUNCTIONS(ORVA_SIMTEST_BIND)
#undef ORVA_SIMTEST_BIND
    return l;
}

} // namespace

const BoardLibraries& boardLibraries() {
    static const BoardLibraries libraries = loadLibraries();
    return libraries;
}

std::string uniqueNamespace(const std::string& tag) {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = "t" + std::to_string(::getpid()) + tag + "-" +
                       (info != nullptr ? std::string(info->name()) : std::string("none"));
    for (char& c : name) {
        if (std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '-' && c != '_') {
            c = '_';
        }
    }
    return name.substr(0, 64);
}

void SimTest::SetUp() {
    ns = uniqueNamespace();
    orva::test::SetEnv("ORVA_SIM_NAMESPACE", ns);
    orva::test::UnsetEnv("ORVA_SIM_SCENARIO");
}

void SimTest::TearDown() {
    for (OHalDevice* device : devices_) {
        hal.OHalFreeDevice(device);
    }
    orva::test::SetEnv("ORVA_SIM_NAMESPACE", ns);
    EXPECT_EQ(orva_sim_destroy(), ORVA_SIM_OK) << orva_sim_last_error();
}

void SimTest::load(const std::string& json) {
    ASSERT_EQ(orva_sim_load_text(json.c_str()), ORVA_SIM_OK) << orva_sim_last_error();
}

OHalDevice* SimTest::open(uint32_t board) {
    OHalDevice* device = nullptr;
    const int32_t status = hal.OHalInitDevice(board, &device);
    EXPECT_EQ(status, ORVA_SIM_OK) << orva_sim_last_error();
    if (device != nullptr) {
        devices_.push_back(device);
    }
    return device;
}

int32_t SimTest::registerNumber(OHalDevice* device, const char* name) {
    Gb_Struct_s* grabber = hal.Gb_InitEx(static_cast<uint32_t>(hal.OHalGetBoardIndex(device, 0)), nullptr, 0);
    EXPECT_NE(grabber, nullptr) << orva_sim_last_error();
    if (grabber == nullptr) {
        return -1;
    }
    const int32_t number = hal.DsgGetRegisterByName(grabber->design, name);
    hal.Gb_FreeGrabber(grabber);
    return number;
}

void SimTest::writeRegister(OHalDevice* device, const char* name, uint64_t value) {
    const int32_t number = registerNumber(device, name);
    ASSERT_GT(number, 0) << name;
    ASSERT_EQ(hal.OHalRegisterWrite(device, static_cast<uint32_t>(number), static_cast<uint32_t>(value),
                                    static_cast<uint32_t>(value >> 32)),
              ORVA_SIM_OK)
        << orva_sim_last_error();
}

uint64_t SimTest::readRegister(OHalDevice* device, const char* name) {
    const int32_t number = registerNumber(device, name);
    EXPECT_GT(number, 0) << name;
    uint64_t value = 0;
    EXPECT_EQ(hal.OHalRegisterRead(device, static_cast<uint32_t>(number), &value), ORVA_SIM_OK)
        << orva_sim_last_error();
    return value;
}

int SimTest::withOwnHandle(uint32_t board, const std::function<int(OHalDevice*)>& body) {
    OHalDevice* own = nullptr;
    if (hal.OHalInitDevice(board, &own) != ORVA_SIM_OK) {
        return 100;
    }
    const int result = body(own);
    hal.OHalFreeDevice(own);
    return result;
}

int runInChild(const std::function<int()>& body) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        int code = 99;
        try {
            code = body();
        } catch (...) {
            code = 98;
        }
        ::_exit(code);
    }
    return pid < 0 ? -1 : orva::test::WaitForChild(pid);
}

} // namespace orva::simtest
