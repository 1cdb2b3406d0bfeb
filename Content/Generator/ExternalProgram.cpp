#include "ExternalProgram.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace glimmerwick {

namespace {

std::string describe(int error)
{
    return std::error_code(error, std::generic_category()).message();
}

/// Standard input and output for the program to come.
class Redirections {
public:
    Redirections()
    {
        posix_spawn_file_actions_init(&m_actions);
        posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&m_actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    }
    ~Redirections() { posix_spawn_file_actions_destroy(&m_actions); }
    Redirections(const Redirections&) = delete;
    Redirections& operator=(const Redirections&) = delete;

    const posix_spawn_file_actions_t* get() const { return &m_actions; }

private:
    posix_spawn_file_actions_t m_actions;
};

} // namespace

Result<Success, GeneratorError> runProgram(const std::vector<std::string>& words)
{
    std::vector<char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);

    const Redirections redirections;
    pid_t process = 0;
    const int error =
        posix_spawnp(&process, arguments.front(), redirections.get(), nullptr, arguments.data(), environ);
    if (error != 0) {
        return Failure(GeneratorError{"cannot start " + words.front() + ": " + describe(error)});
    }
    int status = 0;
    while (::waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) {
            return Failure(GeneratorError{"cannot wait for " + words.front() + ": " + describe(errno)});
        }
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        return Failure(GeneratorError{words.front() + " failed"});
    }
    return Success{};
}

} // namespace glimmerwick
