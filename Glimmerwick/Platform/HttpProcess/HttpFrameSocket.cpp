#include "Platform/HttpProcess/HttpFrameSocket.h"

#include <cerrno>
#include <utility>

#include <sys/socket.h>

namespace glimmerwick {

namespace {

constexpr std::size_t pieceSize = 64UL * 1024;

bool isTemporary(int error)
{
    return error == EAGAIN || error == EINTR;
}

} // namespace

HttpFrameSocket::HttpFrameSocket(FileDescriptor socket) : m_socket(std::move(socket)), m_buffer(pieceSize) { }

HttpFrameSocket::Received HttpFrameSocket::receive()
{
    m_received.erase(0, std::exchange(m_consumedSize, 0));
    const auto count = ::recv(m_socket.get(), m_buffer.data(), m_buffer.size(), MSG_DONTWAIT);
    if (count < 0) {
        return isTemporary(errno) ? Received::nothing : Received::end;
    }
    m_received.append(m_buffer.data(), static_cast<std::size_t>(count));
    return count > 0 ? Received::something : Received::end;
}

Result<std::optional<HttpFrame>, NonsensicalBytes> HttpFrameSocket::nextFrame()
{
    const auto decoded = decodeHttpFrame(std::string_view(m_received).substr(m_consumedSize));
    if (!decoded) {
        return Failure{decoded.error()};
    }
    if (!decoded.value()) {
        return std::optional<HttpFrame>();
    }
    m_consumedSize += decoded.value()->size;
    return std::optional(decoded.value()->frame);
}

void HttpFrameSocket::send(const HttpFrame& frame)
{
    m_outgoing = encodeHttpFrame(frame);
    m_sentSize = 0;
}

HttpFrameSocket::Sent HttpFrameSocket::flush()
{
    while (isSending()) {
        const auto count = ::send(m_socket.get(), m_outgoing.data() + m_sentSize,
                                  m_outgoing.size() - m_sentSize, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR) {
            return isTemporary(errno) ? Sent::asMuchAsIsTaken : Sent::toNobody;
        }
        m_sentSize += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return Sent::asMuchAsIsTaken;
}

} // namespace glimmerwick
