#include "Platform/Curl/CurlHttpClient.h"
#include "Platform/HttpProcess/HttpRequestServer.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/PollMainQueue.h"

#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>

#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int wrongUsage = 2;

bool isSocket(int descriptor)
{
    struct stat status { };
    return ::fstat(descriptor, &status) == 0 && S_ISSOCK(status.st_mode);
}

} // namespace

// Sends the requests that come over the socket that is its standard input.
int main(int argc, char** argv)
{
    if (argc != 2 || !isSocket(STDIN_FILENO)) {
        std::cerr << "glimmerwick-http: is started by glimmerwick, for transfers from the network"
                  << std::endl;
        return wrongUsage;
    }
    // The end of the socket tells as well that the picker has gone, but not to a process that hangs.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    try {
        glimmerwick::PollMainQueue queue;
        glimmerwick::CurlHttpClient client(queue, argv[1]);
        glimmerwick::HttpRequestServer server(client, queue, glimmerwick::FileDescriptor(STDIN_FILENO));
        server.run();
    } catch (const std::exception&) {
        // The picker sees that this process ends, and how.
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
