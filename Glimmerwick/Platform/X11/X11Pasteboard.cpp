#include "Platform/X11/X11Pasteboard.h"

#include "Platform/Linux/WakeDescriptor.h"
#include "Platform/Qt/Text.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <type_traits>
#include <utility>

namespace glimmerwick {

/// The clipboard thread: lives in the service's `wait`, and does in between what the main thread asks of it.
class X11Pasteboard::Worker {
public:
    explicit Worker(std::uint32_t busyClient)
        : m_service(busyClient), m_thread([this](const std::stop_token& stop) { run(stop); })
    {
    }
    ~Worker()
    {
        m_thread.request_stop();
        m_wake.wake();
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Runs the work on the thread and returns its result.
    template <typename Work> auto perform(Work work)
    {
        using Result = std::invoke_result_t<Work, X11SelectionService&>;
        // Shared: the result is there a moment before the thread has left the task.
        auto task = std::make_shared<std::packaged_task<Result(X11SelectionService&)>>(std::move(work));
        auto result = task->get_future();
        {
            const std::lock_guard lock(m_mutex);
            m_work = [task](X11SelectionService& service) { (*task)(service); };
        }
        m_wake.wake();
        return result.get();
    }

private:
    void run(const std::stop_token& stop)
    {
        for (;;) {
            m_wake.settle();
            // After settling, which may have taken the very wake-up that tells of the stop.
            if (stop.stop_requested()) {
                break;
            }
            if (const auto work = takeWork()) {
                work(m_service);
            }
            m_service.wait(X11SelectionService::Time::max(), m_wake.get());
        }
        m_service.handOver();
    }

    std::function<void(X11SelectionService&)> takeWork()
    {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_work, nullptr);
    }

    X11SelectionService m_service;
    WakeDescriptor m_wake;
    std::mutex m_mutex;
    std::function<void(X11SelectionService&)> m_work;
    std::jthread m_thread;
};

X11Pasteboard::X11Pasteboard(std::uint32_t toolkitClient)
    : m_toolkitClient(toolkitClient), m_worker(std::make_unique<Worker>(toolkitClient))
{
}

X11Pasteboard::~X11Pasteboard() = default;

void X11Pasteboard::clearContents()
{
    m_worker->perform([](X11SelectionService& service) { service.clear(); });
}

bool X11Pasteboard::setString(std::string_view text, const std::string& type)
{
    return setData(text, type);
}

bool X11Pasteboard::setData(std::string_view bytes, const std::string& type)
{
    return m_worker->perform(
        [&](X11SelectionService& service) { return service.add(type, std::string(bytes)); });
}

std::optional<std::string> X11Pasteboard::string(const std::string& type)
{
    const auto result = m_worker->perform([&](X11SelectionService& service) { return service.read(type); });
    if (result.owner != m_toolkitClient) {
        return result.text;
    }
    // Text copied in one of this program's own fields.
    const QMimeData* own = QGuiApplication::clipboard()->mimeData();
    if (!own || !own->hasText() || type != pasteboardType::string) {
        return std::nullopt;
    }
    std::string text = toUtf8(own->text());
    m_worker->perform([&](X11SelectionService& service) { service.didRead(text); });
    return text;
}

bool X11Pasteboard::pasteWillBegin(xcb_window_t target, X11SelectionService::PasteSelections selections)
{
    return m_worker->perform(
        [=](X11SelectionService& service) { return service.beginPaste(target, selections); });
}

void X11Pasteboard::pasteWasCancelled()
{
    m_worker->perform([](X11SelectionService& service) { service.cancelPaste(); });
}

} // namespace glimmerwick
