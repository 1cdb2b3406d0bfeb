#include "Platform/Wayland/WaylandWorkspace.h"

#include "Platform/Wayland/WaylandWindows.h"

#include <chrono>
#include <future>
#include <string_view>
#include <utility>

namespace glimmerwick {

namespace {

using namespace std::chrono_literals;

constexpr auto activationPatience = 500ms;
constexpr std::int32_t unknownProcess = -1;
constexpr std::string_view ownIdentifier = "com.glimmerwick.Glimmerwick";
constexpr const char* ownName = "Glimmerwick";

std::optional<std::string> unlessEmpty(std::string text)
{
    return text.empty() ? std::nullopt : std::optional(std::move(text));
}

} // namespace

struct WaylandWorkspace::Shared {
    WaylandWindows& windows;
    std::shared_future<DesktopFiles> desktopFiles;
};

/// Knows what the window said of itself when it was seen, also after the window is gone.
class WaylandWorkspace::Application : public RunningApplication {
public:
    Application(std::shared_ptr<Shared> shared, WaylandToplevel window)
        : m_shared(std::move(shared)), m_window(std::move(window))
    {
    }

    std::optional<std::string> bundleIdentifier() const override
    {
        const DesktopFile* file = desktopFile();
        return unlessEmpty(file ? file->identifier : m_window.appId);
    }

    std::optional<std::string> localizedName() const override
    {
        if (m_window.appId == ownIdentifier) {
            return ownName;
        }
        const DesktopFile* file = desktopFile();
        return unlessEmpty(file && !file->name.empty() ? file->name : m_window.appId);
    }

    std::int32_t processIdentifier() const override { return unknownProcess; }

    bool activate(ActivationOption) override
    {
        return m_shared->windows.activate(m_window.identifier, activationPatience);
    }

private:
    const DesktopFile* desktopFile() const
    {
        const DesktopFiles& files = m_shared->desktopFiles.get();
        const DesktopFile* named = files.find(m_window.appId);
        return named ? named : files.findByWindowClass(m_window.appId, {});
    }

    const std::shared_ptr<Shared> m_shared;
    const WaylandToplevel m_window;
};

WaylandWorkspace::WaylandWorkspace(WaylandWindows& windows)
    : m_shared(std::make_shared<Shared>(Shared{windows, std::async(std::launch::async, [] {
                                                            return DesktopFiles(
                                                                DesktopFiles::standardFolders());
                                                        }).share()}))
{
}

WaylandWorkspace::~WaylandWorkspace() = default;

std::shared_ptr<RunningApplication> WaylandWorkspace::frontmostApplication()
{
    auto window = m_shared->windows.frontmost();
    return window ? std::make_shared<Application>(m_shared, *std::move(window)) : nullptr;
}

std::vector<std::shared_ptr<RunningApplication>> WaylandWorkspace::runningApplications()
{
    std::vector<std::shared_ptr<RunningApplication>> applications;
    for (auto& window : m_shared->windows.all()) {
        applications.push_back(std::make_shared<Application>(m_shared, std::move(window)));
    }
    return applications;
}

} // namespace glimmerwick
