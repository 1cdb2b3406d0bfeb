#pragma once

#include "Platform/Wayland/WaylandCapabilities.h"
#include "Platform/Wayland/WaylandDisplay.h"

#include <functional>
#include <future>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

namespace glimmerwick {

/// A connection to the compositor with a thread of its own, so that other programs are answered while the
/// main thread waits. Apart from the toolkit's connection, which ends the program when it is lost; that the
/// compositor has gone is left to it to say, and what else ends this one is said on standard error.
///
/// What is made on the thread by `perform` must be destroyed there, before the connection. Main thread.
class WaylandConnection {
public:
    struct Options {
        /// A name or path as WAYLAND_DISPLAY has it; empty for what the environment says.
        std::string displayName;
        /// Called once when the compositor has ended the connection, on the connection's thread.
        std::function<void(const std::string& reason)> onLost;
    };

    /// Throws std::runtime_error when the compositor cannot be reached.
    explicit WaylandConnection(Options options);
    ~WaylandConnection();
    WaylandConnection(const WaylandConnection&) = delete;
    WaylandConnection& operator=(const WaylandConnection&) = delete;

    /// Runs the work on the thread and returns its result. A lost connection runs it as well.
    template <typename Work> auto perform(Work work) -> std::invoke_result_t<Work, WaylandDisplay&>
    {
        using Result = std::invoke_result_t<Work, WaylandDisplay&>;
        // Shared: the result is there a moment before the thread has left the task.
        auto task = std::make_shared<std::packaged_task<Result(WaylandDisplay&)>>(std::move(work));
        auto result = task->get_future();
        submit([task](WaylandDisplay& display) { (*task)(display); });
        return result.get();
    }

    /// As announced until now; nothing once the connection is lost.
    WaylandCapabilities capabilities();
    bool isLost();

private:
    class Worker;

    void submit(std::function<void(WaylandDisplay&)> work);

    std::unique_ptr<Worker> m_worker;
};

} // namespace glimmerwick
