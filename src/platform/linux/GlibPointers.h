#pragma once

#include <gio/gio.h>

#include <memory>

namespace quillet {

struct GUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};

/// A reference to an object of GLib, owned.
template <class T>
using GRef = std::unique_ptr<T, GUnref>;

/// One reference more to an object that somebody else owns.
template <class T>
[[nodiscard]] GRef<T> sharedRef(T* object) {
    return GRef<T>(object ? static_cast<T*>(g_object_ref(object)) : nullptr);
}

struct GFree {
    void operator()(gpointer memory) const { g_free(memory); }
};
using GString8 = std::unique_ptr<char, GFree>;

struct GErrorFree {
    void operator()(GError* error) const { g_error_free(error); }
};
using GErrorPtr = std::unique_ptr<GError, GErrorFree>;

struct GVariantUnref {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};
using GVariantPtr = std::unique_ptr<GVariant, GVariantUnref>;

/// Where a function of GLib puts its error: `f(..., ErrorOut(error))`.
class ErrorOut {
public:
    explicit ErrorOut(GErrorPtr& target) : target_(target) {}
    ~ErrorOut() { target_.reset(raw_); }
    ErrorOut(const ErrorOut&) = delete;
    ErrorOut& operator=(const ErrorOut&) = delete;
    // NOLINTNEXTLINE(google-explicit-constructor)
    operator GError**() { return &raw_; }

private:
    GErrorPtr& target_;
    GError* raw_ = nullptr;
};

/// Makes a context the one that asynchronous calls of this thread come back to.
class ThreadDefaultContext {
public:
    explicit ThreadDefaultContext(GMainContext* context) : context_(context) {
        g_main_context_push_thread_default(context_);
    }
    ~ThreadDefaultContext() { g_main_context_pop_thread_default(context_); }
    ThreadDefaultContext(const ThreadDefaultContext&) = delete;
    ThreadDefaultContext& operator=(const ThreadDefaultContext&) = delete;

private:
    GMainContext* context_;
};

}  // namespace quillet
