#pragma once

#include <utility>
#include <variant>

namespace glimmerwick {

/// Marks the failure alternative when a Result is built: `return Failure{error};`.
template <typename E> struct Failure {
    E error;
};

template <typename E> Failure(E) -> Failure<E>;

/// Either a value or a typed error; errors travel by value, the core throws nothing across functions.
/// Asking for the alternative that is not held throws std::bad_variant_access: that is a bug of the caller.
template <typename T, typename E> class [[nodiscard]] Result {
public:
    Result(T value) : m_state(std::in_place_index<0>, std::move(value)) { }
    Result(Failure<E> failure) : m_state(std::in_place_index<1>, std::move(failure.error)) { }

    bool isSuccess() const { return m_state.index() == 0; }
    explicit operator bool() const { return isSuccess(); }

    const T& value() const& { return std::get<0>(m_state); }
    T& value() & { return std::get<0>(m_state); }
    T&& value() && { return std::get<0>(std::move(m_state)); }

    const E& error() const& { return std::get<1>(m_state); }
    E&& error() && { return std::get<1>(std::move(m_state)); }

private:
    std::variant<T, E> m_state;
};

/// The value of a Result that carries none.
struct Success { };

} // namespace glimmerwick
