#include "Platform/Linux/FileDescriptor.h"

#include <cerrno>
#include <cstddef>

namespace glimmerwick {

bool writeAll(const FileDescriptor& file, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(file.get(), bytes.data(), bytes.size());
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace glimmerwick
