#include "Platform/HttpProcess/HttpRequestServer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

#include <poll.h>

namespace glimmerwick {

HttpRequestServer::HttpRequestServer(HttpClient& client, PollMainQueue& queue, FileDescriptor socket)
    : m_client(client), m_queue(queue), m_socket(std::move(socket))
{
}

void HttpRequestServer::run()
{
    while (serveTurn()) { }
}

/// Whether another one is to follow.
bool HttpRequestServer::serveTurn()
{
    m_queue.runDueWork();
    if (sendFrames() == HttpFrameSocket::Sent::toNobody) {
        return false;
    }
    const auto events = static_cast<short>(m_socket.isSending() ? POLLIN | POLLOUT : POLLIN);
    std::array<pollfd, 2> descriptors{
        {{m_socket.descriptor(), events, 0}, {m_queue.descriptor(), POLLIN, 0}}};
    if (::poll(descriptors.data(), descriptors.size(), m_queue.timeUntilDue()) < 0) {
        return errno == EINTR;
    }
    // Who has gone without reading the answers is not waited for.
    if ((descriptors[0].revents & ~POLLOUT) == 0) {
        return true;
    }
    return m_socket.receive() != HttpFrameSocket::Received::end && takeFrames() == Sense::made;
}

HttpRequestServer::Sense HttpRequestServer::takeFrames()
{
    while (true) {
        const auto frame = m_socket.nextFrame();
        if (!frame) {
            return Sense::none;
        }
        if (!frame.value()) {
            return Sense::made;
        }
        if (take(*frame.value()) == Sense::none) {
            return Sense::none;
        }
    }
}

HttpRequestServer::Sense HttpRequestServer::take(const HttpFrame& frame)
{
    switch (frame.kind) {
    case HttpFrameKind::request:
        return begin(frame.requestId, frame.content);
    case HttpFrameKind::cancellation:
        cancel(frame.requestId);
        return Sense::made;
    default:
        return Sense::none;
    }
}

HttpRequestServer::Sense HttpRequestServer::begin(std::uint64_t requestId, std::string_view content)
{
    auto decoded = decodeHttpRequest(content);
    if (!decoded || m_requests.count(requestId) != 0) {
        return Sense::none;
    }
    if (decoded->wantsProgress) {
        decoded->request.progress = [this, requestId](std::uint64_t received) {
            m_progress[requestId] = received;
        };
    }
    m_requests.emplace(requestId,
                       m_client.get(std::move(decoded->request),
                                    [this, requestId](Result<HttpResponse, TransportError> result) {
                                        m_progress.erase(requestId);
                                        m_answers.push_back({requestId, std::move(result)});
                                        m_requests.erase(requestId);
                                    }));
    return Sense::made;
}

void HttpRequestServer::cancel(std::uint64_t requestId)
{
    m_requests.erase(requestId);
    m_progress.erase(requestId);
    std::erase_if(m_answers, [requestId](const Answer& answer) { return answer.requestId == requestId; });
}

HttpFrameSocket::Sent HttpRequestServer::sendFrames()
{
    do {
        if (m_socket.flush() == HttpFrameSocket::Sent::toNobody) {
            return HttpFrameSocket::Sent::toNobody;
        }
    } while (!m_socket.isSending() && sendNext());
    return HttpFrameSocket::Sent::asMuchAsIsTaken;
}

/// Whether there was something to send.
bool HttpRequestServer::sendNext()
{
    if (!m_progress.empty()) {
        sendProgress();
    } else if (!m_answers.empty()) {
        sendAnswer();
    } else {
        return false;
    }
    return true;
}

void HttpRequestServer::sendProgress()
{
    const auto told = m_progress.extract(m_progress.begin());
    m_socket.send({HttpFrameKind::progress, told.key(), encodeHttpProgress(told.mapped())});
}

void HttpRequestServer::sendAnswer()
{
    Answer& answer = m_answers.front();
    if (!answer.result) {
        const std::string_view description = answer.result.error().description;
        m_socket.send(
            {HttpFrameKind::failure, answer.requestId, description.substr(0, longestHttpFrameContent)});
        m_answers.pop_front();
        return;
    }
    const HttpResponse& response = answer.result.value();
    if (!std::exchange(answer.isHeadSent, true)) {
        m_socket.send({HttpFrameKind::answer, answer.requestId,
                       encodeHttpAnswerHead({response.statusCode, response.body.size()})});
    } else {
        const auto piece = std::string_view(response.body).substr(answer.sentSize, longestHttpFrameContent);
        m_socket.send({HttpFrameKind::bodyPiece, answer.requestId, piece});
        answer.sentSize += piece.size();
    }
    if (answer.sentSize == response.body.size()) {
        m_answers.pop_front();
    }
}

} // namespace glimmerwick
