#include "Platform/Curl/CurlHttpClient.h"

#include "Platform/HttpListeners.h"
#include "Platform/MainQueue.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <limits>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <pthread.h>
#include <strings.h>

namespace glimmerwick {

namespace {

using RequestId = HttpListeners::Id;
using HttpResult = Result<HttpResponse, TransportError>;
using TimePoint = std::chrono::steady_clock::time_point;

constexpr std::chrono::seconds defaultTimeout{60};

// A server that sends a byte now and then keeps the time-out from falling due. Nobody waits for it longer
// than this many time-outs altogether.
constexpr int longestTransferInTimeouts = 10;
constexpr int maximumRedirects = 20;
constexpr const char* couldNotStart = "The request could not be started.";
/// libcurl keeps every header line of a response; this is far more than any server needs.
constexpr std::size_t maximumHeaderSize = 256 * 1024;
/// More often than this nobody sees a progress bar move.
constexpr std::chrono::milliseconds progressInterval{100};

struct MultiDeleter {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};
struct EasyDeleter {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct ListDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
struct UrlDeleter {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
struct TextDeleter {
    void operator()(char* text) const { curl_free(text); }
};
using MultiHandle = std::unique_ptr<CURLM, MultiDeleter>;
using EasyHandle = std::unique_ptr<CURL, EasyDeleter>;
using HeaderList = std::unique_ptr<curl_slist, ListDeleter>;
using UrlHandle = std::unique_ptr<CURLU, UrlDeleter>;
using CurlText = std::unique_ptr<char, TextDeleter>;

Failure<TransportError> failure(std::string description)
{
    return Failure{TransportError{std::move(description)}};
}

enum class Scheme { http, https, other };

Scheme schemeOf(const std::string& address)
{
    const std::string scheme = address.substr(0, std::min(address.find(':'), address.size()));
    if (strcasecmp(scheme.c_str(), "https") == 0) {
        return Scheme::https;
    }
    return strcasecmp(scheme.c_str(), "http") == 0 ? Scheme::http : Scheme::other;
}

bool isWellFormed(const std::string& address)
{
    const UrlHandle url(curl_url());
    return url && curl_url_set(url.get(), CURLUPART_URL, address.c_str(), 0) == CURLUE_OK;
}

/// Where libcurl is to look for trusted authorities; empty: where it looks by itself.
struct TrustedAuthorities {
    std::string file;
    std::string folder;
};

/// libcurl leaves these variables to its users.
TrustedAuthorities trustedAuthoritiesFromEnvironment()
{
    const auto value = [](const char* name) {
        const char* text = std::getenv(name);
        return std::string(text ? text : "");
    };
    TrustedAuthorities authorities{value("CURL_CA_BUNDLE"), value("SSL_CERT_DIR")};
    if (authorities.file.empty()) {
        authorities.file = value("SSL_CERT_FILE");
    }
    return authorities;
}

/// The sort of an option's value is known to libcurl alone; a refused one means that memory ran out or that
/// this program is wrong, and the request must not go out without it.
template <typename Value> void setOption(CURL* easy, CURLoption option, Value value)
{
    if (curl_easy_setopt(easy, option, value) != CURLE_OK) {
        throw std::bad_alloc();
    }
}

/// One request under way, over all its redirects. Belongs to the client's thread.
class Transfer {
public:
    /// The request's progress is called on the client's thread.
    Transfer(RequestId id, HttpRequest request, const std::string& userAgent,
             const TrustedAuthorities& authorities)
        : m_id(id), m_request(std::move(request)), m_address(m_request.url),
          m_timeout(m_request.timeout.value_or(defaultTimeout)), m_easy(curl_easy_init())
    {
        if (!m_easy) {
            throw std::bad_alloc();
        }
        setConnectionOptions(userAgent, authorities);
        setHeaders();
        setCallbacks();
        beginHop();
    }
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    RequestId id() const { return m_id; }
    CURL* easy() const { return m_easy.get(); }
    TimePoint deadline() const
    {
        return std::min(after(m_lastActivity, 1), after(m_start, longestTransferInTimeouts));
    }

    /// What came of this hop; nothing when the transfer is to be performed again, at its next address.
    std::optional<HttpResult> finishHop(CURLcode code)
    {
        if (code != CURLE_OK) {
            return failure(describe(code));
        }
        long status = 0;
        curl_easy_getinfo(easy(), CURLINFO_RESPONSE_CODE, &status);
        char* next = nullptr;
        curl_easy_getinfo(easy(), CURLINFO_REDIRECT_URL, &next);
        if (!next || !isRedirect(status)) {
            return HttpResponse{static_cast<int>(status), std::move(m_body)};
        }
        return redirect(next);
    }

private:
    // libcurl could follow by itself, but its rules are the same for every hop: it cannot allow a step up to
    // https and then refuse the step down again.
    std::optional<HttpResult> redirect(std::string address)
    {
        const Scheme scheme = schemeOf(address);
        if (++m_redirects > maximumRedirects) {
            return failure("Too many redirects.");
        }
        if (scheme == Scheme::other) {
            return failure("The server redirected to an address that is not HTTP.");
        }
        if (scheme == Scheme::http && schemeOf(m_address) == Scheme::https) {
            return failure("The server redirected from a secure to an insecure address.");
        }
        m_address = std::move(address);
        beginHop();
        return std::nullopt;
    }

    static bool isRedirect(long status)
    {
        constexpr std::array<long, 5> statuses{301, 302, 303, 307, 308};
        return std::find(statuses.begin(), statuses.end(), status) != statuses.end();
    }

    void setConnectionOptions(const std::string& userAgent, const TrustedAuthorities& authorities)
    {
        setOption(easy(), CURLOPT_NOSIGNAL, 1L);
        setOption(easy(), CURLOPT_PROTOCOLS_STR, "http,https");
        setOption(easy(), CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
        // A connection that is still being made may turn out to carry this transfer too.
        setOption(easy(), CURLOPT_PIPEWAIT, 1L);
        setOption(easy(), CURLOPT_USERAGENT, userAgent.c_str());
        setOption(easy(), CURLOPT_ERRORBUFFER, m_errorText.data());
        if (!authorities.file.empty()) {
            setOption(easy(), CURLOPT_CAINFO, authorities.file.c_str());
        }
        if (!authorities.folder.empty()) {
            setOption(easy(), CURLOPT_CAPATH, authorities.folder.c_str());
        }
        // A name look-up cannot be interrupted; without this, cancelling would wait for it.
        setOption(easy(), CURLOPT_QUICK_EXIT, 1L);
        // The deadline below ends connecting too; this only keeps libcurl's own limit from being shorter.
        setOption(easy(), CURLOPT_CONNECTTIMEOUT_MS, std::numeric_limits<std::int32_t>::max() / 2L);
        setOption(easy(), CURLOPT_MAXFILESIZE_LARGE, largestContentLength());
    }

    curl_off_t largestContentLength() const
    {
        constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<curl_off_t>::max());
        return static_cast<curl_off_t>(std::min<std::uint64_t>(m_request.maximumBodySize, largest));
    }

    void setHeaders()
    {
        for (const auto& [name, value] : m_request.headers) {
            if (strcasecmp(name.c_str(), "Accept-Encoding") == 0) {
                setOption(easy(), CURLOPT_ACCEPT_ENCODING, value.c_str());
                continue;
            }
            // The form with a semicolon is how libcurl is told of a header without value.
            std::string line = name;
            line += value.empty() ? ";" : ": ";
            line += value;
            curl_slist* const extended = curl_slist_append(m_headers.get(), line.c_str());
            if (!extended) {
                throw std::bad_alloc();
            }
            static_cast<void>(m_headers.release());
            m_headers.reset(extended);
        }
        setOption(easy(), CURLOPT_HTTPHEADER, m_headers.get());
    }

    void setCallbacks()
    {
        setOption(easy(), CURLOPT_PRIVATE, static_cast<void*>(this));
        setOption(easy(), CURLOPT_WRITEDATA, static_cast<void*>(this));
        setOption(easy(), CURLOPT_WRITEFUNCTION, &Transfer::takeBody);
        setOption(easy(), CURLOPT_HEADERDATA, static_cast<void*>(this));
        setOption(easy(), CURLOPT_HEADERFUNCTION, &Transfer::takeHeader);
        setOption(easy(), CURLOPT_XFERINFODATA, static_cast<void*>(this));
        setOption(easy(), CURLOPT_XFERINFOFUNCTION, &Transfer::watchProgress);
        setOption(easy(), CURLOPT_NOPROGRESS, 0L);
    }

    void beginHop()
    {
        setOption(easy(), CURLOPT_URL, m_address.c_str());
        m_body.clear();
        m_headerSize = 0;
        m_receivedBytes = 0;
        m_refusal.clear();
        m_errorText.front() = '\0';
        m_lastActivity = std::chrono::steady_clock::now();
    }

    std::string describe(CURLcode code) const
    {
        if (!m_refusal.empty()) {
            return m_refusal;
        }
        switch (code) {
        case CURLE_FILESIZE_EXCEEDED:
            return describeTooLargeBody();
        case CURLE_OPERATION_TIMEDOUT:
            return "The request timed out.";
        default:
            return m_errorText.front() != '\0' ? m_errorText.data() : curl_easy_strerror(code);
        }
    }

    std::string describeTooLargeBody() const
    {
        return "The response is larger than " + std::to_string(m_request.maximumBodySize) + " bytes.";
    }

    static std::size_t takeBody(char* bytes, std::size_t, std::size_t count, void* data)
    {
        return static_cast<Transfer*>(data)->appendBody(std::string_view(bytes, count));
    }

    std::size_t appendBody(std::string_view bytes)
    {
        m_lastActivity = std::chrono::steady_clock::now();
        // The bytes are decoded already, so a small body that unpacks to a large one ends here as well.
        if (bytes.size() > m_request.maximumBodySize - m_body.size()) {
            m_refusal = describeTooLargeBody();
            m_body = std::string();
            return 0;
        }
        m_body.append(bytes);
        if (m_request.progress && m_lastActivity >= m_nextProgress) {
            m_nextProgress = m_lastActivity + progressInterval;
            m_request.progress(m_body.size());
        }
        return bytes.size();
    }

    /// That many time-outs later, or the end of time.
    TimePoint after(TimePoint start, int timeouts) const
    {
        const auto room = std::chrono::duration_cast<std::chrono::nanoseconds>(TimePoint::max() - start);
        return start + (m_timeout > room / timeouts ? room : m_timeout * timeouts);
    }

    static std::size_t takeHeader(char*, std::size_t, std::size_t count, void* data)
    {
        auto& transfer = *static_cast<Transfer*>(data);
        transfer.m_lastActivity = std::chrono::steady_clock::now();
        transfer.m_headerSize += count;
        if (transfer.m_headerSize > maximumHeaderSize) {
            transfer.m_refusal = "The response's headers are too large.";
            return 0;
        }
        return count;
    }

    /// Sees bytes as they arrive, where the others see only what has been decoded.
    static int watchProgress(void* data, curl_off_t, curl_off_t received, curl_off_t, curl_off_t)
    {
        auto& transfer = *static_cast<Transfer*>(data);
        if (std::exchange(transfer.m_receivedBytes, received) != received) {
            transfer.m_lastActivity = std::chrono::steady_clock::now();
        }
        return 0;
    }

    const RequestId m_id;
    const HttpRequest m_request;
    std::string m_address;
    const std::chrono::nanoseconds m_timeout;
    const TimePoint m_start = std::chrono::steady_clock::now();
    int m_redirects = 0;

    std::string m_body;
    std::size_t m_headerSize = 0;
    curl_off_t m_receivedBytes = 0;
    /// Why a callback of ours broke the transfer off.
    std::string m_refusal;
    std::array<char, CURL_ERROR_SIZE> m_errorText{};
    TimePoint m_lastActivity;
    TimePoint m_nextProgress = TimePoint::min();

    HeaderList m_headers;
    /// Uses the members above, so it ends before them.
    EasyHandle m_easy;
};

} // namespace

/// The thread and what the main thread hands to it.
class CurlHttpClient::Worker {
public:
    using Report = std::function<void(RequestId, HttpResult)>;

    /// The report is called on the worker's thread.
    Worker(std::string userAgent, Report report)
        : m_userAgent(std::move(userAgent)), m_authorities(trustedAuthoritiesFromEnvironment()),
          m_report(std::move(report))
    {
    }

    ~Worker()
    {
        {
            const std::lock_guard lock(m_mutex);
            m_orders.ending = true;
            wake();
        }
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Throws std::system_error when the thread cannot be started or could not start its work.
    void begin(RequestId id, HttpRequest request)
    {
        const std::lock_guard lock(m_mutex);
        if (m_orders.ending) {
            throw std::system_error(std::make_error_code(std::errc::not_enough_memory));
        }
        if (!m_thread.joinable()) {
            m_thread = std::thread([this] { run(); });
        }
        m_orders.begin.emplace_back(id, std::move(request));
        wake();
    }

    void cancel(RequestId id)
    {
        const std::lock_guard lock(m_mutex);
        if (m_thread.joinable()) {
            m_orders.cancel.push_back(id);
            wake();
        }
    }

private:
    struct Orders {
        std::vector<std::pair<RequestId, HttpRequest>> begin;
        std::vector<RequestId> cancel;
        bool ending = false;
    };

    /// Needs the lock.
    void wake()
    {
        if (m_multi) {
            curl_multi_wakeup(m_multi.get());
        }
    }

    void run()
    {
        pthread_setname_np(pthread_self(), "http");
        blockBrokenPipeSignal();
        initialiseLibrary();
        if (!makeMulti()) {
            return;
        }
        while (true) {
            Orders orders = takeOrders();
            if (orders.ending) {
                break;
            }
            follow(std::move(orders));
            int running = 0;
            curl_multi_perform(m_multi.get(), &running);
            finishEndedTransfers();
            endOverdueTransfers();
            curl_multi_poll(m_multi.get(), nullptr, 0, pollTimeout(), nullptr);
        }

        while (!m_transfers.empty()) {
            remove(m_transfers.begin());
        }
        const std::lock_guard lock(m_mutex);
        m_multi.reset();
    }

    /// When false, no request can be served, and nobody is told to wait for one.
    bool makeMulti()
    {
        const std::lock_guard lock(m_mutex);
        m_multi.reset(curl_multi_init());
        if (!m_multi) {
            m_orders.ending = true;
            for (const auto& [id, request] : m_orders.begin) {
                m_report(id, failure(couldNotStart));
            }
        }
        return m_multi != nullptr;
    }

    /// libcurl is told to leave signals alone, so a connection that breaks while it is written to would raise
    /// one.
    static void blockBrokenPipeSignal()
    {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    }

    static void initialiseLibrary()
    {
        static std::once_flag once;
        std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    }

    Orders takeOrders()
    {
        const std::lock_guard lock(m_mutex);
        Orders orders = std::exchange(m_orders, Orders{});
        return orders;
    }

    void follow(Orders orders)
    {
        const std::set<RequestId> cancelled(orders.cancel.begin(), orders.cancel.end());
        for (auto& [id, request] : orders.begin) {
            if (cancelled.count(id) == 0) {
                start(id, std::move(request));
            }
        }
        for (const RequestId id : cancelled) {
            if (const auto found = m_transfers.find(id); found != m_transfers.end()) {
                remove(found);
            }
        }
    }

    void start(RequestId id, HttpRequest request)
    {
        try {
            auto transfer = std::make_unique<Transfer>(id, std::move(request), m_userAgent, m_authorities);
            if (curl_multi_add_handle(m_multi.get(), transfer->easy()) == CURLM_OK) {
                m_transfers.emplace(id, std::move(transfer));
                return;
            }
        } catch (const std::bad_alloc&) {
        }
        m_report(id, failure(couldNotStart));
    }

    using Transfers = std::map<RequestId, std::unique_ptr<Transfer>>;

    Transfers::iterator remove(Transfers::iterator transfer)
    {
        curl_multi_remove_handle(m_multi.get(), transfer->second->easy());
        return m_transfers.erase(transfer);
    }

    void finishEndedTransfers()
    {
        int left = 0;
        while (const CURLMsg* message = curl_multi_info_read(m_multi.get(), &left)) {
            if (message->msg != CURLMSG_DONE) {
                continue;
            }
            // Removing the handle takes the message away.
            const CURLcode code = message->data.result;
            void* data = nullptr;
            curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &data);
            finishHop(*static_cast<Transfer*>(data), code);
        }
    }

    void finishHop(Transfer& transfer, CURLcode code)
    {
        const RequestId id = transfer.id();
        std::optional<HttpResult> result = transfer.finishHop(code);
        curl_multi_remove_handle(m_multi.get(), transfer.easy());
        if (!result && curl_multi_add_handle(m_multi.get(), transfer.easy()) == CURLM_OK) {
            return;
        }
        m_transfers.erase(id);
        m_report(id, result ? std::move(*result) : failure("The redirect could not be followed."));
    }

    void endOverdueTransfers()
    {
        const TimePoint now = std::chrono::steady_clock::now();
        for (auto transfer = m_transfers.begin(); transfer != m_transfers.end();) {
            if (transfer->second->deadline() > now) {
                ++transfer;
                continue;
            }
            const RequestId id = transfer->first;
            transfer = remove(transfer);
            m_report(id, failure("The request timed out."));
        }
    }

    /// In milliseconds. libcurl wakes earlier for its own purposes.
    int pollTimeout() const
    {
        std::chrono::milliseconds timeout = std::chrono::hours(1);
        for (const auto& [id, transfer] : m_transfers) {
            timeout = std::min(timeout,
                               std::chrono::ceil<std::chrono::milliseconds>(
                                   transfer->deadline() - std::chrono::steady_clock::now()));
        }
        return static_cast<int>(std::max<std::int64_t>(timeout.count(), 0));
    }

    const std::string m_userAgent;
    const TrustedAuthorities m_authorities;
    const Report m_report;

    std::mutex m_mutex;
    Orders m_orders;
    /// Made and ended by the thread; others only wake it, with the lock.
    MultiHandle m_multi;
    std::thread m_thread;

    /// The thread's own.
    Transfers m_transfers;
};

CurlHttpClient::CurlHttpClient(MainQueue& mainQueue, std::string userAgent)
    : m_mainQueue(mainQueue), m_listeners(std::make_shared<HttpListeners>()),
      m_worker(std::make_shared<Worker>(std::move(userAgent),
                                        [&mainQueue, listeners = std::weak_ptr<HttpListeners>(m_listeners)](
                                            RequestId id, HttpResult result) {
                                            mainQueue.async(
                                                [listeners, id, result = std::move(result)]() mutable {
                                                    HttpListeners::finish(listeners, id, std::move(result));
                                                });
                                        }))
{
}

CurlHttpClient::~CurlHttpClient() = default;

Registration CurlHttpClient::get(HttpRequest request, Completion completion)
{
    const auto progress = std::exchange(request.progress, nullptr);
    const RequestId id = m_listeners->add(std::move(completion), progress);
    const std::weak_ptr<HttpListeners> listeners(m_listeners);
    const auto answerLater = [this, listeners, id](HttpResult result) {
        m_mainQueue.async([listeners, id, result = std::move(result)]() mutable {
            HttpListeners::finish(listeners, id, std::move(result));
        });
    };
    if (progress) {
        // What the caller gave stays on this thread; the other one is given what sends there.
        request.progress = [&mainQueue = m_mainQueue, listeners, id](std::uint64_t received) {
            mainQueue.async(
                [listeners, id, received] { HttpListeners::tellProgress(listeners, id, received); });
        };
    }

    if (schemeOf(request.url) == Scheme::other) {
        answerLater(HttpResponse{});
    } else if (!isWellFormed(request.url)) {
        answerLater(failure("The address is not valid."));
    } else {
        try {
            m_worker->begin(id, std::move(request));
        } catch (const std::system_error&) {
            answerLater(failure(couldNotStart));
        }
    }

    return Registration([listeners, worker = std::weak_ptr<Worker>(m_worker), id] {
        const auto stillWaiting = listeners.lock();
        const auto stillWorking = worker.lock();
        if (stillWaiting && stillWaiting->remove(id) == HttpListeners::Removal::wasWaiting && stillWorking) {
            stillWorking->cancel(id);
        }
    });
}

} // namespace glimmerwick
