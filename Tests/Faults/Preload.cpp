// Sets the injector up by the environment of a program that this is loaded into:
//   GLIMMERWICK_FAULT         what happens: the name of an error ("ENOSPC"), "short" or "kill"
//   GLIMMERWICK_FAULT_CALL    to which call, from 1 on; "5+" for the fifth and all that follow; "0" for none
//   GLIMMERWICK_FAULT_FOLDER  that changes something under this folder
//   GLIMMERWICK_FAULT_SPARED  the end of the names of files that are left alone
//   GLIMMERWICK_FAULT_REPORT  a file that gets a line for each such call
//   GLIMMERWICK_FAULT_PROGRAM the program's file name; others that it starts are left alone

#include "Faults/FaultInjector.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include <unistd.h>

namespace glimmerwick::faults {
namespace {

std::string variable(const char* name)
{
    const char* const value = std::getenv(name);
    return value ? value : "";
}

Fault faultOf(std::string_view name, const std::string& call)
{
    Fault fault;
    fault.call = std::atoi(call.c_str());
    fault.lasts = call.ends_with('+');
    if (name == "short") {
        fault.kind = Fault::Kind::shortWrite;
    } else if (name == "kill") {
        fault.kind = Fault::Kind::killBefore;
    } else if (name == "EROFS") {
        fault.error = EROFS;
    } else if (name == "EACCES") {
        fault.error = EACCES;
    } else if (name == "ENOSPC") {
        fault.error = ENOSPC;
    } else {
        std::fprintf(stderr, "faults: there is no fault called \"%s\"\n", std::string(name).c_str());
        std::_Exit(EXIT_FAILURE);
    }
    return fault;
}

bool isMeant()
{
    std::array<char, PATH_MAX> file{};
    const ssize_t length = ::readlink("/proc/self/exe", file.data(), file.size());
    const std::string name = "/" + variable("GLIMMERWICK_FAULT_PROGRAM");
    return length > 0 && std::string_view(file.data(), static_cast<std::size_t>(length)).ends_with(name);
}

[[gnu::constructor]] void setUp()
{
    const std::string folder = variable("GLIMMERWICK_FAULT_FOLDER");
    if (folder.empty() || !isMeant()) {
        return;
    }
    FaultInjector::current().spare(variable("GLIMMERWICK_FAULT_SPARED"));
    const std::string report = variable("GLIMMERWICK_FAULT_REPORT");
    if (!report.empty()) {
        FaultInjector::current().reportTo(report);
    }
    FaultInjector::current().arm(folder,
                                 faultOf(variable("GLIMMERWICK_FAULT"), variable("GLIMMERWICK_FAULT_CALL")));
}

} // namespace
} // namespace glimmerwick::faults
