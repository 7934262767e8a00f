// Named properties as rows of a table, one table per owner (the board core,
// the camera, each technology's controller). A row starts with its `name`;
// the rest is the owner's: type, reader, writer, the boards it serves.
#pragma once

#include <cstring>
#include <span>

namespace orva::core {

// The first row of this name, compared byte for byte, case included; null
// for a null name or one in no row.
template <class Row> const Row* FindPropertyRow(std::span<const Row> rows, const char* name) {
    if (name == nullptr) {
        return nullptr;
    }
    for (const Row& row : rows) {
        if (std::strcmp(row.name, name) == 0) {
            return &row;
        }
    }
    return nullptr;
}

} // namespace orva::core
