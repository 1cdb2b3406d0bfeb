#include "Platform/Wayland/WaylandTransfers.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>
#include <vector>

namespace glimmerwick {

namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

constexpr auto readersStall = 10s;
constexpr std::size_t largestSize = 64 * 1024 * 1024;
constexpr std::size_t pieceSize = 64 * 1024;
// Each has a descriptor, of which a process may have 1,024, and without one the compositor is lost.
constexpr std::size_t mostTransfers = 64;

bool wouldBlock()
{
    return errno == EAGAIN || errno == EINTR;
}

/// The end of a pipe from which another program's contents come.
class Incoming {
public:
    enum class Status { pending, complete, failed };

    explicit Incoming(int descriptor) : m_descriptor(descriptor) { }
    ~Incoming() { close(m_descriptor); }
    Incoming(const Incoming&) = delete;
    Incoming& operator=(const Incoming&) = delete;

    Status status() const { return m_status; }
    WaylandDisplay::Time lastProgress() const { return m_lastProgress; }
    std::string takeBytes() { return std::move(m_bytes); }

    void takePiece()
    {
        const ssize_t count = read(m_descriptor, m_piece.data(), m_piece.size());
        if (count > 0) {
            m_lastProgress = SteadyClock::now();
            m_bytes.append(m_piece.data(), static_cast<std::size_t>(count));
            if (m_bytes.size() > largestSize) {
                m_status = Status::failed;
            }
        } else if (count == 0) {
            m_status = Status::complete;
        } else if (!wouldBlock()) {
            m_status = Status::failed;
        }
    }

private:
    const int m_descriptor;
    Status m_status = Status::pending;
    WaylandDisplay::Time m_lastProgress = SteadyClock::now();
    std::string m_bytes;
    std::vector<char> m_piece = std::vector<char>(pieceSize);
};

} // namespace

struct WaylandOutgoingTransfers::Transfer {
    int descriptor;
    std::shared_ptr<const std::string> bytes;
    std::size_t written = 0;
    Registration watch;
    Registration stall;
};

WaylandOutgoingTransfers::WaylandOutgoingTransfers(WaylandDisplay& display) : m_display(display) { }

WaylandOutgoingTransfers::~WaylandOutgoingTransfers()
{
    for (const Transfer& transfer : m_transfers) {
        close(transfer.descriptor);
    }
}

bool WaylandOutgoingTransfers::begin(int descriptor, std::shared_ptr<const std::string> bytes)
{
    if (m_transfers.size() >= mostTransfers) {
        close(descriptor);
        return false;
    }
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
    Transfer& transfer = m_transfers.emplace_back(Transfer{descriptor, std::move(bytes), 0, {}, {}});
    transfer.watch = m_display.watch(descriptor, WaylandDisplay::Readiness::writable,
                                     [this, &transfer] { proceed(transfer); });
    transfer.stall = m_display.at(SteadyClock::now() + readersStall, [this, &transfer] { end(transfer); });
    return true;
}

void WaylandOutgoingTransfers::proceed(Transfer& transfer)
{
    const std::size_t size = std::min(pieceSize, transfer.bytes->size() - transfer.written);
    const ssize_t count =
        size > 0 ? write(transfer.descriptor, transfer.bytes->data() + transfer.written, size) : 0;
    if (count < 0 && wouldBlock()) {
        return;
    }
    transfer.written += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    if (count < 0 || transfer.written == transfer.bytes->size()) {
        end(transfer);
        return;
    }
    transfer.stall = m_display.at(SteadyClock::now() + readersStall, [this, &transfer] { end(transfer); });
}

void WaylandOutgoingTransfers::end(Transfer& transfer)
{
    close(transfer.descriptor);
    m_transfers.remove_if([&](const Transfer& candidate) { return &candidate == &transfer; });
}

std::optional<std::string> receiveContents(WaylandDisplay& display, WaylandDataOffer& offer,
                                           const std::string& type, const WaylandPatience& patience)
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        return std::nullopt;
    }
    // This end alone: the other one goes to a program that may not expect it.
    fcntl(ends[0], F_SETFL, O_NONBLOCK);
    Incoming incoming(ends[0]);
    offer.receive(type, ends[1]);
    close(ends[1]);
    const Registration watch =
        display.watch(ends[0], WaylandDisplay::Readiness::readable, [&] { incoming.takePiece(); });
    while (incoming.status() == Incoming::Status::pending) {
        const auto until = std::min(patience.end, incoming.lastProgress() + patience.withoutProgress);
        if (SteadyClock::now() >= until) {
            return std::nullopt;
        }
        display.turn(until);
    }
    // Without a connection nobody was asked, and the pipe only looks as if it had come to its end.
    if (display.isLost()) {
        return std::nullopt;
    }
    return incoming.status() == Incoming::Status::complete ? std::optional(incoming.takeBytes())
                                                           : std::nullopt;
}

} // namespace glimmerwick
