#pragma once

#include <cstdlib>
#include <stdexcept>
#include <string>

namespace glimmerwick::contract {

/// What run-contract-tests has started for the tests; without it they fail.
inline std::string fromRunner(const char* name)
{
    const char* const value = std::getenv(name);
    if (!value) {
        throw std::runtime_error(std::string(name) + " is not set: start the tests with run-contract-tests");
    }
    return value;
}

/// Sets an environment variable as long as it lives.
class EnvironmentVariable {
public:
    EnvironmentVariable(const char* name, const std::string& value) : m_name(name)
    {
        ::setenv(name, value.c_str(), 1);
    }
    ~EnvironmentVariable() { ::unsetenv(m_name); }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
    const char* m_name;
};

} // namespace glimmerwick::contract
