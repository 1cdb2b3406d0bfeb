#include "Platform/HttpProcess/ProcessHttpClient.h"

#include "Contract/Eventually.h"
#include "Contract/LoopbackServer.h"
#include "Contract/TemporaryFolder.h"
#include "Contract/TestServer.h"
#include "Platform/HttpProcess/HttpFrames.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/PollMainQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace glimmerwick::contract {
namespace {

using namespace std::chrono_literals;
using std::filesystem::path;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using HttpResult = Result<HttpResponse, TransportError>;

const path realProgram = GLIMMERWICK_HTTP_PROGRAM;

std::string readFile(const path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// The children of a process, those that have ended and were not waited for among them.
std::vector<pid_t> childrenOf(pid_t parent)
{
    std::vector<pid_t> children;
    for (const auto& thread :
         std::filesystem::directory_iterator("/proc/" + std::to_string(parent) + "/task")) {
        std::istringstream numbers(readFile(thread.path() / "children"));
        for (pid_t child = 0; numbers >> child;) {
            children.push_back(child);
        }
    }
    return children;
}

LoopbackServer::Behaviour answering(std::string body)
{
    return [body = std::move(body)](const LoopbackServer::Send& send) {
        send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    };
}

/// Sends without end, until nobody listens any more.
LoopbackServer::Behaviour pouring(std::atomic<bool>& isOver)
{
    return [&isOver](const LoopbackServer::Send& send) {
        bool isListening = send("HTTP/1.1 200 OK\r\n\r\n");
        const std::string piece(16UL * 1024, 'x');
        while (isListening) {
            isListening = send(piece);
        }
        isOver = true;
    };
}

class ProcessHttpClientTests : public ::testing::Test {
protected:
    ProcessHttpClientTests() { makeClient({realProgram, "Glimmerwick/test"}); }

    void makeClient(ProcessHttpClient::Program program)
    {
        client = std::make_unique<ProcessHttpClient>(
            queue, std::move(program), [this](std::string_view problem) { problems.emplace_back(problem); });
    }

    /// A program that does this in place of the real one.
    ProcessHttpClient::Program script(const std::string& text) const
    {
        const path file = folder.path() / "script";
        std::ofstream(file) << "#!/bin/sh\n" << text << "\n";
        std::filesystem::permissions(file, std::filesystem::perms::owner_all);
        return {file, "Glimmerwick/test"};
    }

    /// A program that says this, whatever it is asked, and stays.
    ProcessHttpClient::Program saying(const std::string& bytes) const
    {
        const path file = folder.path() / "said";
        std::ofstream(file, std::ios::binary) << bytes;
        return script("cat '" + file.string() + "' >&0\nexec cat >/dev/null");
    }

    bool runUntil(const std::function<bool()>& condition)
    {
        return eventually(condition, [this] {
            pollfd descriptor{queue.descriptor(), POLLIN, 0};
            constexpr int milliseconds = 10;
            ::poll(&descriptor, 1, milliseconds);
            queue.runDueWork();
        });
    }

    Registration begin(const std::string& url)
    {
        HttpRequest request;
        request.url = url;
        return begin(std::move(request));
    }

    Registration begin(HttpRequest request)
    {
        return client->get(std::move(request),
                           [this](HttpResult result) { answers.push_back(std::move(result)); });
    }

    HttpResult send(HttpRequest request)
    {
        std::optional<HttpResult> answer;
        const Registration handle =
            client->get(std::move(request), [&](HttpResult result) { answer = std::move(result); });
        if (!runUntil([&] { return answer.has_value(); })) {
            return Failure{TransportError{"the test has waited long enough"}};
        }
        return std::move(*answer);
    }

    HttpResult get(const std::string& url)
    {
        HttpRequest request;
        request.url = url;
        return send(std::move(request));
    }

    static std::string describe(const HttpResult& result)
    {
        return result ? "status " + std::to_string(result.value().statusCode.value_or(0))
                      : result.error().description;
    }

    /// The one that runs now.
    static pid_t theProgram()
    {
        const auto children = childrenOf(::getpid());
        return children.size() == 1 ? children.front() : 0;
    }

    TemporaryFolder folder;
    PollMainQueue queue;
    std::vector<std::string> problems;
    std::vector<HttpResult> answers;
    std::unique_ptr<ProcessHttpClient> client;
};

TEST_F(ProcessHttpClientTests, noProgramRunsBeforeTheFirstRequest)
{
    EXPECT_THAT(childrenOf(::getpid()), IsEmpty());
}

TEST_F(ProcessHttpClientTests, aBodyOfManyPiecesArrivesWhole)
{
    std::string body;
    while (body.size() < 5UL * 1024 * 1024) {
        body += std::to_string(body.size()) + '\0';
    }
    const LoopbackServer server(answering(body));

    const auto result = get(server.address());

    ASSERT_TRUE(result) << describe(result);
    EXPECT_EQ(result.value().statusCode, 200);
    EXPECT_TRUE(result.value().body == body);
}

TEST_F(ProcessHttpClientTests, theProgramEndsSomeTimeAfterTheLastRequestAndIsStartedAnew)
{
    auto program = ProcessHttpClient::Program{realProgram, "Glimmerwick/test"};
    program.idleTime = 200ms;
    makeClient(program);
    ASSERT_TRUE(get(LoopbackServer(answering("first")).address()));
    const pid_t first = theProgram();
    EXPECT_NE(first, 0);

    // Not even what has to be waited for is left of it.
    EXPECT_TRUE(eventually([] { return childrenOf(::getpid()).empty(); }));
    EXPECT_EQ(::kill(first, 0), -1);
    EXPECT_EQ(errno, ESRCH);

    const LoopbackServer server(answering("second"));
    const auto result = get(server.address());
    ASSERT_TRUE(result) << describe(result);
    EXPECT_EQ(result.value().body, "second");
    EXPECT_THAT(problems, IsEmpty());
}

TEST_F(ProcessHttpClientTests, whatFollowsSoonIsSentByTheSameProgram)
{
    const LoopbackServer first(answering("first"));
    const LoopbackServer second(answering("second"));
    ASSERT_TRUE(get(first.address()));
    const pid_t program = theProgram();

    ASSERT_TRUE(get(second.address()));

    EXPECT_NE(program, 0);
    EXPECT_EQ(theProgram(), program);
}

TEST_F(ProcessHttpClientTests, aMissingProgramIsToldOnceAndStartedOnceItIsThere)
{
    const path file = folder.path() / "program";
    makeClient({file, "Glimmerwick/test"});

    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(describe(get("http://127.0.0.1:1/")),
                  "The program for transfers cannot be started: No such file or directory.");
    }
    EXPECT_THAT(problems,
                ElementsAre("the program for transfers cannot be started: No such file or directory"));

    std::filesystem::create_symlink(realProgram, file);
    const LoopbackServer server(answering("arrived"));
    const auto result = get(server.address());
    ASSERT_TRUE(result) << describe(result);
    EXPECT_EQ(result.value().body, "arrived");
}

TEST_F(ProcessHttpClientTests, aFileThatIsNoProgramIsATransportError)
{
    const path file = folder.path() / "program";
    std::ofstream(file) << "nothing to run";
    makeClient({file, "Glimmerwick/test"});

    EXPECT_EQ(describe(get("http://127.0.0.1:1/")),
              "The program for transfers cannot be started: Permission denied.");
}

TEST_F(ProcessHttpClientTests, aProgramThatIsKilledFailsWhatWaitsAndIsStartedAnew)
{
    std::atomic<bool> isOver = false;
    const LoopbackServer silent;
    const LoopbackServer endless(pouring(isOver));
    HttpRequest transfer;
    transfer.url = endless.address();
    transfer.maximumBodySize = std::numeric_limits<std::size_t>::max() / 2;
    std::uint64_t received = 0;
    transfer.progress = [&](std::uint64_t count) { received = count; };
    const std::array handles{begin(silent.address()), begin(std::move(transfer))};
    ASSERT_TRUE(runUntil([&] { return received > 0; }));

    ASSERT_EQ(::kill(theProgram(), SIGKILL), 0);

    ASSERT_TRUE(runUntil([&] { return answers.size() == 2; }));
    for (const auto& answer : answers) {
        EXPECT_EQ(describe(answer), "The program for transfers has ended unexpectedly.");
    }
    EXPECT_THAT(problems, ElementsAre("the program for transfers has ended unexpectedly (signal 9)"));
    const LoopbackServer server(answering("arrived"));
    const auto result = get(server.address());
    ASSERT_TRUE(result) << describe(result);
    EXPECT_EQ(result.value().body, "arrived");
}

TEST_F(ProcessHttpClientTests, anIdleProgramThatIsKilledIsNoProblem)
{
    const LoopbackServer first(answering("first"));
    ASSERT_TRUE(get(first.address()));

    ASSERT_EQ(::kill(theProgram(), SIGKILL), 0);
    ASSERT_TRUE(eventually([] { return childrenOf(::getpid()).empty(); }));

    const LoopbackServer second(answering("second"));
    EXPECT_EQ(get(second.address()).value().body, "second");
    EXPECT_THAT(problems, IsEmpty());
}

TEST_F(ProcessHttpClientTests, aProgramThatEndsAtOnceIsATransportErrorEveryTime)
{
    makeClient(script("exit 3"));

    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(describe(get("http://127.0.0.1:1/")), "The program for transfers has ended unexpectedly.");
    }
    EXPECT_THAT(problems, ElementsAre("the program for transfers has ended unexpectedly (status 3)"));
    EXPECT_TRUE(eventually([] { return childrenOf(::getpid()).empty(); }));
}

TEST_F(ProcessHttpClientTests, aProgramThatTalksNonsenseIsEnded)
{
    const auto frame = [](HttpFrameKind kind, const std::string& content) {
        return encodeHttpFrame({kind, 1, content});
    };
    const std::string head = frame(HttpFrameKind::answer, encodeHttpAnswerHead({200, 5}));
    // Each is for the first request, whose body may have ten bytes.
    const std::vector<std::pair<std::string, std::string>> nonsense{
        {"no frames", "Hello, this is no frame at all."},
        {"frame too long", std::string("\1\0\0\0\xFF\xFF\xFF\xFF\1\0\0\0\0\0\0\0", 16)},
        {"a request", frame(HttpFrameKind::request, encodeHttpRequest(HttpRequest{}))},
        {"a cancellation", frame(HttpFrameKind::cancellation, "")},
        {"no head", frame(HttpFrameKind::answer, "short")},
        {"body too large", frame(HttpFrameKind::answer, encodeHttpAnswerHead({200, 11}))},
        {"body huge", frame(HttpFrameKind::answer, encodeHttpAnswerHead({200, ~0ULL}))},
        {"body without head", frame(HttpFrameKind::bodyPiece, "x")},
        {"more body than said", head + frame(HttpFrameKind::bodyPiece, "123456")},
        {"piece of nothing", head + frame(HttpFrameKind::bodyPiece, "")},
        {"two heads", head + head},
        {"progress nobody wants", frame(HttpFrameKind::progress, encodeHttpProgress(1))},
    };
    for (const auto& [what, bytes] : nonsense) {
        problems.clear();
        makeClient(saying(bytes));
        HttpRequest request;
        request.url = "http://127.0.0.1:1/";
        request.maximumBodySize = 10;

        EXPECT_EQ(describe(send(request)), "The program for transfers gives answers without sense.") << what;

        EXPECT_THAT(problems, ElementsAre("the program for transfers gives answers without sense")) << what;
        EXPECT_TRUE(eventually([] { return childrenOf(::getpid()).empty(); })) << what;
    }
}

TEST_F(ProcessHttpClientTests, aProgramThatHangsIsEnded)
{
    auto program = script("exec cat >/dev/null");
    program.grace = 50ms;
    makeClient(program);
    HttpRequest request;
    request.url = "http://127.0.0.1:1/";
    request.timeout = 10ms;

    EXPECT_EQ(describe(send(request)), "The program for transfers does not answer.");

    EXPECT_THAT(problems, ElementsAre("the program for transfers does not answer"));
    EXPECT_TRUE(eventually([] { return childrenOf(::getpid()).empty(); }));
}

TEST_F(ProcessHttpClientTests, aProgramThatReadsNothingHoldsNobodyUp)
{
    makeClient(script("exec tail -f /dev/null"));
    HttpRequest request;
    request.url = "http://127.0.0.1:1/" + std::string(60000, 'x');
    // More than the socket takes.
    for (int round = 0; round < 200; ++round) {
        std::vector<Registration> handles;
        for (int index = 0; index < 10; ++index) {
            handles.push_back(begin(request));
        }
    }
    ASSERT_TRUE(eventually([] { return theProgram() != 0; }));

    client.reset();

    EXPECT_THAT(childrenOf(::getpid()), IsEmpty());
    queue.runDueWork();
    EXPECT_THAT(answers, IsEmpty());
}

TEST_F(ProcessHttpClientTests, aRequestThatIsTooLongFailsAlone)
{
    const LoopbackServer server(answering("arrived"));
    const Registration tooLong = begin("http://127.0.0.1:1/" + std::string(longestHttpFrameContent, 'x'));
    const auto result = get(server.address());

    ASSERT_TRUE(runUntil([&] { return !answers.empty(); }));
    EXPECT_EQ(describe(answers.front()), "The request is too long.");
    ASSERT_TRUE(result) << describe(result);
    EXPECT_EQ(result.value().body, "arrived");
}

TEST_F(ProcessHttpClientTests, aCancelledTransferEnds)
{
    std::atomic<bool> isOver = false;
    const LoopbackServer server(pouring(isOver));
    HttpRequest request;
    request.url = server.address();
    request.maximumBodySize = std::numeric_limits<std::size_t>::max() / 2;
    std::uint64_t received = 0;
    request.progress = [&](std::uint64_t count) { received = count; };
    Registration handle = begin(std::move(request));
    ASSERT_TRUE(runUntil([&] { return received > 0; }));
    const pid_t program = theProgram();

    handle.reset();

    EXPECT_TRUE(runUntil([&] { return isOver.load(); }));
    EXPECT_THAT(answers, IsEmpty());
    EXPECT_EQ(theProgram(), program);
}

TEST_F(ProcessHttpClientTests, aClientThatIsDestroyedEndsTransfersAndProgram)
{
    std::atomic<bool> isOver = false;
    const LoopbackServer server(pouring(isOver));
    HttpRequest request;
    request.url = server.address();
    request.maximumBodySize = std::numeric_limits<std::size_t>::max() / 2;
    std::uint64_t received = 0;
    request.progress = [&](std::uint64_t count) { received = count; };
    const Registration handle = begin(std::move(request));
    ASSERT_TRUE(runUntil([&] { return received > 0; }));

    client.reset();

    EXPECT_THAT(childrenOf(::getpid()), IsEmpty());
    EXPECT_TRUE(eventually([&] { return isOver.load(); }));
    queue.runDueWork();
    EXPECT_THAT(answers, IsEmpty());
}

/// Keeps what it is given, as a main thread does that is busy.
class BusyQueue : public MainQueue {
public:
    void async(std::function<void()> work) override
    {
        const std::lock_guard lock(m_mutex);
        m_waiting.push_back(std::move(work));
    }
    Registration asyncAfter(std::chrono::nanoseconds, std::function<void()>) override { return {}; }
    Registration every(std::chrono::nanoseconds, std::function<void()>) override { return {}; }

    std::vector<std::function<void()>> takeWaiting()
    {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_waiting, {});
    }

private:
    std::mutex m_mutex;
    std::vector<std::function<void()>> m_waiting;
};

TEST_F(ProcessHttpClientTests, progressDoesNotPileUpForABusyMainThread)
{
    constexpr std::uint64_t count = 10000;
    std::string said;
    for (std::uint64_t received = 1; received <= count; ++received) {
        said += encodeHttpFrame({HttpFrameKind::progress, 1, encodeHttpProgress(received)});
    }
    said += encodeHttpFrame({HttpFrameKind::failure, 1, "the end"});
    // The second request's answer says that the first one's was taken in.
    said += encodeHttpFrame({HttpFrameKind::failure, 2, "the end"});
    BusyQueue busy;
    ProcessHttpClient own(busy, saying(said));
    std::vector<std::string> record;
    HttpRequest request;
    request.url = "http://127.0.0.1:1/";
    request.progress = [&](std::uint64_t received) { record.push_back(std::to_string(received)); };
    const Registration first = own.get(request, [&](const HttpResult&) { record.emplace_back("first"); });
    request.progress = nullptr;
    const Registration second = own.get(request, [&](const HttpResult&) { record.emplace_back("second"); });

    std::vector<std::function<void()>> waiting;
    ASSERT_TRUE(eventually([&] {
        for (auto& work : busy.takeWaiting()) {
            waiting.push_back(std::move(work));
        }
        return waiting.size() >= 3;
    }));
    for (const auto& work : waiting) {
        work();
    }

    EXPECT_THAT(record, ElementsAre(std::to_string(count), "first", "second"));
}

TEST_F(ProcessHttpClientTests, theProgramHasNoDescriptorsOfThisProcessAndItsOwnSignals)
{
    // Of the kind that a library opens that thinks of no children.
    const FileDescriptor forgetful(::fcntl(STDERR_FILENO, F_DUPFD, 100));
    ASSERT_EQ(::fcntl(forgetful.get(), F_GETFD), 0);
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const auto ignoredBefore = std::signal(SIGPIPE, SIG_IGN);
    const path seen = folder.path() / "seen";
    makeClient(script("exec 3>'" + seen.string()
                      + ".part'\ncat /proc/self/status >&3\nls -l /proc/self/fd >&3\nmv '" + seen.string()
                      + ".part' '" + seen.string() + "'"));

    const Registration handle = begin("http://127.0.0.1:1/");

    EXPECT_TRUE(runUntil([&] { return std::filesystem::exists(seen); }));
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    std::signal(SIGPIPE, ignoredBefore);
    const std::string text = readFile(seen);
    EXPECT_THAT(text, HasSubstr("SigBlk:\t0000000000000000"));
    // But for the last of these, which the C library keeps to itself.
    EXPECT_THAT(text, ContainsRegex("SigIgn:\t[0-9a-f]{8}[08]0000000\n"));
    EXPECT_THAT(text, HasSubstr(" 0 -> socket:"));
    EXPECT_THAT(text, ::testing::Not(HasSubstr(" " + std::to_string(forgetful.get()) + " -> ")));
}

TEST_F(ProcessHttpClientTests, theProgramHasTheEnvironmentOfWhenTheClientWasMade)
{
    const path seen = folder.path() / "seen";
    {
        const EnvironmentVariable proxy("http_proxy", "http://then.invalid");
        makeClient(script("echo \"$http_proxy\" >'" + seen.string() + ".part'\nmv '" + seen.string()
                          + ".part' '" + seen.string() + "'"));
    }
    const EnvironmentVariable later("http_proxy", "http://later.invalid");

    const Registration handle = begin("http://127.0.0.1:1/");

    ASSERT_TRUE(runUntil([&] { return std::filesystem::exists(seen); }));
    EXPECT_EQ(readFile(seen), "http://then.invalid\n");
}

TEST_F(ProcessHttpClientTests, theProgramEndsWithAPickerThatIsKilled)
{
    // What its parent leaves behind comes to this process, which can then see how it ends.
    ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    const LoopbackServer silent;
    const pid_t picker = ::fork();
    ASSERT_GE(picker, 0);
    if (picker == 0) {
        makeClient({realProgram, "Glimmerwick/test"});
        const Registration handle = begin(silent.address());
        while (true) {
            runUntil([] { return false; });
        }
    }
    std::vector<pid_t> programs;
    ASSERT_TRUE(eventually([&] {
        programs = childrenOf(picker);
        return programs.size() == 1;
    }));

    ASSERT_EQ(::kill(picker, SIGKILL), 0);

    EXPECT_EQ(::waitpid(picker, nullptr, 0), picker);
    EXPECT_TRUE(
        eventually([&] { return ::waitpid(programs.front(), nullptr, WNOHANG) == programs.front(); }));
    ::prctl(PR_SET_CHILD_SUBREAPER, 0);
}

TEST_F(ProcessHttpClientTests, theProgramEndsAtTheEndOfItsSocketAlone)
{
    std::array<int, 2> ends{};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    FileDescriptor ours(ends[0]);
    const pid_t program = ::fork();
    ASSERT_GE(program, 0);
    if (program == 0) {
        ::dup2(ends[1], STDIN_FILENO);
        ::execl(realProgram.c_str(), realProgram.c_str(), "Glimmerwick/test", nullptr);
        ::_exit(1);
    }
    ::close(ends[1]);
    const LoopbackServer server(answering("arrived"));
    HttpRequest request;
    request.url = server.address();
    ASSERT_TRUE(writeAll(ours, encodeHttpFrame({HttpFrameKind::request, 1, encodeHttpRequest(request)})));
    char first = 0;
    ASSERT_EQ(::recv(ours.get(), &first, 1, MSG_PEEK), 1);

    ours.close();

    int status = -1;
    EXPECT_TRUE(eventually([&] { return ::waitpid(program, &status, WNOHANG) == program; }));
    EXPECT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(HttpProgramTests, startedByHandItSaysWhatItIs)
{
    FILE* const output = ::popen((realProgram.string() + " </dev/null 2>&1").c_str(), "r");
    ASSERT_NE(output, nullptr);
    std::array<char, 200> line{};
    EXPECT_NE(std::fgets(line.data(), line.size(), output), nullptr);
    EXPECT_THAT(line.data(), StartsWith("glimmerwick-http: is started by glimmerwick"));
    EXPECT_EQ(WEXITSTATUS(::pclose(output)), 2);
}

} // namespace
} // namespace glimmerwick::contract
