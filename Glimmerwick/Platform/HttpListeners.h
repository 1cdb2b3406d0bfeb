#pragma once

#include "Platform/HttpClient.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>

namespace glimmerwick {

/// Who waits for which answer: the main thread's side of a client whose work is done elsewhere. That side
/// holds it weakly, since a client that is gone has nobody left to tell. Main thread.
class HttpListeners {
public:
    using Id = std::uint64_t;
    using Completion = HttpClient::Completion;
    using Progress = std::function<void(std::uint64_t)>;

    /// The numbers rise and are never given twice.
    Id add(Completion completion, Progress progress);

    enum class Removal { wasWaiting, wasAnswered };
    /// Whoever is removed hears nothing more.
    Removal remove(Id id);

    /// Tells nobody when the client or the listener is gone.
    static void finish(const std::weak_ptr<HttpListeners>& weak, Id id,
                       Result<HttpResponse, TransportError> result);
    static void tellProgress(const std::weak_ptr<HttpListeners>& weak, Id id, std::uint64_t received);

private:
    struct Listener {
        Completion completion;
        Progress progress;
    };

    Id m_lastId = 0;
    std::map<Id, Listener> m_listeners;
};

} // namespace glimmerwick
