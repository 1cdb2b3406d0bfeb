#pragma once

#include <memory>

namespace glimmerwick {

/// Lets work that outlives a call hold its owner weakly: `[this, alive = m_lifetime.watch()] { if (alive) ...
/// }`. The owner and the watching work must live on the same thread. Declare it last, so that it ends first.
class Lifetime {
public:
    class Watch {
    public:
        explicit operator bool() const { return !m_token.expired(); }

    private:
        friend class Lifetime;
        explicit Watch(std::weak_ptr<int> token) : m_token(std::move(token)) { }
        std::weak_ptr<int> m_token;
    };

    Lifetime() = default;
    Lifetime(const Lifetime&) = delete;
    Lifetime& operator=(const Lifetime&) = delete;

    Watch watch() const { return Watch(m_token); }

private:
    std::shared_ptr<int> m_token = std::make_shared<int>(0);
};

} // namespace glimmerwick
