#pragma once

#include <cassert>
#include <coroutine>
#include <exception>
#include <functional>
#include <optional>
#include <utility>

namespace glimmerwick {

/// An asynchronous sequence: a lazy coroutine that its Task owns. Nothing runs until it is started or
/// awaited, and destroying the Task cancels it at its current suspension (and with it whatever it awaits).
///
/// Rules: never destroy a running task from inside itself, except in the completion given to `start`; take
/// parameters by value; one thread, the main one.
template <typename T> class [[nodiscard]] Task {
public:
    struct promise_type {
        std::optional<T> result;
        std::coroutine_handle<> continuation;
        std::function<void(T)> completion;

        Task get_return_object() { return Task(std::coroutine_handle<promise_type>::from_promise(*this)); }
        std::suspend_always initial_suspend() noexcept { return {}; }

        struct FinalAwaiter {
            bool await_ready() noexcept { return false; }
            std::coroutine_handle<> await_suspend(std::coroutine_handle<promise_type> handle) noexcept
            {
                promise_type& promise = handle.promise();
                if (promise.continuation) {
                    return promise.continuation;
                }
                // The completion may destroy the task, and with it the promise: take both out first.
                if (auto completion = std::exchange(promise.completion, nullptr)) {
                    T result = std::move(*promise.result);
                    completion(std::move(result));
                }
                return std::noop_coroutine();
            }
            void await_resume() noexcept { }
        };
        FinalAwaiter final_suspend() noexcept { return {}; }

        void return_value(T value) { result.emplace(std::move(value)); }
        void unhandled_exception() { std::terminate(); }
    };

    Task() = default;
    Task(Task&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) { }
    Task& operator=(Task&& other) noexcept
    {
        if (this != &other) {
            cancel();
            m_handle = std::exchange(other.m_handle, nullptr);
        }
        return *this;
    }
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;
    ~Task() { cancel(); }

    /// Runs the sequence to its first suspension; the completion runs once, when it has ended. A task that
    /// ends without suspending completes inside this call.
    void start(std::function<void(T)> completion = nullptr)
    {
        assert(m_handle && !m_handle.done());
        m_handle.promise().completion = std::move(completion);
        m_handle.resume();
    }

    void cancel()
    {
        if (auto handle = std::exchange(m_handle, nullptr)) {
            handle.destroy();
        }
    }

    explicit operator bool() const { return static_cast<bool>(m_handle); }

    auto operator co_await() &&
    {
        struct Awaiter {
            std::coroutine_handle<promise_type> handle;
            bool await_ready() const noexcept { return false; }
            std::coroutine_handle<> await_suspend(std::coroutine_handle<> continuation) noexcept
            {
                handle.promise().continuation = continuation;
                return handle;
            }
            T await_resume() { return std::move(*handle.promise().result); }
        };
        return Awaiter{m_handle};
    }

private:
    explicit Task(std::coroutine_handle<promise_type> handle) : m_handle(handle) { }

    std::coroutine_handle<promise_type> m_handle;
};

} // namespace glimmerwick
