#include "Platform/HttpProcess/HttpFrames.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <string_view>

namespace glimmerwick::contract {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using namespace std::string_view_literals;

/// As a machine has it in its memory.
template <typename Number> std::string bytesOf(Number number)
{
    std::string bytes(sizeof number, '\0');
    std::memcpy(bytes.data(), &number, sizeof number);
    return bytes;
}

bool isNonsense(std::string_view bytes)
{
    return !decodeHttpFrame(bytes);
}

/// The head of a frame, whatever it says.
std::string head(std::uint32_t kind, std::uint32_t length)
{
    return bytesOf(kind) + bytesOf(length) + bytesOf(std::uint64_t{7});
}

HttpRequest fullRequest()
{
    HttpRequest request;
    request.url = "https://example.invalid/\xF0\x9F\x98\x80?a=b";
    request.headers = {{"Accept-Encoding", "gzip, br"}, {"X-Empty", ""}, {"", "\0\nend"s}};
    request.timeout = 1500ms;
    request.maximumBodySize = 5UL * 1024 * 1024;
    request.progress = [](std::uint64_t) {};
    return request;
}

TEST(HttpFramesTests, aFrameComesBackAsItWasAndWhatFollowsIsLeft)
{
    for (const auto content : {""sv, "x"sv, "with \0 inside"sv}) {
        const std::string frame = encodeHttpFrame({HttpFrameKind::bodyPiece, 1ULL << 60, content});
        const std::string bytes = frame + "what follows";

        const auto decoded = decodeHttpFrame(bytes);

        ASSERT_TRUE(decoded && decoded.value());
        EXPECT_EQ(decoded.value()->size, frame.size());
        EXPECT_EQ(decoded.value()->frame.kind, HttpFrameKind::bodyPiece);
        EXPECT_EQ(decoded.value()->frame.requestId, 1ULL << 60);
        EXPECT_EQ(decoded.value()->frame.content, content);
    }
}

TEST(HttpFramesTests, theBeginningOfAFrameIsNoFrameYet)
{
    const std::string whole = encodeHttpFrame({HttpFrameKind::failure, 3, "why not"});

    for (std::size_t size = 0; size < whole.size(); ++size) {
        const auto decoded = decodeHttpFrame(std::string_view(whole).substr(0, size));
        ASSERT_TRUE(decoded) << size;
        EXPECT_FALSE(decoded.value()) << size;
    }
}

TEST(HttpFramesTests, aFrameMayBeAsLongAsTheLongestAndNoLonger)
{
    const std::string longest =
        encodeHttpFrame({HttpFrameKind::bodyPiece, 1, std::string(longestHttpFrameContent, 'x')});
    const auto decoded = decodeHttpFrame(longest);
    ASSERT_TRUE(decoded && decoded.value());
    EXPECT_EQ(decoded.value()->frame.content.size(), longestHttpFrameContent);

    // Refused by its head alone: nobody waits for the rest.
    EXPECT_TRUE(isNonsense(head(1, longestHttpFrameContent + 1)));
    EXPECT_TRUE(isNonsense(head(1, std::numeric_limits<std::uint32_t>::max())));
}

TEST(HttpFramesTests, kindsThatNobodyKnowsAreNonsense)
{
    for (const std::uint32_t kind : {0U, 7U, 0x100U, std::numeric_limits<std::uint32_t>::max()}) {
        EXPECT_TRUE(isNonsense(head(kind, 0))) << kind;
    }
    for (std::uint32_t kind = 1; kind < 7; ++kind) {
        EXPECT_FALSE(isNonsense(head(kind, 0))) << kind;
    }
}

TEST(HttpFramesTests, whateverIsReadAsAFrameWouldBeWrittenSo)
{
    std::mt19937 random(20261122);
    int frames = 0;
    for (int round = 0; round < 20000; ++round) {
        std::string bytes(random() % 64, '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(random() % 8 == 0 ? random() : random() % 4);
        }
        const auto decoded = decodeHttpFrame(bytes);
        if (decoded && decoded.value()) {
            ++frames;
            EXPECT_EQ(encodeHttpFrame(decoded.value()->frame), bytes.substr(0, decoded.value()->size));
        }
        if (const auto request = decodeHttpRequest(bytes)) {
            EXPECT_LE(request->request.url.size(), bytes.size());
        }
        if (const auto answer = decodeHttpAnswerHead(bytes)) {
            EXPECT_EQ(bytes.size(), encodeHttpAnswerHead(*answer).size());
        }
    }
    EXPECT_GT(frames, 0);
}

TEST(HttpFramesTests, aRequestComesBackAsItWas)
{
    const HttpRequest request = fullRequest();

    const auto decoded = decodeHttpRequest(encodeHttpRequest(request));

    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->request.url, request.url);
    EXPECT_EQ(decoded->request.headers, request.headers);
    EXPECT_EQ(decoded->request.timeout, request.timeout);
    EXPECT_EQ(decoded->request.maximumBodySize, request.maximumBodySize);
    EXPECT_TRUE(decoded->wantsProgress);
    EXPECT_FALSE(decoded->request.progress);
}

TEST(HttpFramesTests, aBareRequestComesBackBare)
{
    const auto decoded = decodeHttpRequest(encodeHttpRequest(HttpRequest{}));

    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->request.url, "");
    EXPECT_TRUE(decoded->request.headers.empty());
    EXPECT_EQ(decoded->request.timeout, std::nullopt);
    EXPECT_EQ(decoded->request.maximumBodySize, HttpRequest{}.maximumBodySize);
    EXPECT_FALSE(decoded->wantsProgress);
}

TEST(HttpFramesTests, aTruncatedOrALongerRequestIsNone)
{
    const std::string whole = encodeHttpRequest(fullRequest());

    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_FALSE(decodeHttpRequest(std::string_view(whole).substr(0, size))) << size;
    }
    EXPECT_FALSE(decodeHttpRequest(whole + "x"));
}

TEST(HttpFramesTests, lengthsAndCountsOfARequestAreNotBelieved)
{
    const auto most = std::numeric_limits<std::uint64_t>::max();
    EXPECT_FALSE(decodeHttpRequest(bytesOf(most) + "http://example.invalid/"));

    std::string manyHeaders = encodeHttpRequest(HttpRequest{});
    manyHeaders.replace(manyHeaders.size() - sizeof most, sizeof most, bytesOf(most));
    EXPECT_FALSE(decodeHttpRequest(manyHeaders));
}

TEST(HttpFramesTests, theHeadOfAnAnswerComesBackAsItWas)
{
    for (const auto& status : {std::optional<int>(), std::optional<int>(200), std::optional<int>(999)}) {
        const auto decoded = decodeHttpAnswerHead(encodeHttpAnswerHead({status, 1ULL << 40}));
        ASSERT_TRUE(decoded);
        EXPECT_EQ(decoded->statusCode, status);
        EXPECT_EQ(decoded->bodySize, 1ULL << 40);
    }
}

TEST(HttpFramesTests, aHeadWithoutSenseIsNone)
{
    EXPECT_FALSE(decodeHttpAnswerHead(encodeHttpAnswerHead({1000, 0})));
    EXPECT_FALSE(decodeHttpAnswerHead(encodeHttpAnswerHead({-1, 0})));
    const std::string whole = encodeHttpAnswerHead({200, 5});
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_FALSE(decodeHttpAnswerHead(std::string_view(whole).substr(0, size))) << size;
    }
    EXPECT_FALSE(decodeHttpAnswerHead(whole + "x"));
    EXPECT_FALSE(decodeHttpAnswerHead("\2" + whole.substr(1)));
}

TEST(HttpFramesTests, progressComesBackAsItWas)
{
    EXPECT_EQ(decodeHttpProgress(encodeHttpProgress(1ULL << 40)), 1ULL << 40);
    EXPECT_EQ(decodeHttpProgress("short"), std::nullopt);
    EXPECT_EQ(decodeHttpProgress("far too long"), std::nullopt);
}

} // namespace
} // namespace glimmerwick::contract
