// The status code table behind Tgx_getErrorDescription, for tests and tools
// that need to walk every code with its text.
#pragma once

#include <cstdint>

namespace orva::genicam {

struct ErrorRecord {
    int32_t code;
    const char* text;
};

// [ErrorTableBegin(), ErrorTableEnd()) holds each code once, in no particular
// order of value.
const ErrorRecord* ErrorTableBegin();
const ErrorRecord* ErrorTableEnd();

} // namespace orva::genicam
