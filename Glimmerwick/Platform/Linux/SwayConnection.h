#pragma once

#include "Platform/Linux/FileDescriptor.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace glimmerwick {

/// What the messages of sway's socket are about. Events have the highest bit.
enum class SwayMessageType : std::uint32_t {
    runCommand = 0,
    subscribe = 2,
    getConfig = 9,
    getBindingState = 12,
    workspaceEvent = 0x80000000,
    modeEvent = 0x80000002,
    bindingEvent = 0x80000005,
};

/// A connection to sway's socket. Every wait ends at its deadline, or when the given descriptor becomes
/// readable, which is how another thread ends one. After a failed call nothing works any more. One thread at
/// a time.
class SwayConnection {
public:
    struct Message {
        SwayMessageType type = SwayMessageType::runCommand;
        /// JSON, as sway wrote it.
        std::string text;
    };

    /// Waits for nothing.
    static std::optional<SwayConnection> open(const std::string& path);

    /// Sends a message and gives the text of the answer. Events that come in between are kept. `interrupt` is
    /// a descriptor, or -1.
    std::optional<std::string> ask(SwayMessageType type, std::string_view text,
                                   std::chrono::milliseconds timeout, int interrupt);

    /// False once sway has ended the connection.
    bool isOpen() const { return m_isOpen; }

    /// Waits without end for the next event.
    std::optional<Message> nextEvent(int interrupt);

private:
    using Clock = std::chrono::steady_clock;
    using Deadline = std::optional<Clock::time_point>;

    explicit SwayConnection(FileDescriptor socket) : m_socket(std::move(socket)) { }

    bool write(std::string_view bytes, Deadline deadline, int interrupt);
    std::optional<Message> read(Deadline deadline, int interrupt);
    bool readBytes(std::size_t count, Deadline deadline, int interrupt);
    bool waitFor(short events, Deadline deadline, int interrupt) const;

    FileDescriptor m_socket;
    bool m_isOpen = true;
    std::string m_received;
    std::deque<Message> m_events;
};

} // namespace glimmerwick
