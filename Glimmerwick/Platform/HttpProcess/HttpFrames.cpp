#include "Platform/HttpProcess/HttpFrames.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

namespace glimmerwick {

namespace {

/// Of its kind and its length, and the number between them.
constexpr std::size_t headerSize = 2 * sizeof(std::uint32_t) + sizeof(std::uint64_t);

constexpr std::uint8_t absent = 0;
constexpr std::uint8_t present = 1;
constexpr int highestStatusCode = 999;

template <typename Number> void appendNumber(std::string& bytes, Number number)
{
    static_assert(std::is_integral_v<Number>);
    char plain[sizeof number];
    std::memcpy(plain, &number, sizeof number);
    bytes.append(plain, sizeof number);
}

void appendText(std::string& bytes, std::string_view text)
{
    appendNumber(bytes, static_cast<std::uint64_t>(text.size()));
    bytes += text;
}

/// Takes values off the front of bytes. Once one is missing, all that follow are.
class Fields {
public:
    explicit Fields(std::string_view bytes) : m_bytes(bytes) { }

    template <typename Number> Number number()
    {
        Number value = 0;
        const std::string_view bytes = take(sizeof value);
        if (bytes.size() == sizeof value) {
            std::memcpy(&value, bytes.data(), sizeof value);
        }
        return value;
    }

    std::string text() { return std::string(take(number<std::uint64_t>())); }

    bool flag()
    {
        const auto value = number<std::uint8_t>();
        m_isWhole = m_isWhole && (value == absent || value == present);
        return value == present;
    }

    bool isWhole() const { return m_isWhole; }
    /// Whether everything was there, and nothing more.
    bool wereAll() const { return m_isWhole && m_bytes.empty(); }

private:
    std::string_view take(std::uint64_t size)
    {
        m_isWhole = m_isWhole && size <= m_bytes.size();
        if (!m_isWhole) {
            return {};
        }
        const std::string_view taken = m_bytes.substr(0, static_cast<std::size_t>(size));
        m_bytes.remove_prefix(taken.size());
        return taken;
    }

    std::string_view m_bytes;
    bool m_isWhole = true;
};

} // namespace

std::string encodeHttpFrame(const HttpFrame& frame)
{
    std::string bytes;
    bytes.reserve(headerSize + frame.content.size());
    appendNumber(bytes, static_cast<std::uint32_t>(frame.kind));
    appendNumber(bytes, static_cast<std::uint32_t>(frame.content.size()));
    appendNumber(bytes, frame.requestId);
    bytes += frame.content;
    return bytes;
}

Result<std::optional<DecodedHttpFrame>, NonsensicalBytes> decodeHttpFrame(std::string_view bytes)
{
    if (bytes.size() < headerSize) {
        return std::optional<DecodedHttpFrame>();
    }
    Fields header(bytes.substr(0, headerSize));
    const auto kind = header.number<std::uint32_t>();
    const auto length = header.number<std::uint32_t>();
    const auto requestId = header.number<std::uint64_t>();
    const bool isKnown = kind >= static_cast<std::uint32_t>(HttpFrameKind::request)
        && kind <= static_cast<std::uint32_t>(HttpFrameKind::failure);
    if (!isKnown || length > longestHttpFrameContent) {
        return Failure{NonsensicalBytes{}};
    }
    if (bytes.size() - headerSize < length) {
        return std::optional<DecodedHttpFrame>();
    }
    return std::optional(
        DecodedHttpFrame{{static_cast<HttpFrameKind>(kind), requestId, bytes.substr(headerSize, length)},
                         headerSize + length});
}

std::string encodeHttpRequest(const HttpRequest& request)
{
    std::string bytes;
    appendText(bytes, request.url);
    appendNumber(bytes, request.timeout ? present : absent);
    appendNumber(bytes,
                 static_cast<std::int64_t>(request.timeout.value_or(std::chrono::nanoseconds(0)).count()));
    appendNumber(bytes, static_cast<std::uint64_t>(request.maximumBodySize));
    appendNumber(bytes, request.progress ? present : absent);
    appendNumber(bytes, static_cast<std::uint64_t>(request.headers.size()));
    for (const auto& [name, value] : request.headers) {
        appendText(bytes, name);
        appendText(bytes, value);
    }
    return bytes;
}

std::optional<DecodedHttpRequest> decodeHttpRequest(std::string_view content)
{
    Fields fields(content);
    DecodedHttpRequest decoded;
    HttpRequest& request = decoded.request;
    request.url = fields.text();
    const bool hasTimeout = fields.flag();
    const std::chrono::nanoseconds timeout(fields.number<std::int64_t>());
    if (hasTimeout) {
        request.timeout = timeout;
    }
    constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::size_t>::max());
    request.maximumBodySize = static_cast<std::size_t>(std::min(fields.number<std::uint64_t>(), largest));
    decoded.wantsProgress = fields.flag();
    const auto headerCount = fields.number<std::uint64_t>();
    for (std::uint64_t index = 0; index < headerCount && fields.isWhole(); ++index) {
        std::string name = fields.text();
        std::string value = fields.text();
        request.headers.emplace_back(std::move(name), std::move(value));
    }
    return fields.wereAll() ? std::optional(std::move(decoded)) : std::nullopt;
}

std::string encodeHttpAnswerHead(const HttpAnswerHead& head)
{
    std::string bytes;
    appendNumber(bytes, head.statusCode ? present : absent);
    appendNumber(bytes, static_cast<std::int32_t>(head.statusCode.value_or(0)));
    appendNumber(bytes, head.bodySize);
    return bytes;
}

std::optional<HttpAnswerHead> decodeHttpAnswerHead(std::string_view content)
{
    Fields fields(content);
    HttpAnswerHead head;
    const bool hasStatus = fields.flag();
    const int status = fields.number<std::int32_t>();
    if (hasStatus) {
        head.statusCode = status;
    }
    head.bodySize = fields.number<std::uint64_t>();
    const bool makesSense = status >= 0 && status <= highestStatusCode;
    return fields.wereAll() && makesSense ? std::optional(head) : std::nullopt;
}

std::string encodeHttpProgress(std::uint64_t received)
{
    std::string bytes;
    appendNumber(bytes, received);
    return bytes;
}

std::optional<std::uint64_t> decodeHttpProgress(std::string_view content)
{
    Fields fields(content);
    const auto received = fields.number<std::uint64_t>();
    return fields.wereAll() ? std::optional(received) : std::nullopt;
}

} // namespace glimmerwick
