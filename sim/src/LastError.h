#pragma once

#include "SimError.h"
#include "orva_sim.h"

#include <exception>
#include <new>
#include <string>

namespace orva::sim {

// Text of the last failure of the calling thread.
void setLastError(std::string text);
const char* lastError();

// Runs `f` and turns any exception into a negative status, so that nothing
// crosses a C function's boundary.
template <class F> auto statusOf(F&& f) noexcept -> decltype(f()) {
    using Result = decltype(f());
    try {
        return f();
    } catch (const SimError& e) {
        setLastError(e.what());
        return static_cast<Result>(e.status());
    } catch (const std::bad_alloc&) {
        setLastError("out of memory");
    } catch (const std::exception& e) {
        setLastError(e.what());
    } catch (...) {
        setLastError("unexpected failure");
    }
    return static_cast<Result>(ORVA_SIM_ERR_INTERNAL);
}

} // namespace orva::sim
