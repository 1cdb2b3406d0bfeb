#pragma once

#include "Platform/HttpClient.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace glimmerwick {

class HttpListeners;
class MainQueue;

/// Has requests sent by a program that lives only while there is something to transfer, so that what
/// transfers need is in no memory of this process, and what strangers send is unpacked in another one. A
/// thread of its own starts the program with the first request, and ends with it some time after the last.
///
/// The program trusts and goes through what this process's environment named at construction: CURL_CA_BUNDLE
/// or SSL_CERT_FILE, SSL_CERT_DIR, the usual variables for proxies. A program that cannot be started, ends,
/// hangs or says what makes no sense fails every request that waits; the next request starts it anew. A
/// request whose address and headers are longer than 64 KiB together fails. Destroying the client cancels
/// every request, ends the program and returns promptly. The main queue must outlive it. Main thread.
class ProcessHttpClient : public HttpClient {
public:
    struct Program {
        std::filesystem::path file;
        /// Sent with every request, for example "Glimmerwick/1.0".
        std::string userAgent;
        /// Between the end of the last request and the program's. Long enough for what is asked for one after
        /// the other to share a connection.
        std::chrono::milliseconds idleTime{5000};
        /// A program that is silent about a request for so long after the last time-out that it should have
        /// kept hangs.
        std::chrono::milliseconds grace{30000};
    };
    /// Told a line about the program, on the main thread: the same one again only when it worked in between.
    using ReportProblem = std::function<void(std::string_view)>;

    ProcessHttpClient(MainQueue& mainQueue, Program program, ReportProblem reportProblem = nullptr);
    ~ProcessHttpClient() override;

    Registration get(HttpRequest request, Completion completion) override;

private:
    class Worker;

    MainQueue& m_mainQueue;
    std::shared_ptr<HttpListeners> m_listeners;
    std::shared_ptr<Worker> m_worker;
};

} // namespace glimmerwick
