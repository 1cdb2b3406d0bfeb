#include "Platform/HttpProcess/HttpProgramProcess.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace glimmerwick {

namespace {

std::string reason(int error)
{
    return std::generic_category().message(error);
}

/// As the program finds its descriptors.
class FileActions {
public:
    /// The first that failed of its calls, or 0.
    explicit FileActions(int socket)
    {
        m_error = ::posix_spawn_file_actions_init(&m_actions);
        take(::posix_spawn_file_actions_adddup2(&m_actions, socket, STDIN_FILENO));
        take(::posix_spawn_file_actions_addopen(&m_actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0));
        take(::posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1));
    }
    ~FileActions() { ::posix_spawn_file_actions_destroy(&m_actions); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    int error() const { return m_error; }
    const posix_spawn_file_actions_t* get() const { return &m_actions; }

private:
    void take(int error) { m_error = m_error != 0 ? m_error : error; }

    posix_spawn_file_actions_t m_actions{};
    int m_error = 0;
};

/// No signal is ignored or blocked, whatever the picker does about them, and those that a terminal sends to
/// the picker do not come: it ends the program itself.
class Attributes {
public:
    Attributes()
    {
        m_error = ::posix_spawnattr_init(&m_attributes);
        sigset_t all;
        sigset_t none;
        sigfillset(&all);
        sigemptyset(&none);
        take(::posix_spawnattr_setsigdefault(&m_attributes, &all));
        take(::posix_spawnattr_setsigmask(&m_attributes, &none));
        take(::posix_spawnattr_setpgroup(&m_attributes, 0));
        take(::posix_spawnattr_setflags(
            &m_attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP));
    }
    ~Attributes() { ::posix_spawnattr_destroy(&m_attributes); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    int error() const { return m_error; }
    const posix_spawnattr_t* get() const { return &m_attributes; }

private:
    void take(int error) { m_error = m_error != 0 ? m_error : error; }

    posix_spawnattr_t m_attributes{};
    int m_error = 0;
};

std::vector<char*> pointersTo(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

Result<HttpProgramProcess, std::string> HttpProgramProcess::start(const Order& order)
{
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        return Failure{reason(errno)};
    }
    FileDescriptor ours(ends[0]);
    const FileDescriptor theirs(ends[1]);
    const FileActions actions(theirs.get());
    const Attributes attributes;
    if (actions.error() != 0 || attributes.error() != 0) {
        return Failure{reason(actions.error() != 0 ? actions.error() : attributes.error())};
    }
    std::vector<std::string> arguments{order.file.string(), order.userAgent};
    std::vector<std::string> environment = order.environment;
    pid_t process = 0;
    const int error = ::posix_spawn(&process, order.file.c_str(), actions.get(), attributes.get(),
                                    pointersTo(arguments).data(), pointersTo(environment).data());
    if (error != 0) {
        return Failure{reason(error)};
    }
    return HttpProgramProcess(process, std::move(ours));
}

HttpProgramProcess::HttpProgramProcess(pid_t process, FileDescriptor socket)
    : m_process(process), m_socket(std::move(socket))
{
}

HttpProgramProcess::HttpProgramProcess(HttpProgramProcess&& other) noexcept
    : m_process(std::exchange(other.m_process, 0)), m_socket(std::move(other.m_socket))
{
}

HttpProgramProcess::~HttpProgramProcess()
{
    end();
}

std::string HttpProgramProcess::end()
{
    const pid_t process = std::exchange(m_process, 0);
    if (process == 0) {
        return {};
    }
    // It keeps nothing that would have to be saved, and one that is ending already ends as it would have.
    ::kill(process, SIGKILL);
    int status = 0;
    while (::waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) {
            return "nobody knows how";
        }
    }
    return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                               : "status " + std::to_string(WEXITSTATUS(status));
}

} // namespace glimmerwick
