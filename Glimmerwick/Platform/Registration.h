#pragma once

#include <functional>
#include <utility>

namespace glimmerwick {

/// Owns the undoing of a registration (an observer, a timer, a request): destroying it undoes it. Move-only.
/// Unless an interface says otherwise it belongs to the main thread.
class [[nodiscard]] Registration {
public:
    Registration() = default;
    explicit Registration(std::function<void()> undo) : m_undo(std::move(undo)) { }
    ~Registration() { reset(); }

    Registration(Registration&& other) noexcept : m_undo(std::exchange(other.m_undo, nullptr)) { }
    Registration& operator=(Registration&& other) noexcept
    {
        if (this != &other) {
            reset();
            m_undo = std::exchange(other.m_undo, nullptr);
        }
        return *this;
    }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

    /// Undoes now; nothing is left to undo afterwards.
    void reset()
    {
        if (auto undo = std::exchange(m_undo, nullptr)) {
            undo();
        }
    }

    /// Gives up the right to undo: what was registered stays, whatever becomes of this handle.
    void release() { m_undo = nullptr; }

    /// Whether there is something to undo. A timer that has fired still answers true.
    explicit operator bool() const { return static_cast<bool>(m_undo); }

private:
    std::function<void()> m_undo;
};

} // namespace glimmerwick
