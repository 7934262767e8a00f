// Run-time binding of the three board libraries into tables of entry points.
//
// Each table is bound by name from <installation>/lib/lib<name>.so. A bound
// entry is never cleared while the process lives (except gblib5's table after
// Gb_FreeLibraries), and a library is never unloaded: callers may hold entry
// points at any time. Binds run without a lock; concurrent binds store the
// same values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace orva::board {

enum class BoardLibrary : uint8_t { OrvaHal, Dsgrt, Gblib5 };

// Statuses of the bind routines, and the fixed statuses a forwarder gives
// when its entry is missing.
inline constexpr int32_t kOrvaHalUnavailable = -2130;
inline constexpr int32_t kDsgrtUnavailable = -114;
inline constexpr int32_t kGblib5Unavailable = -2130;
inline constexpr int32_t kDsgrtLoadFailed = -1;

// Bind routines: 0, or the library's load failure status. A name the library
// lacks leaves its entry null and is no failure.
int32_t BindOrvaHal();
int32_t BindDsgrt();
int32_t BindGblib5();
int32_t Bind(BoardLibrary library);

// Entry of a slot (see BoardLibraryNames.h); null when unbound or missing.
void* Entry(BoardLibrary library, std::size_t slot);
// Entry by name, for names this library doesn't call itself.
void* BoundEntry(BoardLibrary library, std::string_view name);
// True when the library's marker entry is bound.
bool IsBound(BoardLibrary library);
// Empties a table; only gblib5's is ever cleared, after Gb_FreeLibraries.
void ClearTable(BoardLibrary library);

} // namespace orva::board
