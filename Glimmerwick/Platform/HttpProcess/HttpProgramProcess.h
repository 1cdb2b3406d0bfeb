#pragma once

#include "Models/Result.h"
#include "Platform/Linux/FileDescriptor.h"

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace glimmerwick {

/// A running program that sends requests, which ends with this object. On one thread, which must live as
/// long: the program ends with the thread, too.
class HttpProgramProcess {
public:
    struct Order {
        std::filesystem::path file;
        std::string userAgent;
        /// Each is NAME=VALUE.
        std::vector<std::string> environment;
    };

    /// Its standard input is the other end of the socket, its standard output nobody reads, and it has no
    /// other descriptors than those and standard error. The error is a sentence's end: why not.
    static Result<HttpProgramProcess, std::string> start(const Order& order);
    ~HttpProgramProcess();
    HttpProgramProcess(HttpProgramProcess&& other) noexcept;
    HttpProgramProcess(const HttpProgramProcess&) = delete;
    HttpProgramProcess& operator=(const HttpProgramProcess&) = delete;

    /// To be called once.
    FileDescriptor takeSocket() { return std::move(m_socket); }

    /// Ends it, unless it has ended, and tells how it ended: "status 1" or "signal 11".
    std::string end();

private:
    HttpProgramProcess(pid_t process, FileDescriptor socket);

    /// 0: it is gone, and so is its number.
    pid_t m_process;
    FileDescriptor m_socket;
};

} // namespace glimmerwick
