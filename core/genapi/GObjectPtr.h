// Owning holders for the GLib objects the node map uses: a GObject reference
// released with g_object_unref, and a GError released with g_error_free.
#pragma once

#include <glib-object.h>

#include <memory>

namespace orva::core::genapi::detail {

struct GObjectUnref {
    void operator()(gpointer object) const noexcept {
        if (object != nullptr) {
            g_object_unref(object);
        }
    }
};

// Holds one reference; the object is released when the holder goes.
template <class T> using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

// An out-parameter for GLib calls that report through GError**.
class GErrorHolder {
public:
    GErrorHolder() = default;
    ~GErrorHolder() { Clear(); }
    GErrorHolder(const GErrorHolder&) = delete;
    GErrorHolder& operator=(const GErrorHolder&) = delete;

    // Hands the slot to a GLib call; an earlier error is dropped first, since
    // GLib refuses to overwrite a set error.
    GError** Out() {
        Clear();
        return &error_;
    }
    const GError* Get() const { return error_; }
    explicit operator bool() const { return error_ != nullptr; }
    const char* Message() const { return error_ != nullptr && error_->message != nullptr ? error_->message : ""; }
    void Clear() {
        if (error_ != nullptr) {
            g_error_free(error_);
            error_ = nullptr;
        }
    }

private:
    GError* error_ = nullptr;
};

} // namespace orva::core::genapi::detail
