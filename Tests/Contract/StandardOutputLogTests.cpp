#include "Platform/Linux/StandardOutputLog.h"

#include "Contract/Eventually.h"

#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace glimmerwick::contract {
namespace {

class Pipe {
public:
    Pipe()
    {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        m_readEnd = ends[0];
        m_writeEnd = ends[1];
    }
    ~Pipe()
    {
        closeReadEnd();
        closeWriteEnd();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int writeEnd() const { return m_writeEnd; }
    void closeReadEnd() { close(m_readEnd); }
    void closeWriteEnd() { close(m_writeEnd); }

    /// What is in the pipe now.
    std::string readAvailable()
    {
        pollfd descriptor{m_readEnd, POLLIN, 0};
        char buffer[4096];
        while (::poll(&descriptor, 1, 0) > 0 && (descriptor.revents & POLLIN) != 0) {
            const ssize_t count = ::read(m_readEnd, buffer, sizeof buffer);
            if (count <= 0) {
                break;
            }
            m_text.append(buffer, static_cast<std::size_t>(count));
        }
        return m_text;
    }

    std::vector<std::string> lines()
    {
        std::istringstream stream(readAvailable());
        std::vector<std::string> result;
        for (std::string line; std::getline(stream, line);) {
            result.push_back(line);
        }
        return result;
    }

private:
    static void close(int& descriptor)
    {
        if (descriptor >= 0) {
            ::close(descriptor);
            descriptor = -1;
        }
    }

    int m_readEnd = -1;
    int m_writeEnd = -1;
    std::string m_text;
};

class StandardOutputLogTests : public ::testing::Test {
protected:
    std::unique_ptr<StandardOutputLog> makeLog()
    {
        return std::make_unique<StandardOutputLog>(output.writeEnd(), diagnostics.writeEnd());
    }

    Pipe output;
    Pipe diagnostics;
};

TEST_F(StandardOutputLogTests, linesArriveOneByOneInOrder)
{
    auto log = makeLog();

    log->print("first");
    log->print("");
    log->print("third \u2603");

    EXPECT_TRUE(eventually([&] { return output.readAvailable() == "first\n\nthird \u2603\n"; }));
}

TEST_F(StandardOutputLogTests, aFullDiskCostsTheLinesAloneAndIsToldOfOnce)
{
    const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    auto log = std::make_unique<StandardOutputLog>(full, diagnostics.writeEnd());
    for (const char* line : {"first", "second", "third"}) {
        log->print(line);
    }

    log.reset();

    ::close(full);
    EXPECT_EQ(diagnostics.readAvailable(),
              "glimmerwick: 3 log lines were dropped because standard output did not take them\n");
}

TEST_F(StandardOutputLogTests, aLineIsWrittenWithoutWaitingForMore)
{
    auto log = makeLog();

    log->print("alone");

    EXPECT_TRUE(eventually([&] { return output.readAvailable() == "alone\n"; }));
}

TEST_F(StandardOutputLogTests, destructionWritesWhatStillWaits)
{
    auto log = makeLog();
    constexpr std::size_t count = 100;
    for (std::size_t index = 0; index < count; ++index) {
        log->print(std::to_string(index));
    }

    log.reset();

    const auto lines = output.lines();
    ASSERT_EQ(lines.size(), count);
    EXPECT_EQ(lines.front(), "0");
    EXPECT_EQ(lines.back(), "99");
    EXPECT_EQ(diagnostics.readAvailable(), "");
}

TEST_F(StandardOutputLogTests, aLineLongerThanThePipeArrivesWhole)
{
    auto log = makeLog();
    const std::string line(300'000, 'x');

    log->print(line);

    EXPECT_TRUE(eventually([&] { return output.readAvailable() == line + "\n"; }));
}

TEST_F(StandardOutputLogTests, aReaderThatHasGoneEndsNothingAndIsReported)
{
    ASSERT_NE(std::signal(SIGPIPE, SIG_DFL), SIG_ERR);
    auto log = makeLog();
    output.closeReadEnd();

    log->print("lost");
    log->print("lost too");
    log.reset();

    EXPECT_EQ(diagnostics.readAvailable(),
              "glimmerwick: 2 log lines were dropped because standard output did not take them\n");
}

TEST_F(StandardOutputLogTests, aReaderOfDiagnosticsThatHasGoneEndsNothingEither)
{
    ASSERT_NE(std::signal(SIGPIPE, SIG_DFL), SIG_ERR);
    auto log = makeLog();
    output.closeReadEnd();
    diagnostics.closeReadEnd();

    log->print("lost");
    log.reset();
}

TEST_F(StandardOutputLogTests, anOutputThatIsClosedFromTheStartIsNeverWrittenTo)
{
    const int closed = ::fcntl(output.writeEnd(), F_DUPFD_CLOEXEC, 100);
    ASSERT_EQ(::close(closed), 0);
    auto log = std::make_unique<StandardOutputLog>(closed, diagnostics.writeEnd());
    Pipe stranger;
    ASSERT_EQ(::dup2(stranger.writeEnd(), closed), closed);

    log->print("not for the stranger");
    log.reset();

    EXPECT_EQ(stranger.readAvailable(), "");
    EXPECT_EQ(::close(closed), 0);
}

TEST_F(StandardOutputLogTests, aStalledReaderHoldsUpNobodyAndLosesOnlyWhatDoesNotFit)
{
    auto log = makeLog();
    const std::string line(1000, 'x');
    const std::size_t count = 2 * StandardOutputLog::maximumWaitingBytes / line.size();

    // Twice what fits, and nobody reads: print returns nevertheless.
    for (std::size_t index = 0; index < count; ++index) {
        log->print(line);
    }

    const auto dropped = [this] {
        std::size_t sum = 0;
        for (const std::string& report : diagnostics.lines()) {
            sum += std::stoul(report.substr(std::string("glimmerwick: ").size()));
        }
        return sum;
    };
    ASSERT_TRUE(eventually([&] { return output.lines().size() + dropped() == count; }));
    log.reset();
    EXPECT_GT(dropped(), 0U);
    for (const std::string& arrived : output.lines()) {
        EXPECT_EQ(arrived, line);
    }
}

TEST_F(StandardOutputLogTests, destructionGivesUpOnAReaderThatStaysStalled)
{
    auto log = makeLog();
    const std::string line(1000, 'x');
    for (int index = 0; index < 500; ++index) {
        log->print(line);
    }

    // Would never return if it waited for the reader.
    log.reset();

    EXPECT_NE(diagnostics.readAvailable().find("log lines were dropped"), std::string::npos);
}

} // namespace
} // namespace glimmerwick::contract
