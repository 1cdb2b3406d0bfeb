#include "Platform/Curl/CurlHttpClient.h"

#include "Contract/EventLoop.h"
#include "Contract/LoopbackServer.h"
#include "Contract/TestServer.h"
#include "Fakes/FakeServices.h"
#include "Fakes/FakeTime.h"
#include "Platform/HttpProcess/ProcessHttpClient.h"
#include "Platform/Qt/QtMainQueue.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QThread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick::contract {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using HttpResult = Result<HttpResponse, TransportError>;

const std::pair<std::string, std::string> acceptEncoding{"Accept-Encoding", "gzip, deflate, br"};

class FakeSubject {
public:
    FakeSubject()
    {
        client->respond = [](const HttpRequest&) -> HttpResult { return HttpResponse{200, "arrived"}; };
    }
    std::string address() const { return "http://example.invalid/"; }
    bool runUntil(const std::function<bool()>& condition)
    {
        return eventually(condition, [this] { m_time.advance(1ms); });
    }

private:
    fakes::FakeTime m_time;

public:
    std::unique_ptr<fakes::FakeHttpClient> client = std::make_unique<fakes::FakeHttpClient>(m_time);
};

enum class RealClient { inThisProcess, inAnother };

std::unique_ptr<HttpClient> makeRealClient(RealClient which, MainQueue& queue)
{
    if (which == RealClient::inThisProcess) {
        return std::make_unique<CurlHttpClient>(queue, "Glimmerwick/test");
    }
    return std::make_unique<ProcessHttpClient>(
        queue, ProcessHttpClient::Program{GLIMMERWICK_HTTP_PROGRAM, "Glimmerwick/test"});
}

template <RealClient which> class RealSubject {
public:
    std::string address() const { return fromRunner("GLIMMERWICK_TEST_HTTP") + "/redirects/0"; }
    bool runUntil(const std::function<bool()>& condition) { return handleEventsUntil(condition); }

private:
    QtMainQueue m_queue;

public:
    std::unique_ptr<HttpClient> client = makeRealClient(which, m_queue);
};

template <typename Subject> class HttpClientContract : public ::testing::Test {
protected:
    HttpRequest request() const
    {
        HttpRequest result;
        result.url = subject.address();
        return result;
    }

    Subject subject;
};

using Subjects =
    ::testing::Types<FakeSubject, RealSubject<RealClient::inThisProcess>, RealSubject<RealClient::inAnother>>;
TYPED_TEST_SUITE(HttpClientContract, Subjects);

TYPED_TEST(HttpClientContract, theAnswerComesOnceAndLater)
{
    std::vector<std::string> bodies;
    bool isInside = true;
    bool cameInside = false;

    const Registration handle = this->subject.client->get(this->request(), [&](const HttpResult& result) {
        cameInside = cameInside || isInside;
        bodies.push_back(result.value().body);
    });
    isInside = false;

    ASSERT_TRUE(this->subject.runUntil([&] { return !bodies.empty(); }));
    EXPECT_FALSE(cameInside);
    EXPECT_EQ(bodies, std::vector<std::string>{"arrived"});
}

TYPED_TEST(HttpClientContract, aCancelledRequestIsNeverAnswered)
{
    bool cancelledAnswered = false;
    bool keptAnswered = false;
    {
        const Registration cancelled =
            this->subject.client->get(this->request(), [&](const HttpResult&) { cancelledAnswered = true; });
    }
    const Registration kept =
        this->subject.client->get(this->request(), [&](const HttpResult&) { keptAnswered = true; });

    ASSERT_TRUE(this->subject.runUntil([&] { return keptAnswered; }));
    EXPECT_FALSE(cancelledAnswered);
}

TYPED_TEST(HttpClientContract, theCompletionMayEndItsHandleAndStartAnotherRequest)
{
    Registration first;
    Registration second;
    std::string body;
    first = this->subject.client->get(this->request(), [&](const HttpResult&) {
        first.reset();
        second = this->subject.client->get(this->request(),
                                           [&](const HttpResult& result) { body = result.value().body; });
    });

    EXPECT_TRUE(this->subject.runUntil([&] { return body == "arrived"; }));
}

/// What both real clients do, whose requests go out by the same library.
class RealHttpClientTests : public ::testing::TestWithParam<RealClient> {
protected:
    RealHttpClientTests() { makeClient(); }

    void makeClient() { client = makeRealClient(GetParam(), queue); }

    HttpResult send(HttpRequest request)
    {
        std::optional<HttpResult> answer;
        const Registration handle =
            client->get(std::move(request), [&](HttpResult result) { answer = std::move(result); });
        if (!handleEventsUntil([&] { return answer.has_value(); })) {
            return Failure{TransportError{"the test has waited long enough"}};
        }
        return std::move(*answer);
    }

    HttpResult get(const std::string& url, std::vector<std::pair<std::string, std::string>> headers = {})
    {
        HttpRequest request;
        request.url = url;
        request.headers = std::move(headers);
        return send(std::move(request));
    }

    HttpResult getWithTimeout(const std::string& url, std::chrono::nanoseconds timeout)
    {
        HttpRequest request;
        request.url = url;
        request.timeout = timeout;
        return send(std::move(request));
    }

    static std::string describe(const HttpResult& result)
    {
        return result ? "status " + std::to_string(result.value().statusCode.value_or(0))
                      : result.error().description;
    }

    static std::string readFile(const std::string& path)
    {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::string document() const { return readFile(documents + "/text"); }

    /// The path in a form that no other request of this run has.
    static std::string unique(const std::string& path)
    {
        static int count = 0;
        return path + "?" + std::to_string(++count);
    }

    /// The server's record of the exchange about a unique path, once it is written.
    std::string exchange(const std::string& path) const
    {
        std::string found;
        EXPECT_TRUE(eventually([&] {
            std::ifstream log(fromRunner("GLIMMERWICK_TEST_ACCESS_LOG"));
            for (std::string line; std::getline(log, line);) {
                if (line.rfind(path + "|", 0) == 0) {
                    found = line;
                    break;
                }
            }
            return !found.empty();
        }));
        return found;
    }

    static std::string field(const std::string& record, std::size_t index)
    {
        std::size_t begin = 0;
        for (; index > 0; --index) {
            begin = record.find('|', begin) + 1;
        }
        return record.substr(begin, record.find('|', begin) - begin);
    }

    const std::string http = fromRunner("GLIMMERWICK_TEST_HTTP");
    const std::string https = fromRunner("GLIMMERWICK_TEST_HTTPS");
    const std::string authority = fromRunner("GLIMMERWICK_TEST_AUTHORITY");
    const std::string documents = fromRunner("GLIMMERWICK_TEST_DOCUMENTS");
    QtMainQueue queue;
    std::unique_ptr<HttpClient> client;
};

INSTANTIATE_TEST_SUITE_P(Clients, RealHttpClientTests,
                         ::testing::Values(RealClient::inThisProcess, RealClient::inAnother),
                         [](const auto& instance) {
                             return instance.param == RealClient::inThisProcess ? "inThisProcess"
                                                                                : "inAnother";
                         });

/// What takes seconds, of the client that works by means of the other one.
class LengthyHttpClientTests : public RealHttpClientTests { };

INSTANTIATE_TEST_SUITE_P(Clients, LengthyHttpClientTests, ::testing::Values(RealClient::inAnother),
                         [](const auto&) { return "inAnother"; });

TEST_P(RealHttpClientTests, aPlainBodyArrives)
{
    const auto result = get(http + "/text");

    ASSERT_TRUE(result) << describe(result);
    EXPECT_EQ(result.value().statusCode, 200);
    EXPECT_EQ(result.value().body, document());
}

TEST_P(RealHttpClientTests, theAnswerIsGivenOnTheMainThread)
{
    QThread* thread = nullptr;
    HttpRequest request;
    request.url = http + "/text";
    const Registration handle =
        client->get(request, [&](const HttpResult&) { thread = QThread::currentThread(); });

    ASSERT_TRUE(handleEventsUntil([&] { return thread != nullptr; }));
    EXPECT_EQ(thread, QCoreApplication::instance()->thread());
}

TEST_P(RealHttpClientTests, theAcceptEncodingHeaderIsSentAsItStands)
{
    EXPECT_EQ(get(http + "/echo/accept-encoding", {acceptEncoding}).value().body, "gzip, deflate, br");
    EXPECT_EQ(get(http + "/echo/accept-encoding", {{"accept-encoding", "br"}}).value().body, "br");
}

TEST_P(RealHttpClientTests, withoutThatHeaderNoneIsSent)
{
    EXPECT_EQ(get(http + "/echo/accept-encoding").value().body, "");
}

TEST_P(RealHttpClientTests, otherHeadersAndTheUserAgentAreSent)
{
    const std::string path = unique("/echo/marker");

    EXPECT_EQ(get(http + path, {{"X-Marker", "here"}}).value().body, "here");
    EXPECT_EQ(field(exchange(path), 6), "Glimmerwick/test");
}

TEST_P(RealHttpClientTests, brotliIsDecoded)
{
    const std::string path = unique("/brotli");
    const auto result = get(http + path, {acceptEncoding});

    ASSERT_TRUE(result) << describe(result);
    EXPECT_EQ(result.value().body, document());
    EXPECT_EQ(field(exchange(path), 2), "br");
}

TEST_P(RealHttpClientTests, gzipIsDecoded)
{
    const std::string path = unique("/gzip");
    const auto result = get(http + path, {acceptEncoding});

    ASSERT_TRUE(result) << describe(result);
    EXPECT_EQ(result.value().body, document());
    EXPECT_EQ(field(exchange(path), 2), "gzip");
}

TEST_P(RealHttpClientTests, deflateIsDecoded)
{
    // Qt puts four bytes of its own before the stream.
    const QByteArray deflated = qCompress(QByteArray::fromStdString(document())).mid(4);
    std::ofstream(documents + "/deflated", std::ios::binary) << deflated.toStdString();

    const auto result = get(http + "/deflate", {acceptEncoding});

    ASSERT_TRUE(result) << describe(result);
    EXPECT_EQ(result.value().body, document());
}

TEST_P(RealHttpClientTests, aBodyThatIsNotWhatItsEncodingSaysIsATransportError)
{
    const auto result = get(http + "/damaged", {acceptEncoding});

    ASSERT_FALSE(result);
    EXPECT_FALSE(result.error().description.empty());
}

TEST_P(RealHttpClientTests, everyStatusIsHandedOver)
{
    for (const int status : {204, 304, 404, 500}) {
        const auto result = get(http + "/status/" + std::to_string(status));
        ASSERT_TRUE(result) << describe(result);
        EXPECT_EQ(result.value().statusCode, status);
    }
    EXPECT_EQ(get(http + "/status/204").value().body, "");
    EXPECT_EQ(get(http + "/status/304").value().body, "");
}

TEST_P(RealHttpClientTests, everyKindOfRedirectIsFollowed)
{
    for (const int status : {301, 302, 303, 307, 308}) {
        const auto result = get(http + "/redirect/" + std::to_string(status));
        ASSERT_TRUE(result) << describe(result);
        EXPECT_EQ(result.value().statusCode, 200);
        EXPECT_EQ(result.value().body, "arrived");
    }
}

TEST_P(RealHttpClientTests, twentyRedirectsAreFollowedAndNoMore)
{
    EXPECT_EQ(get(http + "/redirects/20").value().body, "arrived");
    EXPECT_EQ(describe(get(http + "/redirects/21")), "Too many redirects.");
    EXPECT_EQ(describe(get(http + "/loop")), "Too many redirects.");
}

TEST_P(RealHttpClientTests, redirectsLeadToSecureAddressesButNotBack)
{
    const EnvironmentVariable trusted("SSL_CERT_FILE", authority);
    makeClient();

    EXPECT_EQ(get(http + "/redirect/to-secure").value().body, "arrived");
    EXPECT_EQ(get(http + "/redirect/to-insecure").value().body, "arrived");
    EXPECT_EQ(describe(get(https + "/redirect/to-insecure")),
              "The server redirected from a secure to an insecure address.");
    EXPECT_EQ(describe(get(http + "/redirect/up-and-down")),
              "The server redirected from a secure to an insecure address.");
}

TEST_P(RealHttpClientTests, redirectsNeverLeaveHttp)
{
    EXPECT_EQ(describe(get(http + "/redirect/to-file")),
              "The server redirected to an address that is not HTTP.");
    EXPECT_FALSE(get(http + "/redirect/to-nonsense"));
}

TEST_P(RealHttpClientTests, anAddressThatIsNotHttpIsAnsweredWithoutStatusAndNeverRead)
{
    for (const std::string url :
         {"file:///etc/hostname", "ftp://127.0.0.1/", "content.example.invalid", "data:,x", ""}) {
        const auto result = get(url);
        ASSERT_TRUE(result) << url << ": " << describe(result);
        EXPECT_EQ(result.value().statusCode, std::nullopt) << url;
        EXPECT_EQ(result.value().body, "") << url;
    }
}

TEST_P(RealHttpClientTests, anHttpAddressWithoutSenseIsATransportError)
{
    for (const std::string url :
         {"http://", "https:", "http://[nonsense/", "http://127.0.0.1:port/", "http://a b/"}) {
        EXPECT_EQ(describe(get(url)), "The address is not valid.") << url;
    }
}

TEST_P(RealHttpClientTests, theSchemesCaseDoesNotMatter)
{
    EXPECT_EQ(get("HTTP" + http.substr(4) + "/redirects/0").value().body, "arrived");
}

TEST_P(RealHttpClientTests, aTestAuthorityIsTrustedThroughEitherVariable)
{
    for (const char* variable : {"SSL_CERT_FILE", "CURL_CA_BUNDLE"}) {
        const EnvironmentVariable trusted(variable, authority);
        makeClient();

        const std::string path = unique("/brotli");
        const auto result = get(https + path, {acceptEncoding});

        ASSERT_TRUE(result) << variable << ": " << describe(result);
        EXPECT_EQ(result.value().body, document());
        EXPECT_EQ(field(exchange(path), 3), "HTTP/2.0");
    }
}

TEST_P(RealHttpClientTests, withoutTrustThereIsNoAnswer)
{
    const auto result = get(https + "/text");

    ASSERT_FALSE(result);
    EXPECT_THAT(result.error().description, HasSubstr("certificate"));
}

TEST_P(RealHttpClientTests, aCertificateThatNobodySignedOrForAnotherNameIsRefused)
{
    const EnvironmentVariable trusted("SSL_CERT_FILE", authority);
    makeClient();

    const auto unsignedResult = get(fromRunner("GLIMMERWICK_TEST_UNSIGNED") + "/text");
    const auto strangerResult = get(fromRunner("GLIMMERWICK_TEST_STRANGER") + "/text");

    ASSERT_FALSE(unsignedResult);
    EXPECT_THAT(unsignedResult.error().description, HasSubstr("certificate"));
    ASSERT_FALSE(strangerResult);
    EXPECT_THAT(strangerResult.error().description, HasSubstr("certificate"));
}

TEST_P(RealHttpClientTests, aTrustFileThatIsMissingIsATransportError)
{
    const EnvironmentVariable trusted("SSL_CERT_FILE", documents + "/missing.pem");
    makeClient();

    EXPECT_FALSE(get(https + "/text"));
    EXPECT_TRUE(get(http + "/text"));
}

TEST_P(RealHttpClientTests, aBodyOfExactlyTheLimitArrivesAndOneByteMoreDoesNot)
{
    HttpRequest request;
    request.url = http + "/text";
    request.maximumBodySize = document().size();
    EXPECT_EQ(send(request).value().body.size(), request.maximumBodySize);

    --request.maximumBodySize;
    EXPECT_EQ(describe(send(request)),
              "The response is larger than " + std::to_string(request.maximumBodySize) + " bytes.");
}

TEST_P(RealHttpClientTests, progressIsToldOnTheMainThreadAndBeforeTheAnswer)
{
    std::vector<std::uint64_t> told;
    QThread* thread = nullptr;
    std::optional<std::size_t> toldAtEnd;
    HttpRequest request;
    request.url = http + "/big";
    request.maximumBodySize = 64UL * 1024 * 1024;
    request.progress = [&](std::uint64_t received) {
        told.push_back(received);
        thread = QThread::currentThread();
    };

    const Registration handle = client->get(request, [&](const HttpResult& result) {
        ASSERT_TRUE(result) << describe(result);
        toldAtEnd = told.size();
    });

    ASSERT_TRUE(handleEventsUntil([&] { return toldAtEnd.has_value(); }));
    QCoreApplication::processEvents();
    EXPECT_FALSE(told.empty());
    EXPECT_EQ(told.size(), toldAtEnd);
    EXPECT_TRUE(std::is_sorted(told.begin(), told.end()));
    EXPECT_LE(told.back(), request.maximumBodySize);
    EXPECT_EQ(thread, QCoreApplication::instance()->thread());
}

TEST_P(RealHttpClientTests, progressMayCancelTheRequestAndIsNotToldAgain)
{
    int toldCount = 0;
    bool isAnswered = false;
    Registration cancelled;
    HttpRequest request;
    request.url = http + "/big";
    request.maximumBodySize = 64UL * 1024 * 1024;
    request.progress = [&](std::uint64_t) {
        ++toldCount;
        cancelled.reset();
    };
    cancelled = client->get(request, [&](const HttpResult&) { isAnswered = true; });
    ASSERT_TRUE(handleEventsUntil([&] { return toldCount > 0; }));

    EXPECT_EQ(get(http + "/redirects/0").value().body, "arrived");

    EXPECT_EQ(toldCount, 1);
    EXPECT_FALSE(isAnswered);
}

TEST_P(RealHttpClientTests, theLimitCountsDecodedBytes)
{
    HttpRequest request;
    request.url = http + "/brotli";
    request.headers = {acceptEncoding};
    request.maximumBodySize = document().size() - 1;

    EXPECT_THAT(describe(send(request)), HasSubstr("The response is larger than"));
}

TEST_P(RealHttpClientTests, aDeclaredLengthAboveTheLimitIsRefusedBeforeTheBodyIsSent)
{
    const std::string path = unique("/big");

    EXPECT_EQ(describe(get(http + path)), "The response is larger than 33554432 bytes.");

    constexpr unsigned long whole = 64UL * 1024 * 1024;
    EXPECT_LT(std::stoul(field(exchange(path), 5)), whole / 2);
}

TEST_P(LengthyHttpClientTests, aSmallBodyThatUnpacksToAHugeOneIsRefused)
{
    EXPECT_EQ(describe(get(http + "/bomb", {acceptEncoding})), "The response is larger than 33554432 bytes.");
    EXPECT_EQ(describe(get(http + "/big-without-length", {acceptEncoding})),
              "The response is larger than 33554432 bytes.");
}

TEST_P(RealHttpClientTests, headersWithoutEndAreRefused)
{
    const LoopbackServer server([](const LoopbackServer::Send& sendBytes) {
        bool isListening = sendBytes("HTTP/1.1 200 OK\r\n");
        for (int line = 0; isListening; ++line) {
            isListening = sendBytes("X-Line-" + std::to_string(line) + ": " + std::string(900, 'x') + "\r\n");
        }
    });

    EXPECT_EQ(describe(get(server.address())), "The response's headers are too large.");
}

TEST_P(RealHttpClientTests, aServerThatNeverAnswersTimesOut)
{
    const LoopbackServer server;

    EXPECT_EQ(describe(getWithTimeout(server.address(), 200ms)), "The request timed out.");
}

TEST_P(RealHttpClientTests, aServerThatStopsInTheMiddleTimesOut)
{
    std::atomic<bool> isOver = false;
    const LoopbackServer server([&isOver](const LoopbackServer::Send& sendBytes) {
        sendBytes("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\nbegun");
        eventually([&] { return isOver.load(); });
    });

    const auto result = getWithTimeout(server.address(), 200ms);
    isOver = true;

    EXPECT_EQ(describe(result), "The request timed out.");
}

TEST_P(LengthyHttpClientTests, aServerThatTricklesWithoutEndTimesOut)
{
    const LoopbackServer server([](const LoopbackServer::Send& sendBytes) {
        bool isListening = sendBytes("HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n");
        while (isListening) {
            std::this_thread::sleep_for(20ms);
            isListening = sendBytes("x");
        }
    });

    EXPECT_EQ(describe(getWithTimeout(server.address(), 200ms)), "The request timed out.");
}

TEST_P(LengthyHttpClientTests, aSlowServerThatKeepsSendingDoesNotTimeOut)
{
    constexpr int pieces = 30;
    const LoopbackServer server([](const LoopbackServer::Send& sendBytes) {
        sendBytes("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(pieces) + "\r\n\r\n");
        for (int piece = 0; piece < pieces; ++piece) {
            std::this_thread::sleep_for(100ms);
            sendBytes("x");
        }
    });

    // The whole takes three seconds, of which none passes without data.
    const auto result = getWithTimeout(server.address(), 2s);

    ASSERT_TRUE(result) << describe(result);
    EXPECT_EQ(result.value().body, std::string(pieces, 'x'));
}

TEST_P(RealHttpClientTests, anAnswerThatIsNoHttpOrBreaksOffIsATransportError)
{
    const LoopbackServer stranger(
        [](const LoopbackServer::Send& sendBytes) { sendBytes("SSH-2.0-OpenSSH_9.2\r\n"); });
    const LoopbackServer breaking([](const LoopbackServer::Send& sendBytes) {
        sendBytes("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\nbegun");
    });
    const LoopbackServer silent([](const LoopbackServer::Send&) {});

    for (const LoopbackServer* server : {&stranger, &breaking, &silent}) {
        const auto result = get(server->address());
        ASSERT_FALSE(result);
        EXPECT_FALSE(result.error().description.empty());
        EXPECT_EQ(result.error().description.find('\n'), std::string::npos);
    }
}

TEST_P(RealHttpClientTests, whereNobodyListensIsATransportError)
{
    std::string address;
    {
        const LoopbackServer gone;
        address = gone.address();
    }

    const auto result = get(address);

    ASSERT_FALSE(result);
    EXPECT_THAT(result.error().description, HasSubstr("connect"));
}

TEST_P(RealHttpClientTests, oneStalledRequestHoldsUpNoOther)
{
    const LoopbackServer server;
    HttpRequest stalled;
    stalled.url = server.address();
    bool stalledAnswered = false;
    const Registration handle = client->get(stalled, [&](const HttpResult&) { stalledAnswered = true; });

    EXPECT_EQ(get(http + "/redirects/0").value().body, "arrived");

    EXPECT_FALSE(stalledAnswered);
}

TEST_P(RealHttpClientTests, connectionsAreReused)
{
    const std::string first = unique("/text");
    const std::string second = unique("/status/404");

    ASSERT_TRUE(get(http + first));
    ASSERT_TRUE(get(http + second));

    EXPECT_EQ(field(exchange(first), 4), field(exchange(second), 4));
}

TEST_P(RealHttpClientTests, requestsAtOnceShareASecureConnection)
{
    const EnvironmentVariable trusted("SSL_CERT_FILE", authority);
    makeClient();
    constexpr int count = 6;
    std::vector<std::string> paths;
    std::vector<Registration> handles;
    int arrived = 0;
    for (int index = 0; index < count; ++index) {
        paths.push_back(unique("/text"));
        HttpRequest request;
        request.url = https + paths.back();
        handles.push_back(client->get(request, [&](const HttpResult& result) { arrived += result ? 1 : 0; }));
    }
    ASSERT_TRUE(handleEventsUntil([&] { return arrived == count; }));

    const std::string connection = field(exchange(paths.front()), 4);
    for (const std::string& path : paths) {
        EXPECT_EQ(field(exchange(path), 3), "HTTP/2.0");
        EXPECT_EQ(field(exchange(path), 4), connection);
    }
}

TEST_P(RealHttpClientTests, manyRequestsAtOnceAreAllAnswered)
{
    constexpr int count = 100;
    int arrived = 0;
    std::vector<Registration> handles;
    for (int index = 0; index < count; ++index) {
        HttpRequest request;
        request.url = http + "/redirect/302";
        handles.push_back(client->get(request, [&](const HttpResult& result) {
            arrived += result && result.value().body == "arrived" ? 1 : 0;
        }));
    }

    EXPECT_TRUE(handleEventsUntil([&] { return arrived == count; }));
}

TEST_P(RealHttpClientTests, destroyingTheClientCancelsEverythingWithoutWaitingForServers)
{
    const LoopbackServer server;
    int answers = 0;
    const auto held = std::make_shared<int>(0);
    std::vector<Registration> handles;
    for (const std::string& url :
         {server.address(), server.address(), http + "/text", std::string("file:///x")}) {
        HttpRequest request;
        request.url = url;
        handles.push_back(client->get(request, [&answers, held](const HttpResult&) { ++answers; }));
    }

    client.reset();

    EXPECT_EQ(held.use_count(), 1);
    handles.clear();
    bool later = false;
    queue.asyncAfter(50ms, [&later] { later = true; }).release();
    ASSERT_TRUE(handleEventsUntil([&] { return later; }));
    EXPECT_EQ(answers, 0);
}

TEST_P(RealHttpClientTests, aCompletionMayDestroyTheClient)
{
    bool answered = false;
    HttpRequest request;
    request.url = http + "/text";
    const Registration handle = client->get(request, [&](const HttpResult&) {
        client.reset();
        answered = true;
    });

    EXPECT_TRUE(handleEventsUntil([&] { return answered; }));
}

TEST_P(RealHttpClientTests, cancellingGivesUpWhatTheCompletionHeldAtOnce)
{
    const LoopbackServer server;
    const auto held = std::make_shared<int>(0);
    HttpRequest request;
    request.url = server.address();
    Registration handle = client->get(request, [held](const HttpResult&) {});

    handle.reset();

    EXPECT_EQ(held.use_count(), 1);
}

} // namespace
} // namespace glimmerwick::contract
