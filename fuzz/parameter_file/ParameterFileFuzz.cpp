// Feeds any bytes to the camera parameter reader, over a camera in memory
// with a feature of each kind (the API tests' camera). Whatever the file says, the reader must not
// crash, hang or let an exception out, and must leave read-only registers
// alone. The state it leaves must survive the writer: a dump, loaded back
// with stop-on-error, is taken whole and gives the same dump again.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "core/genapi/NodeMap.h"
#include "impl/core/ParameterFile.h"
#include "tests/api/TestCameraDescription.h"

namespace {

using orva::core::genapi::IRegisterPort;
using orva::core::genapi::NodeMap;
using orva::core::genapi::PortError;

constexpr uint64_t kReadOnlyAddress = 0x104;
constexpr uint8_t kReadOnlyFill = 0x5A;

class MemoryPort : public IRegisterPort {
public:
    // Every value valid at the start, as a camera's are after power-up.
    MemoryPort() {
        memory[0x100 + 3] = 16; // Width
        memory[0x118 + 3] = 1;  // PixelFormat Mono8
        std::memset(memory.data() + kReadOnlyAddress, kReadOnlyFill, 4);
    }
    void Read(uint64_t address, void* buffer, uint64_t length) override {
        Check(address, length);
        std::memcpy(buffer, memory.data() + address, length);
    }
    void Write(uint64_t address, const void* buffer, uint64_t length) override {
        Check(address, length);
        std::memcpy(memory.data() + address, buffer, length);
    }
    std::vector<uint8_t> memory = std::vector<uint8_t>(0x400, 0);

private:
    static void Check(uint64_t address, uint64_t length) {
        if (address > 0x400 || length > 0x400 - address) {
            throw PortError(-1, "outside the memory");
        }
    }
};

void Require(bool holds, const char* what, const std::string& text) {
    if (!holds) {
        std::fprintf(stderr, "parameter file: %s\n--- dump ---\n%s\n", what, text.c_str());
        std::abort();
    }
}

std::string Dump(NodeMap& map) {
    std::ostringstream out;
    Require(orva::core::DumpParameters(out, &map), "a dump failed", out.str());
    return out.str();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static NodeMap map = NodeMap::FromXml(orva::test::kDescription);
    auto port = std::make_shared<MemoryPort>();
    map.Connect(port);

    const bool stopOnError = size > 0 && (data[0] & 1) != 0;
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    orva::core::LoadParameters(in, &map, stopOnError);
    const std::vector<uint8_t> readOnly(port->memory.begin() + kReadOnlyAddress,
                                        port->memory.begin() + kReadOnlyAddress + 4);
    Require(readOnly == std::vector<uint8_t>(4, kReadOnlyFill), "a read-only register was written", "");

    const std::string first = Dump(map);
    std::istringstream back(first);
    Require(orva::core::LoadParameters(back, &map, true), "a dump didn't load back whole", first);
    Require(Dump(map) == first, "a dump loaded back gave another dump", first);
    map.Connect(nullptr);
    return 0;
}
