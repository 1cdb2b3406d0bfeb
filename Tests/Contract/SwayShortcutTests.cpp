#include "Platform/Linux/SwayShortcut.h"

#include "Contract/Eventually.h"
#include "Contract/TemporaryFolder.h"
#include "Contract/WaylandDevices.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/SwayConfiguration.h"
#include "Platform/Linux/SwayConnection.h"
#include "Platform/MainQueue.h"

#include <nlohmann/json.hpp>
#include <sys/socket.h>
#include <sys/un.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace glimmerwick::contract {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Json = nlohmann::json;

const std::string pickersCommand = "nop glimmerwick";

/// Its work runs when the test lets it.
class PatientQueue : public MainQueue {
public:
    void async(std::function<void()> work) override
    {
        const std::lock_guard lock(m_mutex);
        m_work.push_back(std::move(work));
    }
    Registration asyncAfter(std::chrono::nanoseconds, std::function<void()>) override { return {}; }
    Registration every(std::chrono::nanoseconds, std::function<void()>) override { return {}; }

    void run()
    {
        while (const auto work = next()) {
            work();
        }
    }

    /// Whether it comes true while the work runs.
    bool runUntil(const std::function<bool()>& condition)
    {
        return eventually([&] {
            run();
            return condition();
        });
    }

private:
    std::function<void()> next()
    {
        const std::lock_guard lock(m_mutex);
        if (m_work.empty()) {
            return nullptr;
        }
        auto first = std::move(m_work.front());
        m_work.pop_front();
        return first;
    }

    std::mutex m_mutex;
    std::deque<std::function<void()>> m_work;
};

std::string swaySocket()
{
    const char* path = std::getenv("SWAYSOCK");
    return path ? path : "";
}

/// What a user does to sway, and sees of it.
class SwayUser {
public:
    SwayUser() { askOn(m_observer, SwayMessageType::subscribe, R"(["binding", "tick"])"); }
    ~SwayUser()
    {
        if (m_ownConfiguration) {
            configure(*m_ownConfiguration);
        }
    }
    SwayUser(const SwayUser&) = delete;
    SwayUser& operator=(const SwayUser&) = delete;

    void pressShortcut()
    {
        holdShortcut();
        letGoOfShortcut();
    }
    void holdShortcut()
    {
        std::for_each(m_keys.begin(), m_keys.end(), [this](const auto& key) { m_devices.pressKey(key); });
    }
    void letGoOfShortcut()
    {
        std::for_each(m_keys.rbegin(), m_keys.rend(), [this](const auto& key) { m_devices.releaseKey(key); });
    }

    /// The commands of bindings that ran since the last question.
    std::vector<std::string> commandsRun()
    {
        constexpr auto sendTick = static_cast<SwayMessageType>(10);
        askOn(m_observer, sendTick, "");
        std::vector<std::string> commands;
        while (const auto event = m_observer.nextEvent(-1)) {
            const auto content = Json::parse(event->text);
            if (event->type == SwayMessageType::bindingEvent) {
                commands.push_back(content.at("binding").at("command"));
            } else if (content.at("first") == false) {
                return commands;
            }
        }
        ADD_FAILURE() << "sway has gone";
        return commands;
    }

    std::vector<std::string> commandsOfShortcut()
    {
        commandsRun();
        pressShortcut();
        return commandsRun();
    }

    /// Whether sway did it.
    bool tell(const std::string& command)
    {
        return Json::parse(ask(SwayMessageType::runCommand, command)).at(0).at("success");
    }

    /// Until the user goes.
    void addToConfiguration(const std::string& lines)
    {
        if (!m_ownConfiguration) {
            m_ownConfiguration = Json::parse(ask(SwayMessageType::getConfig, "")).at("config");
        }
        configure(*m_ownConfiguration + "\n" + lines + "\n");
    }

    void restoreConfiguration() { configure(*m_ownConfiguration); }

    /// Whether there was a binding of the default mode which windows cannot inhibit.
    bool takeBindingAway() { return tell("mode default unbindsym --inhibited Ctrl+Mod4+space"); }

private:
    static std::string askOn(SwayConnection& connection, SwayMessageType type, const std::string& text)
    {
        const auto answer = connection.ask(type, text, patience, -1);
        EXPECT_TRUE(answer.has_value());
        return answer.value_or("null");
    }

    static std::string ask(SwayMessageType type, const std::string& text)
    {
        auto connection = SwayConnection::open(swaySocket());
        return askOn(*connection, type, text);
    }

    void configure(const std::string& text)
    {
        constexpr auto getVersion = static_cast<SwayMessageType>(7);
        const std::string path = Json::parse(ask(getVersion, "")).at("loaded_config_file_name");
        std::ofstream(path) << text;
        EXPECT_TRUE(tell("reload"));
    }

    const std::vector<std::string> m_keys{"Control_L", "Super_L", "space"};
    UserDevices m_devices{1, 1};
    SwayConnection m_observer{*SwayConnection::open(swaySocket())};
    std::optional<std::string> m_ownConfiguration;
};

class SwayShortcutTest : public ::testing::Test {
protected:
    void install(const std::string& path = swaySocket())
    {
        shortcut = std::make_unique<SwayShortcut>(
            path, queue, [this](const std::string& reason) { problems.push_back(reason); });
        port = shortcut->create(options, [this](const KeyEvent& event) {
            presses.push_back(event);
            return TapDecision::swallow;
        });
        ASSERT_NE(port, nullptr);
        source = port->createRunLoopSource();
        port->setEnabled(true);
    }

    /// Presses until sway runs the picker's binding and that has arrived. No press is left over.
    bool becomesBound(SwayUser& user)
    {
        std::size_t count = 0;
        const auto isRun = [&] {
            const auto commands = user.commandsOfShortcut();
            count += static_cast<std::size_t>(std::count(commands.begin(), commands.end(), pickersCommand));
            return count > 0;
        };
        const bool isBound = queue.runUntil(isRun) && queue.runUntil([&] { return presses.size() == count; });
        presses.clear();
        return isBound;
    }

    bool arrives(std::size_t count)
    {
        return queue.runUntil([&] { return presses.size() == count; });
    }

    bool isReported()
    {
        return queue.runUntil([&] { return !problems.empty(); });
    }

    const EventTap::Options options{
        KeyCombination{keyCode::space, eventFlag::control | eventFlag::command, eventFlag::shift}};
    PatientQueue queue;
    std::vector<std::string> problems;
    std::vector<KeyEvent> presses;
    std::unique_ptr<SwayShortcut> shortcut;
    std::unique_ptr<EventTapPort> port;
    std::unique_ptr<RunLoopSource> source;
};

TEST_F(SwayShortcutTest, otherTapsAreRefusedAndSoIsASocketThatIsNotThere)
{
    const auto ignore = [](const KeyEvent&) { return TapDecision::pass; };
    SwayShortcut there(swaySocket(), queue, nullptr);
    SwayShortcut gone("/nonexistent/sway.sock", queue, nullptr);
    SwayShortcut tooLong(std::string(200, 'x'), queue, nullptr);

    EXPECT_EQ(there.create({}, ignore), nullptr);
    EXPECT_EQ(there.create({KeyCombination{keyCode::v, eventFlag::command, 0}}, ignore), nullptr);
    EXPECT_EQ(gone.create(options, ignore), nullptr);
    EXPECT_EQ(tooLong.create(options, ignore), nullptr);
}

TEST_F(SwayShortcutTest, everyPressArrivesOnce)
{
    SwayUser user;
    install();
    ASSERT_TRUE(becomesBound(user));

    user.pressShortcut();
    ASSERT_TRUE(arrives(1));
    user.pressShortcut();
    ASSERT_TRUE(arrives(2));

    EXPECT_EQ(presses[0].type, EventType::keyDown);
    EXPECT_EQ(presses[0].keyCode, keyCode::space);
    EXPECT_EQ(presses[0].flags, eventFlag::control | eventFlag::command);
    EXPECT_THAT(problems, IsEmpty());
}

TEST_F(SwayShortcutTest, everyRepeatOfKeysThatAreHeldPressesTheShortcut)
{
    SwayUser user;
    install();
    ASSERT_TRUE(becomesBound(user));

    user.holdShortcut();
    const bool isRepeated = queue.runUntil([&] { return presses.size() > 3; });
    user.letGoOfShortcut();

    EXPECT_TRUE(isRepeated);
}

TEST_F(SwayShortcutTest, theBindingOutlivesAReloadAndGoesWithTheTap)
{
    SwayUser user;
    install();
    ASSERT_TRUE(becomesBound(user));

    ASSERT_TRUE(user.tell("reload"));

    EXPECT_TRUE(becomesBound(user));
    ASSERT_TRUE(user.takeBindingAway()) << "the question has an answer";
    ASSERT_TRUE(user.tell("reload"));
    ASSERT_TRUE(becomesBound(user));
    port.reset();
    EXPECT_FALSE(user.takeBindingAway());
}

TEST_F(SwayShortcutTest, aBindingThatTheConfigurationDoesNotTellOfGoesFirstAndIsReportedWhenItRuns)
{
    for (const std::string binding :
         {"bindsym Ctrl+Mod4+space", "bindcode Ctrl+Mod4+65", "bindsym --to-code Ctrl+Mod4+space"}) {
        SCOPED_TRACE(binding);
        SwayUser user;
        ASSERT_TRUE(user.tell("mode default " + binding + " nop the user's"));
        install();

        // It is heard of once the picker listens.
        EXPECT_TRUE(queue.runUntil([&] {
            EXPECT_THAT(user.commandsOfShortcut(), ElementsAre("nop the user's"));
            return !problems.empty();
        }));
        EXPECT_THAT(problems, ElementsAre(HasSubstr("something else")));
        EXPECT_THAT(presses, IsEmpty());
        ASSERT_TRUE(user.tell("mode default un" + binding)) << "it is still there";
        EXPECT_TRUE(becomesBound(user));

        source.reset();
        port.reset();
        problems.clear();
    }
}

TEST_F(SwayShortcutTest, aBindingInTheConfigurationIsReportedAtOnceAndLeftAlone)
{
    SwayUser user;
    user.addToConfiguration("set $mod Mod4\nbindsym Ctrl+$mod+space nop the user's");

    install();

    ASSERT_TRUE(isReported());
    EXPECT_THAT(problems, ElementsAre(HasSubstr("something else")));
    EXPECT_FALSE(user.takeBindingAway());
    EXPECT_THAT(user.commandsOfShortcut(), ElementsAre("nop the user's"));
    user.restoreConfiguration();
    EXPECT_TRUE(becomesBound(user)) << "once the configuration does without it";
    EXPECT_EQ(problems.size(), 1U);
}

TEST_F(SwayShortcutTest, aBindingThatShowsThePickerIsNoProblem)
{
    SwayUser user;
    user.addToConfiguration("bindsym Ctrl+Mod4+space nop is run in place of glimmerwick --toggle");
    install();
    EXPECT_THAT(user.commandsOfShortcut(), ElementsAre("nop is run in place of glimmerwick --toggle"));

    user.restoreConfiguration();

    EXPECT_TRUE(becomesBound(user));
    EXPECT_THAT(problems, IsEmpty());
}

TEST_F(SwayShortcutTest, theBindingIsOfTheDefaultModeWhateverModeSwayIsIn)
{
    SwayUser user;
    ASSERT_TRUE(user.tell("mode elsewhere bindsym Escape mode default"));
    ASSERT_TRUE(user.tell("mode elsewhere"));

    install();

    EXPECT_TRUE(eventually([&] { return user.takeBindingAway(); }));
    EXPECT_TRUE(user.tell("mode default"));
}

/// In sway's place.
class SilentServer {
public:
    SilentServer()
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path().copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(::bind(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(::listen(m_socket.get(), 8), 0);
    }

    std::string path() const { return (m_folder.path() / "socket").string(); }
    FileDescriptor accept() const { return FileDescriptor(::accept(m_socket.get(), nullptr, nullptr)); }

private:
    TemporaryFolder m_folder;
    FileDescriptor m_socket{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
};

std::ptrdiff_t threadCount()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

TEST_F(SwayShortcutTest, aSwayThatDoesNotAnswerIsReportedAndHoldsUpNothing)
{
    const SilentServer server;

    install(server.path());

    EXPECT_TRUE(isReported());
    EXPECT_THAT(problems, ElementsAre("sway does not answer"));
}

TEST_F(SwayShortcutTest, anAnswerWithoutEndIsNotWaitedFor)
{
    const SilentServer server;
    install(server.path());
    const FileDescriptor commands = server.accept();
    const FileDescriptor events = server.accept();

    ASSERT_TRUE(writeAll(events, std::string_view("i3-ipc\xff\xff\xff\xff\x02\0\0\0", 14)));

    EXPECT_TRUE(isReported());
    EXPECT_THAT(problems, ElementsAre("sway does not answer"));
}

TEST_F(SwayShortcutTest, aSwayThatEndsIsNoProblem)
{
    const SilentServer server;
    const auto before = threadCount();
    install(server.path());

    server.accept().close();
    server.accept().close();

    ASSERT_TRUE(eventually([&] { return threadCount() == before; }));
    queue.run();
    EXPECT_THAT(problems, IsEmpty());
}

using Command = std::optional<std::string>;

TEST(SwayConfigurationTests, bindingsAreFoundInEveryNotation)
{
    for (const std::string line : {
             "bindsym Ctrl+Mod4+space exec menu",
             "  bindsym   control+mod4+Space   exec   menu  ",
             "bindsym --no-warn --to-code Mod4+Ctrl+space exec menu",
             "bindsym Group1+Ctrl+Mod4+space exec menu",
             "bindcode Ctrl+Mod4+65 exec menu",
             "bindsym Ctrl+Mod4+space \\\n exec menu",
             "set $mod Mod4\nbindsym $mod+Ctrl+space exec menu",
             "set $m Shift\nset $mod Mod4\nset $both $mod+Ctrl\nbindsym $both+space exec menu",
             "bindsym {\n Mod4+x exec other\n --no-repeat Ctrl+Mod4+space exec menu\n}",
             "bindsym --locked {\n Ctrl+Mod4+space exec menu\n}",
             "mode \"default\" {\n bindsym Ctrl+Mod4+space exec menu\n}",
             "bindsym Ctrl+Mod4+space exec other\nbindsym Ctrl+Mod4+space exec menu",
         }) {
        EXPECT_EQ(swayCommandAtShortcut(line), Command("exec menu")) << line;
    }
}

TEST(SwayConfigurationTests, otherLinesAreNoBindingsOfTheShortcut)
{
    for (const std::string line : {
             "",
             "# bindsym Ctrl+Mod4+space exec menu",
             "bindsym Mod4+space exec menu",
             "bindsym Ctrl+Mod4+Shift+space exec menu",
             "bindsym Ctrl+Mod4+65 exec menu",
             "bindcode Ctrl+Mod4+space exec menu",
             "mode \"resize\" {\n bindsym Ctrl+Mod4+space exec menu\n}",
             "bindsym Ctrl+Mod4+space exec menu\nunbindsym Ctrl+Mod4+space",
             "bindsym",
             "bindsym --no-warn",
             "set $mod",
             "}\n}",
             "bindsym $unknown+Ctrl+space exec menu",
         }) {
        EXPECT_EQ(swayCommandAtShortcut(line), std::nullopt) << line;
    }
}

TEST(SwayConfigurationTests, variablesThatHoldOthersTwiceDoNotGrowWithoutEnd)
{
    std::string configuration = "set $a xx\n";
    for (int doubling = 0; doubling < 64; ++doubling) {
        configuration += "set $a $a$a\n";
    }
    configuration += "bindsym $a exec nothing\nbindsym Ctrl+Mod4+space exec menu\n";

    EXPECT_EQ(swayCommandAtShortcut(configuration), Command("exec menu"));
}

} // namespace

} // namespace glimmerwick::contract
