#include "runtime/templates/LibraryInitController.h"

#include "runtime/templates/GuardedSingletonBase.h"
#include "runtime/templates/SpinLockVariableGuard.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <memory>
#include <vector>

namespace orva::templates::platform {

namespace {

struct Record {
    std::vector<void (*)()> deinitFunctions;
    std::vector<patterns::GuardedSingletonBase*> singletons;
};

// Constant-initialised: usable before and after the process's static
// constructors and destructors.
constinit std::atomic<int32_t> spinVariable{0};
constinit std::atomic<int32_t> ownerVariable{0};
// The following are written only under the spin guard; atomics so that
// UseCount/HasInstance may look without it.
constinit std::atomic<Record*> instance{nullptr};
constinit std::atomic<int32_t> useCount{0};
// The record being torn down; singletons created meanwhile join its walk.
constinit std::atomic<Record*> dyingRecord{nullptr};
constinit std::atomic<bool> verbose{false};

void Trace(const char* step, const Record* record) {
    if (verbose.load(std::memory_order_relaxed)) {
        std::printf("LibraryInitController [%s] - Instance: %p\n", step, static_cast<const void*>(record));
        std::fflush(stdout);
    }
}

void TraceCount(const char* step, const Record* record, int32_t count) {
    if (verbose.load(std::memory_order_relaxed)) {
        std::printf("LibraryInitController [%s] - Instance: %p - Use Count: %d\n", step,
                    static_cast<const void*>(record), static_cast<int>(count));
        std::fflush(stdout);
    }
}

// Publishes the record being torn down for its scope; tear-downs nest when a
// clean-up function runs a whole Init/Deinit cycle.
class DyingRecordScope {
public:
    explicit DyingRecordScope(Record* record) : previous_(dyingRecord.exchange(record)) {}
    ~DyingRecordScope() { dyingRecord.store(previous_); }
    DyingRecordScope(const DyingRecordScope&) = delete;
    DyingRecordScope& operator=(const DyingRecordScope&) = delete;
    DyingRecordScope(DyingRecordScope&&) = delete;
    DyingRecordScope& operator=(DyingRecordScope&&) = delete;

private:
    Record* previous_;
};

void WalkRecord(Record& record) {
    // Index loops: a clean-up function or destructor may append to the
    // lists it is walked from, and a vector may move its storage when it grows.
    for (std::size_t i = 0; i < record.deinitFunctions.size(); ++i) {
        record.deinitFunctions[i]();
    }
    for (std::size_t i = 0; i < record.singletons.size(); ++i) {
        patterns::GuardedSingletonBase* singleton = record.singletons[i];
        if (singleton == nullptr) {
            continue; // removed after a failed creation
        }
        singleton->prepareDestroy();
        patterns::GuardedSingletonBase** slot = nullptr;
        singleton->getInstanceSlot(&slot);
        // The slot still points at the object while it is deleted, so that
        // its destructor reaches itself rather than creating a new instance.
        delete singleton;
        if (slot != nullptr) {
            std::atomic_ref<patterns::GuardedSingletonBase*>(*slot).store(nullptr, std::memory_order_release);
        }
    }
}

// Runs with the spin guard held by the calling thread (re-entrant).
void TearDown(std::unique_ptr<Record> record) {
    {
        const DyingRecordScope scope(record.get());
        WalkRecord(*record);
    }
    Trace("Destroy", record.get());
}

} // namespace

int32_t LibraryInitController::Init() {
    SpinLockVariableGuard guard(&spinVariable, &ownerVariable);
    const int32_t count = useCount.load() + 1;
    if (count == 1) {
        instance.store(new Record());
        Trace("Create ", instance.load());
    }
    useCount.store(count);
    TraceCount("Init   ", instance.load(), count);
    return count;
}

int32_t LibraryInitController::Deinit() {
    SpinLockVariableGuard guard(&spinVariable, &ownerVariable);
    int32_t count = useCount.load();
    if (count > 0) {
        --count;
        useCount.store(count);
    }
    TraceCount("Deinit ", instance.load(), count);
    if (count == 0 && instance.load() != nullptr) {
        // Detached first: from here on the library is down, and an Init from
        // a clean-up function starts a new record instead of reviving this one.
        TearDown(std::unique_ptr<Record>(instance.exchange(nullptr)));
    }
    return useCount.load();
}

void LibraryInitController::Register(void (*init)(), void (*deinit)()) {
    SpinLockVariableGuard guard(&spinVariable, &ownerVariable);
    if (Record* record = instance.load(); record != nullptr && deinit != nullptr) {
        record->deinitFunctions.push_back(deinit);
    }
    if (init != nullptr) {
        init();
    }
}

void LibraryInitController::AddSingleton(patterns::GuardedSingletonBase* singleton) {
    if (singleton == nullptr) {
        return;
    }
    SpinLockVariableGuard guard(&spinVariable, &ownerVariable);
    Record* record = instance.load();
    if (record == nullptr) {
        record = dyingRecord.load();
    }
    if (record != nullptr) {
        record->singletons.push_back(singleton);
    }
}

bool LibraryInitController::RemoveSingleton(patterns::GuardedSingletonBase* singleton) {
    SpinLockVariableGuard guard(&spinVariable, &ownerVariable);
    for (Record* record : {instance.load(), dyingRecord.load()}) {
        if (record == nullptr) {
            continue;
        }
        auto& list = record->singletons;
        const auto found = std::find(list.begin(), list.end(), singleton);
        if (found != list.end()) {
            // Cleared in place rather than erased: a tear-down may be walking
            // this list by index.
            *found = nullptr;
            return true;
        }
    }
    return false;
}

int32_t LibraryInitController::UseCount() {
    return useCount.load();
}

bool LibraryInitController::HasInstance() {
    return instance.load() != nullptr;
}

void LibraryInitController::SetVerbose(bool on) {
    verbose.store(on);
}

} // namespace orva::templates::platform
