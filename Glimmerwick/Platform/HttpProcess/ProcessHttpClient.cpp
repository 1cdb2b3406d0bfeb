#include "Platform/HttpProcess/ProcessHttpClient.h"

#include "Platform/HttpListeners.h"
#include "Platform/HttpProcess/HttpFrameSocket.h"
#include "Platform/HttpProcess/HttpFrames.h"
#include "Platform/HttpProcess/HttpProgramProcess.h"
#include "Platform/Linux/WakeDescriptor.h"
#include "Platform/MainQueue.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <limits>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <poll.h>
#include <pthread.h>
#include <unistd.h>

namespace glimmerwick {

namespace {

using namespace std::chrono_literals;
using RequestId = HttpListeners::Id;
using HttpResult = Result<HttpResponse, TransportError>;
using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;

// What the program keeps to by itself.
constexpr std::chrono::seconds defaultTimeout{60};
constexpr int longestTransferInTimeouts = 10;
constexpr std::chrono::nanoseconds longestTimeout = 24h;

constexpr const char* couldNotStart = "The request could not be started.";
constexpr const char* isTooLong = "The request is too long.";
constexpr const char* hasNoRoom = "There is not enough memory for the response.";
constexpr const char* theProgram = "the program for transfers ";

Failure<TransportError> failure(std::string description)
{
    return Failure{TransportError{std::move(description)}};
}

std::vector<std::string> wholeEnvironment()
{
    std::vector<std::string> entries;
    for (char** entry = environ; entry && *entry; ++entry) {
        entries.emplace_back(*entry);
    }
    return entries;
}

/// As people are told.
std::string sentence(std::string text)
{
    text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
    return text + ".";
}

/// Takes progress to the main thread. However long that is busy, a single note waits for it, with the last
/// number.
class ProgressTeller : public std::enable_shared_from_this<ProgressTeller> {
public:
    ProgressTeller(MainQueue& mainQueue, std::weak_ptr<HttpListeners> listeners, RequestId id)
        : m_mainQueue(mainQueue), m_listeners(std::move(listeners)), m_id(id)
    {
    }

    /// Any thread.
    void tell(std::uint64_t received)
    {
        m_received = received;
        if (!m_isOnItsWay.exchange(true)) {
            m_mainQueue.async([self = shared_from_this()] {
                self->m_isOnItsWay = false;
                HttpListeners::tellProgress(self->m_listeners, self->m_id, self->m_received);
            });
        }
    }

private:
    MainQueue& m_mainQueue;
    const std::weak_ptr<HttpListeners> m_listeners;
    const RequestId m_id;
    std::atomic<std::uint64_t> m_received = 0;
    std::atomic<bool> m_isOnItsWay = false;
};

} // namespace

/// The thread and what the main thread hands to it.
class ProcessHttpClient::Worker {
public:
    struct Reports {
        /// Both are called on the worker's thread.
        std::function<void(RequestId, HttpResult)> result;
        std::function<void(const std::string&)> problem;
    };

    Worker(Program program, Reports reports)
        : m_order{std::move(program.file), std::move(program.userAgent), wholeEnvironment()},
          m_idleTime(program.idleTime), m_grace(program.grace), m_reports(std::move(reports))
    {
    }

    ~Worker()
    {
        {
            const std::lock_guard lock(m_mutex);
            m_orders.ending = true;
            m_wake.wake();
        }
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Of the request's progress the worker needs no more than whether it is wanted. Throws std::system_error
    /// when the thread cannot be started.
    void begin(RequestId id, HttpRequest request, std::shared_ptr<ProgressTeller> progress)
    {
        const std::lock_guard lock(m_mutex);
        if (!m_isRunning) {
            if (m_thread.joinable()) {
                m_thread.join();
            }
            m_thread = std::thread([this] { run(); });
            m_isRunning = true;
        }
        m_orders.begin.push_back({id, std::move(request), std::move(progress)});
        m_wake.wake();
    }

    void cancel(RequestId id)
    {
        const std::lock_guard lock(m_mutex);
        if (m_isRunning) {
            m_orders.cancel.push_back(id);
            m_wake.wake();
        }
    }

private:
    struct Beginning {
        RequestId id;
        HttpRequest request;
        std::shared_ptr<ProgressTeller> progress;
    };

    struct Orders {
        std::vector<Beginning> begin;
        std::vector<RequestId> cancel;
        bool ending = false;
    };

    struct Pending {
        HttpRequest request;
        /// Null when nobody wants to know.
        std::shared_ptr<ProgressTeller> progress;
        std::chrono::nanoseconds patience;
        TimePoint lastHeard = Clock::now();
        std::optional<HttpAnswerHead> head = std::nullopt;
        std::string body = {};
    };

    struct RunningProgram {
        explicit RunningProgram(HttpProgramProcess started)
            : process(std::move(started)), socket(process.takeSocket())
        {
        }

        HttpProgramProcess process;
        HttpFrameSocket socket;
    };

    enum class Sense { made, none };

    void run()
    {
        pthread_setname_np(pthread_self(), "http");
        while (true) {
            Orders orders = takeOrders();
            if (orders.ending) {
                break;
            }
            follow(std::move(orders));
            startProgram();
            exchangeFrames();
            if (isOver()) {
                break;
            }
            waitForMore();
        }
        m_program.reset();
        m_pending.clear();
        forgetWhatIsUnsent();
    }

    Orders takeOrders()
    {
        const std::lock_guard lock(m_mutex);
        m_wake.settle();
        const bool isEnding = m_orders.ending;
        Orders orders = std::exchange(m_orders, Orders{});
        m_orders.ending = isEnding;
        return orders;
    }

    void follow(Orders orders)
    {
        for (Beginning& beginning : orders.begin) {
            const auto timeout = std::clamp<std::chrono::nanoseconds>(
                beginning.request.timeout.value_or(defaultTimeout), 0ns, longestTimeout);
            Pending pending{std::move(beginning.request), std::move(beginning.progress),
                            timeout * longestTransferInTimeouts + m_grace};
            m_pending.emplace(beginning.id, std::move(pending));
            m_unsent.insert(beginning.id);
        }
        for (const RequestId id : orders.cancel) {
            if (m_pending.erase(id) > 0) {
                if (m_unsent.erase(id) == 0) {
                    m_cancelled.push_back(id);
                }
                m_lastEnd = Clock::now();
            }
        }
    }

    void startProgram()
    {
        if (m_program || m_pending.empty()) {
            return;
        }
        auto started = HttpProgramProcess::start(m_order);
        if (started) {
            m_program.emplace(std::move(started).value());
        } else {
            failAll("cannot be started: " + started.error(), {});
        }
    }

    void exchangeFrames()
    {
        if (!m_program) {
            return;
        }
        // Before anything is sent: who has ended may have answered before.
        const auto received = m_program->socket.receive();
        if (takeFrames() == Sense::none) {
            m_program.reset();
            failAll("gives answers without sense", {});
        } else if (received == HttpFrameSocket::Received::end
                   || sendFrames() == HttpFrameSocket::Sent::toNobody) {
            const std::string how = m_program->process.end();
            m_program.reset();
            if (!m_pending.empty()) {
                failAll("has ended unexpectedly", " (" + how + ")");
            }
        } else if (received == HttpFrameSocket::Received::nothing && isProgramHanging()) {
            m_program.reset();
            failAll("does not answer", {});
        }
    }

    Sense takeFrames()
    {
        while (true) {
            const auto frame = m_program->socket.nextFrame();
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

    Sense take(const HttpFrame& frame)
    {
        const auto found = m_pending.find(frame.requestId);
        if (found == m_pending.end()) {
            // It may have been cancelled when this was on its way.
            return Sense::made;
        }
        found->second.lastHeard = Clock::now();
        switch (frame.kind) {
        case HttpFrameKind::progress:
            return takeProgress(found->second, frame.content);
        case HttpFrameKind::answer:
            return takeHead(found, frame.content);
        case HttpFrameKind::bodyPiece:
            return takeBodyPiece(found, frame.content);
        case HttpFrameKind::failure:
            finish(found, failure(std::string(frame.content)));
            return Sense::made;
        default:
            return Sense::none;
        }
    }

    static Sense takeProgress(const Pending& pending, std::string_view content)
    {
        const auto received = decodeHttpProgress(content);
        if (!received || !pending.progress || *received > pending.request.maximumBodySize) {
            return Sense::none;
        }
        pending.progress->tell(*received);
        return Sense::made;
    }

    using PendingRequests = std::map<RequestId, Pending>;

    Sense takeHead(PendingRequests::iterator request, std::string_view content)
    {
        Pending& pending = request->second;
        const auto head = decodeHttpAnswerHead(content);
        if (!head || pending.head || head->bodySize > pending.request.maximumBodySize) {
            return Sense::none;
        }
        pending.head = head;
        try {
            pending.body.reserve(static_cast<std::size_t>(head->bodySize));
        } catch (const std::exception&) {
            // There is no room, or a string has no such size.
            finish(request, failure(hasNoRoom));
            return Sense::made;
        }
        finishWhole(request);
        return Sense::made;
    }

    Sense takeBodyPiece(PendingRequests::iterator request, std::string_view content)
    {
        Pending& pending = request->second;
        if (!pending.head || content.empty()
            || content.size() > pending.head->bodySize - pending.body.size()) {
            return Sense::none;
        }
        pending.body += content;
        finishWhole(request);
        return Sense::made;
    }

    void finishWhole(PendingRequests::iterator request)
    {
        Pending& pending = request->second;
        if (pending.body.size() == pending.head->bodySize) {
            finish(request, HttpResponse{pending.head->statusCode, std::move(pending.body)});
        }
    }

    void finish(PendingRequests::iterator request, HttpResult result)
    {
        m_reports.result(request->first, std::move(result));
        m_unsent.erase(request->first);
        m_pending.erase(request);
        m_lastEnd = Clock::now();
        m_toldProblem.clear();
    }

    HttpFrameSocket::Sent sendFrames()
    {
        HttpFrameSocket& socket = m_program->socket;
        do {
            if (socket.flush() == HttpFrameSocket::Sent::toNobody) {
                return HttpFrameSocket::Sent::toNobody;
            }
        } while (!socket.isSending() && sendNext(socket));
        return HttpFrameSocket::Sent::asMuchAsIsTaken;
    }

    /// Whether there was something to send. It is put into its frame only now, so that nothing piles up for a
    /// program that does not read.
    bool sendNext(HttpFrameSocket& socket)
    {
        if (!m_cancelled.empty()) {
            socket.send({HttpFrameKind::cancellation, m_cancelled.back(), {}});
            m_cancelled.pop_back();
            return true;
        }
        if (m_unsent.empty()) {
            return false;
        }
        const auto request = m_pending.find(*m_unsent.begin());
        m_unsent.erase(m_unsent.begin());
        const std::string content = encodeHttpRequest(request->second.request);
        if (content.size() <= longestHttpFrameContent) {
            socket.send({HttpFrameKind::request, request->first, content});
        } else {
            finish(request, failure(isTooLong));
        }
        return true;
    }

    bool isProgramHanging() const
    {
        const auto now = Clock::now();
        return std::any_of(m_pending.begin(), m_pending.end(), [now](const auto& item) {
            return now - item.second.lastHeard >= item.second.patience;
        });
    }

    /// What people and what the log are told differs by the detail.
    void failAll(const std::string& what, const std::string& detail)
    {
        const std::string problem = theProgram + what + detail;
        if (std::exchange(m_toldProblem, problem) != problem) {
            m_reports.problem(problem);
        }
        for (const auto& [id, pending] : m_pending) {
            m_reports.result(id, failure(sentence(theProgram + what)));
        }
        m_pending.clear();
        forgetWhatIsUnsent();
    }

    void forgetWhatIsUnsent()
    {
        m_unsent.clear();
        m_cancelled.clear();
    }

    /// Whether the thread has nothing left to do. From then on another one is started for what comes.
    bool isOver()
    {
        if (!m_pending.empty() || (m_program && Clock::now() < m_lastEnd + m_idleTime)) {
            return false;
        }
        m_program.reset();
        forgetWhatIsUnsent();
        const std::lock_guard lock(m_mutex);
        m_isRunning = !m_orders.begin.empty();
        return !m_isRunning;
    }

    void waitForMore()
    {
        std::array<pollfd, 2> descriptors{{{m_wake.get(), POLLIN, 0}, {-1, 0, 0}}};
        if (m_program) {
            const auto events = static_cast<short>(m_program->socket.isSending() ? POLLIN | POLLOUT : POLLIN);
            descriptors[1] = {m_program->socket.descriptor(), events, 0};
        }
        ::poll(descriptors.data(), descriptors.size(), pollTimeout());
    }

    /// In milliseconds.
    int pollTimeout() const
    {
        TimePoint next = m_pending.empty() ? m_lastEnd + m_idleTime : TimePoint::max();
        for (const auto& [id, pending] : m_pending) {
            next = std::min(next, pending.lastHeard + pending.patience);
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now()).count();
        return static_cast<int>(std::clamp<std::int64_t>(left, 0, std::numeric_limits<int>::max()));
    }

    const HttpProgramProcess::Order m_order;
    const std::chrono::milliseconds m_idleTime;
    const std::chrono::milliseconds m_grace;
    const Reports m_reports;
    WakeDescriptor m_wake;

    std::mutex m_mutex;
    Orders m_orders;
    /// Until the thread ends by itself.
    bool m_isRunning = false;
    std::thread m_thread;

    // The thread's own.
    std::optional<RunningProgram> m_program;
    PendingRequests m_pending;
    std::set<RequestId> m_unsent;
    /// What the program has been sent and is to give up.
    std::vector<RequestId> m_cancelled;
    TimePoint m_lastEnd;
    std::string m_toldProblem;
};

ProcessHttpClient::ProcessHttpClient(MainQueue& mainQueue, Program program, ReportProblem reportProblem)
    : m_mainQueue(mainQueue), m_listeners(std::make_shared<HttpListeners>())
{
    const std::weak_ptr<HttpListeners> listeners(m_listeners);
    const auto report = [&mainQueue, listeners](RequestId id, HttpResult result) {
        mainQueue.async([listeners, id, result = std::move(result)]() mutable {
            HttpListeners::finish(listeners, id, std::move(result));
        });
    };
    const auto tell = [&mainQueue, listeners,
                       reportProblem = std::move(reportProblem)](const std::string& problem) {
        if (reportProblem) {
            mainQueue.async([listeners, reportProblem, problem] {
                if (listeners.lock()) {
                    reportProblem(problem);
                }
            });
        }
    };
    m_worker = std::make_shared<Worker>(std::move(program), Worker::Reports{report, tell});
}

ProcessHttpClient::~ProcessHttpClient() = default;

Registration ProcessHttpClient::get(HttpRequest request, Completion completion)
{
    const bool wantsProgress = request.progress != nullptr;
    const RequestId id = m_listeners->add(std::move(completion), std::exchange(request.progress, nullptr));
    std::shared_ptr<ProgressTeller> progress;
    if (wantsProgress) {
        progress = std::make_shared<ProgressTeller>(m_mainQueue, m_listeners, id);
        // What the caller gave stays on this thread; the other one is given what says that there is
        // something.
        request.progress = [](std::uint64_t) {};
    }
    try {
        m_worker->begin(id, std::move(request), std::move(progress));
    } catch (const std::system_error&) {
        m_mainQueue.async([listeners = std::weak_ptr<HttpListeners>(m_listeners), id] {
            HttpListeners::finish(listeners, id, failure(couldNotStart));
        });
    }
    return Registration([listeners = std::weak_ptr<HttpListeners>(m_listeners),
                         worker = std::weak_ptr<Worker>(m_worker), id] {
        const auto stillWaiting = listeners.lock();
        const auto stillWorking = worker.lock();
        if (stillWaiting && stillWaiting->remove(id) == HttpListeners::Removal::wasWaiting && stillWorking) {
            stillWorking->cancel(id);
        }
    });
}

} // namespace glimmerwick
