#pragma once

#include "Models/Result.h"
#include "Platform/HttpClient.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace glimmerwick {

// What the picker and the program that sends its requests say to each other: frames of a kind, the number of
// the request they are about, and a content of a length. Numbers are as this machine has them in its memory,
// for both sides run on it. Everything here is pure.

enum class HttpFrameKind : std::uint32_t {
    // To the program.
    request = 1,
    cancellation,
    // From it. An answer's head is followed by as much of the body as it says, in pieces.
    progress,
    answer,
    bodyPiece,
    failure,
};

struct HttpFrame {
    HttpFrameKind kind;
    std::uint64_t requestId;
    std::string_view content;
};

/// No frame has a longer content, and none is read that says it has.
constexpr std::size_t longestHttpFrameContent = 64UL * 1024;

/// The bytes are none that this program would send.
struct NonsensicalBytes { };

/// A longer content than the longest is a bug of the caller.
std::string encodeHttpFrame(const HttpFrame& frame);

struct DecodedHttpFrame {
    /// Its content lies within the bytes that were given.
    HttpFrame frame;
    /// Of the whole frame, in bytes.
    std::size_t size = 0;
};

/// The frame that the bytes begin with; nothing when they are only the beginning of one.
Result<std::optional<DecodedHttpFrame>, NonsensicalBytes> decodeHttpFrame(std::string_view bytes);

/// Everything but the function that progress is told to. May be too long for a frame.
std::string encodeHttpRequest(const HttpRequest& request);

struct DecodedHttpRequest {
    HttpRequest request;
    bool wantsProgress = false;
};
std::optional<DecodedHttpRequest> decodeHttpRequest(std::string_view content);

struct HttpAnswerHead {
    std::optional<int> statusCode;
    std::uint64_t bodySize = 0;
};
std::string encodeHttpAnswerHead(const HttpAnswerHead& head);
std::optional<HttpAnswerHead> decodeHttpAnswerHead(std::string_view content);

std::string encodeHttpProgress(std::uint64_t received);
std::optional<std::uint64_t> decodeHttpProgress(std::string_view content);

} // namespace glimmerwick
