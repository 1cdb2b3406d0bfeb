#include "Platform/Linux/SwayConnection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <utility>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace glimmerwick {

namespace {

constexpr std::string_view magic = "i3-ipc";
constexpr std::size_t numberSize = sizeof(std::uint32_t);
constexpr std::size_t headerSize = magic.size() + 2 * numberSize;
/// The longest is the user's configuration.
constexpr std::uint32_t longestText = 4 * 1024 * 1024;
constexpr std::uint32_t eventBit = 0x80000000;

/// Numbers are written as this machine has them in its memory.
std::string bytesOf(std::uint32_t number)
{
    std::array<char, numberSize> bytes{};
    std::memcpy(bytes.data(), &number, numberSize);
    return {bytes.data(), bytes.size()};
}

std::uint32_t numberAt(std::string_view bytes)
{
    std::uint32_t number = 0;
    std::memcpy(&number, bytes.data(), numberSize);
    return number;
}

bool isEvent(SwayMessageType type)
{
    return (static_cast<std::uint32_t>(type) & eventBit) != 0;
}

bool isTemporary(int error)
{
    return error == EINTR || error == EAGAIN;
}

} // namespace

std::optional<SwayConnection> SwayConnection::open(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        return std::nullopt;
    }
    path.copy(address.sun_path, path.size());
    FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // A server whose queue is full counts as none.
    if (!socket
        || ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        return std::nullopt;
    }
    return SwayConnection(std::move(socket));
}

std::optional<std::string> SwayConnection::ask(SwayMessageType type, std::string_view text,
                                               std::chrono::milliseconds timeout, int interrupt)
{
    const Deadline deadline = Clock::now() + timeout;
    std::string message(magic);
    message += bytesOf(static_cast<std::uint32_t>(text.size()));
    message += bytesOf(static_cast<std::uint32_t>(type));
    message += text;
    if (!write(message, deadline, interrupt)) {
        return std::nullopt;
    }
    while (auto received = read(deadline, interrupt)) {
        if (!isEvent(received->type)) {
            return received->type == type ? std::optional(std::move(received->text)) : std::nullopt;
        }
        m_events.push_back(std::move(*received));
    }
    return std::nullopt;
}

std::optional<SwayConnection::Message> SwayConnection::nextEvent(int interrupt)
{
    if (m_events.empty()) {
        auto received = read(std::nullopt, interrupt);
        return received && isEvent(received->type) ? std::move(received) : std::nullopt;
    }
    Message first = std::move(m_events.front());
    m_events.pop_front();
    return first;
}

bool SwayConnection::write(std::string_view bytes, Deadline deadline, int interrupt)
{
    while (!bytes.empty()) {
        const auto written = ::send(m_socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (written >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (!isTemporary(errno)) {
            m_isOpen = false;
            return false;
        } else if (!waitFor(POLLOUT, deadline, interrupt)) {
            return false;
        }
    }
    return true;
}

std::optional<SwayConnection::Message> SwayConnection::read(Deadline deadline, int interrupt)
{
    if (!readBytes(headerSize, deadline, interrupt) || !m_received.starts_with(magic)) {
        return std::nullopt;
    }
    const std::string_view numbers = std::string_view(m_received).substr(magic.size());
    const std::uint32_t size = numberAt(numbers);
    const auto type = static_cast<SwayMessageType>(numberAt(numbers.substr(numberSize)));
    if (size > longestText || !readBytes(headerSize + size, deadline, interrupt)) {
        return std::nullopt;
    }
    Message message{type, m_received.substr(headerSize)};
    m_received.clear();
    return message;
}

/// Until so many are there, and never more.
bool SwayConnection::readBytes(std::size_t count, Deadline deadline, int interrupt)
{
    std::array<char, 4096> buffer{};
    while (m_received.size() < count) {
        const std::size_t wanted = std::min(buffer.size(), count - m_received.size());
        const auto got = ::recv(m_socket.get(), buffer.data(), wanted, 0);
        if (got > 0) {
            m_received.append(buffer.data(), static_cast<std::size_t>(got));
        } else if (got == 0 || !isTemporary(errno)) {
            m_isOpen = false;
            return false;
        } else if (!waitFor(POLLIN, deadline, interrupt)) {
            return false;
        }
    }
    return true;
}

/// False at the deadline and when interrupted.
bool SwayConnection::waitFor(short events, Deadline deadline, int interrupt) const
{
    std::array<pollfd, 2> descriptors{{{m_socket.get(), events, 0}, {interrupt, POLLIN, 0}}};
    while (true) {
        int milliseconds = -1;
        if (deadline) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now()).count();
            milliseconds = static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
        }
        const int ready = ::poll(descriptors.data(), descriptors.size(), milliseconds);
        if (ready > 0) {
            return descriptors[1].revents == 0;
        }
        if (ready == 0 || errno != EINTR) {
            return false;
        }
    }
}

} // namespace glimmerwick
