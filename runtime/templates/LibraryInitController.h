#pragma once

#include <cstdint>

namespace orva::templates::patterns {
class GuardedSingletonBase;
}

namespace orva::templates::platform {

// The library's use count. The first Init creates a record that collects
// clean-up functions and singletons; the Deinit that brings the count back
// to 0 calls the clean-up functions (first to last), then destroys the
// singletons (first to last) and drops the record.
//
// All operations are thread-safe and re-entrant for the calling thread: a
// registered init or clean-up function, and a singleton's destructor, may
// call Init, Deinit, Register or create singletons. A count of 0 always
// means the library is down: a Deinit at 0 (e.g. from a clean-up function
// during the tear-down) changes nothing.
//
// State lives in zero-initialised statics, so it works before and after any
// other set-up of the process.
class LibraryInitController {
public:
    // Counts one use; returns the new count.
    static int32_t Init();
    // Gives one use back; returns the new count (never below 0).
    static int32_t Deinit();
    // Appends deinit (if not null) to the clean-up functions while the
    // library is up, then calls init (if not null) in any case.
    static void Register(void (*init)(), void (*deinit)());
    // Appends a singleton for destruction at tear-down; does nothing while
    // the library is down.
    static void AddSingleton(patterns::GuardedSingletonBase* singleton);
    // Forgets a singleton without destroying it (for a creation that
    // failed); true if it was registered.
    static bool RemoveSingleton(patterns::GuardedSingletonBase* singleton);
    static int32_t UseCount();
    static bool HasInstance();
    // Diagnostics: one line per step on standard output. Off by default.
    static void SetVerbose(bool verbose);
};

} // namespace orva::templates::platform
