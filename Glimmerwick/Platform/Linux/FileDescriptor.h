#pragma once

#include <string_view>
#include <utility>

#include <unistd.h>

namespace glimmerwick {

/// Owns an open file; -1 stands for none.
class FileDescriptor {
public:
    explicit FileDescriptor(int descriptor) : m_descriptor(descriptor) { }
    ~FileDescriptor() { close(); }
    FileDescriptor(FileDescriptor&& other) noexcept : m_descriptor(other.release()) { }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    explicit operator bool() const { return m_descriptor >= 0; }
    int get() const { return m_descriptor; }
    int release() { return std::exchange(m_descriptor, -1); }

    /// Some file systems report a failed write only here. False: see errno.
    bool close()
    {
        const int descriptor = release();
        return descriptor < 0 || ::close(descriptor) == 0;
    }

private:
    int m_descriptor;
};

/// Writes all of it, however often that is interrupted. False: see errno.
bool writeAll(const FileDescriptor& file, std::string_view bytes);

} // namespace glimmerwick
