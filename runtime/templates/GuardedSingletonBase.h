#pragma once

namespace orva::templates::patterns {

// What LibraryInitController needs to destroy a singleton at the library's
// last Deinit: a hook before deletion and the address of the class's
// instance pointer, which it clears after the deletion.
class GuardedSingletonBase {
public:
    GuardedSingletonBase() = default;
    GuardedSingletonBase(const GuardedSingletonBase&) = delete;
    GuardedSingletonBase& operator=(const GuardedSingletonBase&) = delete;
    GuardedSingletonBase(GuardedSingletonBase&&) = delete;
    GuardedSingletonBase& operator=(GuardedSingletonBase&&) = delete;

    // Called before the deletion; does nothing by default.
    virtual void prepareDestroy();
    virtual void getInstanceSlot(GuardedSingletonBase*** out) = 0;
    virtual ~GuardedSingletonBase();
};

} // namespace orva::templates::patterns
