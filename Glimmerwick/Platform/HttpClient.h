#pragma once

#include "Models/Result.h"
#include "Platform/Registration.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace glimmerwick {

struct HttpRequest {
    std::string url;
    /// Name and value. An "Accept-Encoding" given here is sent as it stands and the encodings it names are
    /// decoded.
    std::vector<std::pair<std::string, std::string>> headers;
    /// Absent: the client's own default of 60 seconds. No data for this long ends the
    /// request, and so does a transfer that takes ten times as long altogether.
    std::optional<std::chrono::nanoseconds> timeout;
    /// A decoded body above this size fails the request and is not held in memory.
    std::size_t maximumBodySize = 32 * 1024 * 1024;
    /// When set, is told now and then how many decoded bytes of the body have come: on the main thread,
    /// before the completion, and like it never after the handle is destroyed.
    std::function<void(std::uint64_t)> progress;
};

struct HttpResponse {
    /// Absent when what answered was not HTTP (the address has another scheme).
    std::optional<int> statusCode;
    /// Decoded.
    std::string body;
};

/// Nothing usable came back: no connection, no trust, a time-out, too many redirects, too large a body.
struct TransportError {
    /// The readable description people see.
    std::string description;
};

/// Sends GET requests. Redirects are followed (at most 20, never from https to http); certificates are
/// verified.
class HttpClient {
public:
    using Completion = std::function<void(Result<HttpResponse, TransportError>)>;

    virtual ~HttpClient() = default;

    /// Starts the request; the completion runs once, later, on the main thread, never inside this call.
    /// Destroying the handle cancels: the completion then never runs. Main thread.
    virtual Registration get(HttpRequest request, Completion completion) = 0;
};

} // namespace glimmerwick
