#include "Platform/HttpListeners.h"

#include <utility>

namespace glimmerwick {

HttpListeners::Id HttpListeners::add(Completion completion, Progress progress)
{
    m_listeners.emplace(++m_lastId, Listener{std::move(completion), std::move(progress)});
    return m_lastId;
}

HttpListeners::Removal HttpListeners::remove(Id id)
{
    // What the completion holds may come back here when it is destroyed.
    const auto removed = m_listeners.extract(id);
    return removed ? Removal::wasWaiting : Removal::wasAnswered;
}

void HttpListeners::finish(const std::weak_ptr<HttpListeners>& weak, Id id,
                           Result<HttpResponse, TransportError> result)
{
    const auto listeners = weak.lock();
    if (!listeners) {
        return;
    }
    // Out of the map first: the completion may cancel or start anything, or destroy the client.
    if (const auto item = listeners->m_listeners.extract(id)) {
        item.mapped().completion(std::move(result));
    }
}

void HttpListeners::tellProgress(const std::weak_ptr<HttpListeners>& weak, Id id, std::uint64_t received)
{
    const auto listeners = weak.lock();
    if (!listeners) {
        return;
    }
    const auto found = listeners->m_listeners.find(id);
    if (found != listeners->m_listeners.end() && found->second.progress) {
        // A copy: what is told may cancel the request.
        const Progress progress = found->second.progress;
        progress(received);
    }
}

} // namespace glimmerwick
