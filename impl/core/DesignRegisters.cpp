#include "impl/core/DesignRegisters.h"

#include "include/tgx_genicam.h"
#include "runtime/board/BoardForwarders.h"

namespace orva::core {

int32_t LookUpRegister(DsgDesign* design, const std::string& name) {
    if (design == nullptr) {
        return 0;
    }
    const int32_t number = board::DsgGetRegisterByName(design, name.c_str());
    return number > 0 ? number : 0;
}

int32_t ReadRegisterByName(OHalDevice* device, DsgDesign* design, const std::string& name, uint64_t& value) {
    const int32_t number = LookUpRegister(design, name);
    if (number <= 0) {
        return TGX_ERR_INVALID_COMMAND;
    }
    uint64_t read = 0;
    const int32_t status = board::OHalRegisterRead(device, static_cast<uint32_t>(number), &read);
    if (status < 0) {
        return status;
    }
    value = read;
    return TGX_OK;
}

} // namespace orva::core
