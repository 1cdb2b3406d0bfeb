#pragma once

#include "Platform/HttpClient.h"
#include "Platform/HttpProcess/HttpFrameSocket.h"
#include "Platform/Linux/PollMainQueue.h"
#include "Platform/Registration.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>

namespace glimmerwick {

/// The program's side: sends the requests that come over a socket and answers there. What an answer needs in
/// memory is its body; how many there are at once is up to who asks.
class HttpRequestServer {
public:
    /// Both must outlive it; the client answers through the queue.
    HttpRequestServer(HttpClient& client, PollMainQueue& queue, FileDescriptor socket);

    /// Serves until the other side has gone or says what makes no sense.
    void run();

private:
    /// An answer on its way.
    struct Answer {
        std::uint64_t requestId = 0;
        Result<HttpResponse, TransportError> result;
        bool isHeadSent = false;
        std::size_t sentSize = 0;
    };

    enum class Sense { made, none };

    bool serveTurn();
    Sense takeFrames();
    Sense take(const HttpFrame& frame);
    Sense begin(std::uint64_t requestId, std::string_view content);
    void cancel(std::uint64_t requestId);
    HttpFrameSocket::Sent sendFrames();
    bool sendNext();
    void sendProgress();
    void sendAnswer();

    HttpClient& m_client;
    PollMainQueue& m_queue;
    HttpFrameSocket m_socket;
    /// What of the request was told last and not yet passed on.
    std::map<std::uint64_t, std::uint64_t> m_progress;
    std::deque<Answer> m_answers;
    /// Ends first: nobody answers what else is gone.
    std::map<std::uint64_t, Registration> m_requests;
};

} // namespace glimmerwick
