// Design registers by name: how every controller and port learns what the
// loaded design can do. A missing name is an answer, not an error.
#pragma once

#include <cstdint>
#include <string>

#include "runtime/board/OrvaBoardApi.h"

namespace orva::core {

// The register's number, or 0 when there is no design or it lacks the name.
int32_t LookUpRegister(DsgDesign* design, const std::string& name);

// Reads the named register; TGX_ERR_INVALID_COMMAND when the design lacks
// it, the board's status when the read fails.
int32_t ReadRegisterByName(OHalDevice* device, DsgDesign* design, const std::string& name, uint64_t& value);

} // namespace orva::core
