#pragma once

#include "runtime/templates/GuardedSingletonBase.h"
#include "runtime/templates/LibraryInitController.h"
#include "runtime/templates/SpinLockVariableGuard.h"
#include "runtime/templates/ThreadId.h"

#include <atomic>
#include <cstdint>

namespace orva::templates::patterns {

// Process-wide instance of T, created on first use of T::instance() and
// destroyed by LibraryInitController when the library's use count falls to
// 0 (an instance created while the library is down is never destroyed).
//
// Use: class T : public GuardedSingleton<T> { friend class GuardedSingleton<T>; T(); ... };
//
// instance() is thread-safe. A second thread that asks during creation waits
// until initialize() has finished. The creating thread itself gets the object
// under construction from initialize(), and null from T's constructor (the
// object doesn't exist yet).
template <class T> class GuardedSingleton : public GuardedSingletonBase {
public:
    static T* instance();

    // Runs once after construction, before any other thread can see the
    // object; may call instance(). Does nothing by default.
    virtual void initialize() {}

    void getInstanceSlot(GuardedSingletonBase*** out) override {
        if (out != nullptr) {
            *out = &instance_;
        }
    }

protected:
    GuardedSingleton() = default;

private:
    static T* Published() {
        return static_cast<T*>(std::atomic_ref<GuardedSingletonBase*>(instance_).load(std::memory_order_acquire));
    }

    // Published instance. A plain pointer so that LibraryInitController can
    // clear it through getInstanceSlot; always accessed through atomic_ref.
    alignas(std::atomic_ref<GuardedSingletonBase*>::required_alignment) inline static GuardedSingletonBase* instance_ =
        nullptr;
    // Set while the creating thread runs initialize().
    inline static std::atomic<T*> underConstruction_{nullptr};
    // Spin and owner variable of the creation.
    inline static std::atomic<int32_t> spin_{0};
    inline static std::atomic<int32_t> owner_{0};
};

template <class T> T* GuardedSingleton<T>::instance() {
    if (T* published = Published()) {
        return published;
    }
    const auto self = static_cast<int32_t>(platform::CurrentThreadId());
    if (owner_.load(std::memory_order_relaxed) == self) {
        // Re-entry of the creating thread: from initialize() this is the
        // object under construction, from T's constructor still null.
        return underConstruction_.load(std::memory_order_relaxed);
    }
    platform::SpinLockVariableGuard guard(&spin_, &owner_);
    if (T* published = Published()) {
        return published;
    }
    T* created = new T();
    underConstruction_.store(created, std::memory_order_relaxed);
    try {
        platform::LibraryInitController::AddSingleton(created);
        created->initialize();
    } catch (...) {
        underConstruction_.store(nullptr, std::memory_order_relaxed);
        platform::LibraryInitController::RemoveSingleton(created);
        delete created;
        throw;
    }
    std::atomic_ref<GuardedSingletonBase*>(instance_).store(created, std::memory_order_release);
    underConstruction_.store(nullptr, std::memory_order_relaxed);
    return created;
}

} // namespace orva::templates::patterns
