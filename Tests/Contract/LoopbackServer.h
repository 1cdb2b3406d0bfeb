#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace glimmerwick::contract {

/// A server that misbehaves as a test tells it to: it takes one connection and hands it to the behaviour, on
/// a thread of its own. Without a behaviour connections are accepted by the system and never answered.
class LoopbackServer {
public:
    /// Sends bytes; false when the other side has gone.
    using Send = std::function<bool(std::string_view)>;
    using Behaviour = std::function<void(const Send&)>;

    explicit LoopbackServer(Behaviour behaviour = nullptr)
        : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* const plainAddress = reinterpret_cast<sockaddr*>(&address);
        if (::bind(m_socket, plainAddress, length) != 0 || ::listen(m_socket, 16) != 0
            || ::getsockname(m_socket, plainAddress, &length) != 0) {
            throw std::runtime_error("no loopback server");
        }
        m_port = ntohs(address.sin_port);
        if (behaviour) {
            m_thread = std::thread([this, behaviour = std::move(behaviour)] { serve(behaviour); });
        }
    }
    ~LoopbackServer()
    {
        // Ends an accept that nobody will answer.
        ::shutdown(m_socket, SHUT_RDWR);
        if (m_thread.joinable()) {
            m_thread.join();
        }
        ::close(m_socket);
    }
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    std::string address() const { return "http://127.0.0.1:" + std::to_string(m_port); }

private:
    void serve(const Behaviour& behaviour) const
    {
        const int connection = ::accept4(m_socket, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0) {
            return;
        }
        char request[4096];
        if (::recv(connection, request, sizeof request, 0) > 0) {
            behaviour([connection](std::string_view bytes) {
                return ::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL) >= 0;
            });
        }
        ::close(connection);
    }

    const int m_socket;
    int m_port = 0;
    std::thread m_thread;
};

} // namespace glimmerwick::contract
