#pragma once

namespace orva::templates::patterns {

// Base of the scoped guards: holds the guarded thing and whether this guard
// is responsible for releasing it. Guards are neither copied nor moved, so
// a release can never happen twice.
template <class T> class Guard {
public:
    virtual ~Guard() = default;

    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
    Guard(Guard&&) = delete;
    Guard& operator=(Guard&&) = delete;

protected:
    Guard() = default;
    Guard(T guarded, bool owning) : value(guarded), owns(owning) {}

    T value{};
    bool owns = false;
};

} // namespace orva::templates::patterns
