#pragma once

#include "Models/Result.h"
#include "Platform/HttpProcess/HttpFrames.h"
#include "Platform/Linux/FileDescriptor.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick {

/// One end of the connection between the picker and the program. Nothing here waits. It holds one frame that
/// goes out and hardly more than one that comes in, whatever the other side does. One thread.
class HttpFrameSocket {
public:
    enum class Received { something, nothing, end };
    enum class Sent { asMuchAsIsTaken, toNobody };

    explicit HttpFrameSocket(FileDescriptor socket);

    int descriptor() const { return m_socket.get(); }

    /// Takes in some of what has come. The end: the other side has gone, and all it said was taken before.
    Received receive();
    /// The next frame of what was taken in; its content is good until the next call of receive. Nothing when
    /// it is not all there yet.
    Result<std::optional<HttpFrame>, NonsensicalBytes> nextFrame();

    /// Whether a part of a frame is still to be sent.
    bool isSending() const { return m_sentSize < m_outgoing.size(); }
    /// Not while another is being sent.
    void send(const HttpFrame& frame);
    Sent flush();

private:
    FileDescriptor m_socket;
    std::vector<char> m_buffer;
    std::string m_received;
    std::size_t m_consumedSize = 0;
    std::string m_outgoing;
    std::size_t m_sentSize = 0;
};

} // namespace glimmerwick
