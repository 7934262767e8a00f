#include "runtime/board/BoardBinding.h"

#include <array>
#include <atomic>
#include <string>

#include "runtime/board/BoardLibraryNames.h"
#include "runtime/templates/RuntimeLibrary.h"

namespace orva::board {

namespace {

template <std::size_t N> struct Table {
    const char* libraryName;
    const std::array<std::string_view, N>& names;
    std::size_t markerSlot;
    int32_t loadFailure;
    std::array<std::atomic<void*>, N> entries{};
};

Table<kOrvaHalNames.size()> gOrvaHal{"orva_hal", kOrvaHalNames, SlotOf(kOrvaHalNames, "OHalInitDevice"),
                                     kOrvaHalUnavailable};
Table<kDsgrtNames.size()> gDsgrt{"dsgrt", kDsgrtNames, SlotOf(kDsgrtNames, "DsgLoadDsgFileWithType"), kDsgrtLoadFailed};
Table<kGblib5Names.size()> gGblib5{"gblib5", kGblib5Names, SlotOf(kGblib5Names, "Gb_InitEx"), kGblib5Unavailable};

template <std::size_t N> int32_t BindTable(Table<N>& table) {
    auto library = orva::templates::platform::LoadRuntimeLibrary(table.libraryName);
    if (!library) {
        return table.loadFailure;
    }
    for (std::size_t i = 0; i < N; ++i) {
        void* entry = library->symbol(std::string(table.names[i]).c_str());
        // Older hardware libraries export the firmware read-back under its
        // board-specific name only.
        if (entry == nullptr && table.names[i] == "OHalReadFirmware") {
            entry = library->symbol("OHalBx4ReadSPI");
        }
        table.entries[i].store(entry, std::memory_order_release);
    }
    // The record goes; the library stays loaded for the life of the process.
    return 0;
}

template <std::size_t N> void* Lookup(Table<N>& table, std::string_view name) {
    for (std::size_t i = 0; i < N; ++i) {
        if (table.names[i] == name) {
            return table.entries[i].load(std::memory_order_acquire);
        }
    }
    return nullptr;
}

template <class F> decltype(auto) WithTable(BoardLibrary library, F&& f) {
    switch (library) {
    case BoardLibrary::OrvaHal:
        return f(gOrvaHal);
    case BoardLibrary::Dsgrt:
        return f(gDsgrt);
    case BoardLibrary::Gblib5:
        break;
    }
    return f(gGblib5);
}

} // namespace

int32_t BindOrvaHal() {
    return BindTable(gOrvaHal);
}
int32_t BindDsgrt() {
    return BindTable(gDsgrt);
}
int32_t BindGblib5() {
    return BindTable(gGblib5);
}

int32_t Bind(BoardLibrary library) {
    return WithTable(library, [](auto& table) { return BindTable(table); });
}

void* Entry(BoardLibrary library, std::size_t slot) {
    return WithTable(library, [slot](auto& table) -> void* {
        return slot < table.entries.size() ? table.entries[slot].load(std::memory_order_acquire) : nullptr;
    });
}

void* BoundEntry(BoardLibrary library, std::string_view name) {
    return WithTable(library, [name](auto& table) { return Lookup(table, name); });
}

bool IsBound(BoardLibrary library) {
    return WithTable(library, [](auto& table) {
        return table.entries[table.markerSlot].load(std::memory_order_acquire) != nullptr;
    });
}

void ClearTable(BoardLibrary library) {
    WithTable(library, [](auto& table) {
        for (auto& entry : table.entries) {
            entry.store(nullptr, std::memory_order_release);
        }
        return 0;
    });
}

} // namespace orva::board
