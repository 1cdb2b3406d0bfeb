#pragma once

#include "Platform/HttpClient.h"
#include "Platform/Lifetime.h"
#include "Platform/MainQueue.h"
#include "Platform/Registration.h"

#include <coroutine>
#include <optional>
#include <utility>

namespace glimmerwick {

/// `co_await MainQueueHop(queue)`: goes on from the main queue, after the work that is queued already. A task
/// destroyed before that never goes on.
class MainQueueHop {
public:
    explicit MainQueueHop(MainQueue& mainQueue) : m_mainQueue(mainQueue) { }

    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> sequence)
    {
        m_mainQueue.async([sequence, alive = m_lifetime.watch()] {
            if (alive) {
                sequence.resume();
            }
        });
    }
    void await_resume() const noexcept { }

private:
    MainQueue& m_mainQueue;
    Lifetime m_lifetime;
};

/// `co_await HttpGet(client, request)`: sends the request and goes on with its outcome. Destroying the task
/// cancels the request.
class HttpGet {
public:
    HttpGet(HttpClient& client, HttpRequest request) : m_client(client), m_request(std::move(request)) { }

    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> sequence)
    {
        m_registration = m_client.get(std::move(m_request), [this, sequence](Outcome outcome) {
            m_outcome.emplace(std::move(outcome));
            // The last thing done here: this object ends when the sequence goes on.
            sequence.resume();
        });
    }
    Result<HttpResponse, TransportError> await_resume() { return std::move(*m_outcome); }

private:
    using Outcome = Result<HttpResponse, TransportError>;

    HttpClient& m_client;
    HttpRequest m_request;
    std::optional<Outcome> m_outcome;
    Registration m_registration;
};

} // namespace glimmerwick
