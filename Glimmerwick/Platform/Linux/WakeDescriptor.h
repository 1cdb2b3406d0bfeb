#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace glimmerwick {

/// Wakes a thread that polls this descriptor besides others. `wake` is for any thread, the rest for that one.
class WakeDescriptor {
public:
    /// Throws std::system_error when there are no descriptors left.
    WakeDescriptor() : m_descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    {
        if (m_descriptor < 0) {
            throw std::system_error(errno, std::generic_category(), "eventfd");
        }
    }
    ~WakeDescriptor() { close(m_descriptor); }
    WakeDescriptor(const WakeDescriptor&) = delete;
    WakeDescriptor& operator=(const WakeDescriptor&) = delete;

    int get() const { return m_descriptor; }
    void wake() { eventfd_write(m_descriptor, 1); }
    /// Takes back all that has woken it so far.
    void settle()
    {
        eventfd_t ignored = 0;
        eventfd_read(m_descriptor, &ignored);
    }

private:
    const int m_descriptor;
};

} // namespace glimmerwick
