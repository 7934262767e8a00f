#pragma once

#include "runtime/templates/Guard.h"

namespace orva::templates::patterns {

// Frees an array allocated with new[] when the guard goes out of scope,
// unless release() handed the array on.
template <class T> class HeapArrayGuard : public Guard<T*> {
public:
    explicit HeapArrayGuard(T* array, bool owning = true) : Guard<T*>(array, owning) {}
    ~HeapArrayGuard() override {
        if (this->owns) {
            delete[] this->value;
        }
    }

    T* get() const { return this->value; }

    // Gives up ownership; the caller frees the array.
    T* release() {
        this->owns = false;
        return this->value;
    }
};

} // namespace orva::templates::patterns
