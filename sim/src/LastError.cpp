#include "LastError.h"

namespace orva::sim {

namespace {
thread_local std::string lastErrorText;
}

void setLastError(std::string text) {
    try {
        lastErrorText = std::move(text);
    } catch (...) {
        // The text is a courtesy; the status went back all the same.
    }
}

const char* lastError() {
    return lastErrorText.c_str();
}

} // namespace orva::sim
