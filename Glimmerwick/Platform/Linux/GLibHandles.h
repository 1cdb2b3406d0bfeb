#pragma once

#include <glib.h>

#include <memory>
#include <string>

namespace glimmerwick {

/// Owns a text that GLib has allocated.
struct GTextDeleter {
    void operator()(char* text) const { g_free(text); }
};
using GTextHandle = std::unique_ptr<char, GTextDeleter>;

/// Receives and owns an error of GLib.
class GErrorHandle {
public:
    GErrorHandle() = default;
    ~GErrorHandle() { g_clear_error(&m_error); }
    GErrorHandle(const GErrorHandle&) = delete;
    GErrorHandle& operator=(const GErrorHandle&) = delete;

    explicit operator bool() const { return m_error != nullptr; }
    GError** out() { return &m_error; }
    std::string message() const { return m_error ? m_error->message : "no reason given"; }

private:
    GError* m_error = nullptr;
};

} // namespace glimmerwick
