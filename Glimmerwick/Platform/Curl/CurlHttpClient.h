#pragma once

#include "Platform/HttpClient.h"

#include <memory>
#include <string>

namespace glimmerwick {

class HttpListeners;
class MainQueue;

/// Sends requests with libcurl from one thread, which starts with the first request.
///
/// Certificates are checked against the file that CURL_CA_BUNDLE or SSL_CERT_FILE names, else against the
/// system's; both are read once, at construction, and so is SSL_CERT_DIR. Proxies come from the usual
/// environment variables. Destroying the client cancels every request and returns promptly. The main queue
/// must outlive it. Main thread.
class CurlHttpClient : public HttpClient {
public:
    /// The user agent is sent with every request, for example "Glimmerwick/1.0".
    CurlHttpClient(MainQueue& mainQueue, std::string userAgent);
    ~CurlHttpClient() override;

    Registration get(HttpRequest request, Completion completion) override;

private:
    class Worker;

    MainQueue& m_mainQueue;
    std::shared_ptr<HttpListeners> m_listeners;
    std::shared_ptr<Worker> m_worker;
};

} // namespace glimmerwick
