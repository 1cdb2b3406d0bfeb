#include "Platform/Linux/StandardOutputLog.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>

namespace glimmerwick {

namespace {

/// Writing to a pipe without reader raises SIGPIPE in the writing thread; blocked there, only the error
/// remains.
void blockBrokenPipeSignal()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

bool isOpen(int descriptor)
{
    return ::fcntl(descriptor, F_GETFD) != -1;
}

} // namespace

/// The thread's side. The thread shares it, since a thread that is stuck in a write is left behind.
class StandardOutputLog::Writer {
public:
    // A descriptor that is closed now may become anything that the process opens later; nothing is written
    // there.
    Writer(int output, int diagnostics)
        : m_output(isOpen(output) ? output : -1), m_diagnostics(isOpen(diagnostics) ? diagnostics : -1),
          m_endEvent(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    {
    }
    ~Writer()
    {
        if (m_endEvent >= 0) {
            ::close(m_endEvent);
        }
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    static void start(const std::shared_ptr<Writer>& writer)
    {
        writer->m_thread = std::thread([writer] {
            pthread_setname_np(pthread_self(), "log");
            blockBrokenPipeSignal();
            writer->run();
        });
    }

    void add(std::string_view line)
    {
        const std::lock_guard lock(m_mutex);
        if (m_waitingBytes + line.size() > maximumWaitingBytes) {
            ++m_droppedLines;
            return;
        }
        m_lines.emplace_back(line);
        m_waitingBytes += line.size();
        m_changed.notify_all();
    }

    void end()
    {
        std::unique_lock lock(m_mutex);
        m_ending = true;
        m_deadline = std::chrono::steady_clock::now() + patienceAtEnd;
        m_changed.notify_all();
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = ::write(m_endEvent, &one, sizeof one);

        // Other writers of the same pipe may take the room between poll and write, which then blocks after
        // all.
        constexpr auto scheduling = std::chrono::milliseconds(100);
        const bool finished =
            m_changed.wait_until(lock, m_deadline + scheduling, [this] { return m_finished; });
        lock.unlock();
        if (finished) {
            m_thread.join();
        } else {
            m_thread.detach();
        }
    }

private:
    enum class Delivery { written, lost, outOfPatience };

    void run()
    {
        while (waitForLine()) {
            const Delivery delivery = deliver(m_current);
            finishLine(delivery);
            if (delivery == Delivery::outOfPatience) {
                break;
            }
        }
        const std::lock_guard lock(m_mutex);
        m_droppedLines += m_lines.size();
        m_lines.clear();
        reportDroppedLines();
        m_finished = true;
        m_changed.notify_all();
    }

    /// Makes the oldest line the current one; its bytes count as waiting until it is written. False: the end.
    bool waitForLine()
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_ending || !m_lines.empty(); });
        if (m_lines.empty()) {
            return false;
        }
        m_current = std::move(m_lines.front());
        m_lines.pop_front();
        return true;
    }

    void finishLine(Delivery delivery)
    {
        const std::lock_guard lock(m_mutex);
        m_waitingBytes -= m_current.size();
        if (delivery == Delivery::written) {
            reportDroppedLines();
        } else {
            ++m_droppedLines;
        }
    }

    Delivery deliver(const std::string& line)
    {
        std::string text = (m_isInsideLine ? "\n" : "") + line + "\n";
        std::string_view rest = text;
        while (!rest.empty()) {
            if (!waitUntilWritable()) {
                return Delivery::outOfPatience;
            }
            // A pipe that poll calls writable takes this much without blocking.
            const ssize_t count =
                ::write(m_output, rest.data(), std::min<std::size_t>(rest.size(), PIPE_BUF));
            if (count >= 0) {
                rest.remove_prefix(static_cast<std::size_t>(count));
                m_isInsideLine = !rest.empty();
            } else if (errno != EINTR && errno != EAGAIN) {
                return Delivery::lost;
            }
        }
        return Delivery::written;
    }

    /// False when the reader has not caught up in the time that is left at the end.
    bool waitUntilWritable()
    {
        while (m_output >= 0) {
            const auto patience = patienceLeft();
            pollfd descriptors[] = {{m_output, POLLOUT, 0}, {m_endEvent, POLLIN, 0}};
            const nfds_t count = patience ? 1 : 2;
            const int ready = ::poll(descriptors, count, patience ? static_cast<int>(patience->count()) : -1);
            // What is wrong with the descriptor the write will tell.
            if (ready > 0 && descriptors[0].revents != 0) {
                return true;
            }
            if (ready == 0) {
                return false;
            }
        }
        return true;
    }

    /// Nothing as long as there is no end in sight.
    std::optional<std::chrono::milliseconds> patienceLeft()
    {
        const std::lock_guard lock(m_mutex);
        if (!m_ending) {
            return std::nullopt;
        }
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(m_deadline - std::chrono::steady_clock::now());
        return std::max(left, std::chrono::milliseconds(0));
    }

    /// Needs the lock. Says nothing yet while the diagnostics' reader stalls too.
    void reportDroppedLines()
    {
        pollfd descriptor{m_diagnostics, POLLOUT, 0};
        if (m_droppedLines == 0 || ::poll(&descriptor, 1, 0) <= 0) {
            return;
        }
        const std::string text = "glimmerwick: " + std::to_string(m_droppedLines)
            + " log lines were dropped because standard output did not take them\n";
        [[maybe_unused]] const ssize_t written = ::write(m_diagnostics, text.data(), text.size());
        m_droppedLines = 0;
    }

    const int m_output;
    const int m_diagnostics;
    /// Ends the thread's poll when the log ends.
    const int m_endEvent;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::string> m_lines;
    std::size_t m_waitingBytes = 0;
    std::uint64_t m_droppedLines = 0;
    bool m_ending = false;
    bool m_finished = false;
    std::chrono::steady_clock::time_point m_deadline;

    /// The thread's own.
    std::string m_current;
    bool m_isInsideLine = false;

    std::thread m_thread;
};

StandardOutputLog::StandardOutputLog(int output, int diagnostics)
    : m_writer(std::make_shared<Writer>(output, diagnostics))
{
    Writer::start(m_writer);
}

StandardOutputLog::~StandardOutputLog()
{
    m_writer->end();
}

void StandardOutputLog::write(std::string_view line)
{
    m_writer->add(line);
}

} // namespace glimmerwick
