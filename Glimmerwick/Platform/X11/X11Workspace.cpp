#include "Platform/X11/X11Workspace.h"

#include "Platform/X11/X11TypingTarget.h"
#include "Platform/X11/X11Windows.h"

#include <chrono>

namespace glimmerwick {

namespace {

using namespace std::chrono_literals;

constexpr auto activationPatience = 500ms;
constexpr const char* ownIdentifier = "com.glimmerwick.Glimmerwick";
constexpr const char* ownName = "Glimmerwick";

std::optional<std::string> unlessEmpty(std::string text)
{
    return text.empty() ? std::nullopt : std::optional(std::move(text));
}

} // namespace

struct X11Workspace::Shared {
    X11Windows& windows;
    X11TypingTarget& typingTarget;
    const std::uint32_t toolkitClient;
    std::shared_future<DesktopFiles> desktopFiles;
};

/// Knows what the window said of itself when it was seen, also after the window is gone.
class X11Workspace::Application : public RunningApplication {
public:
    Application(std::shared_ptr<Shared> shared, xcb_window_t window)
        : m_shared(std::move(shared)), m_window(window), m_names(m_shared->windows.classNames(window)),
          m_gtkIdentifier(m_shared->windows.gtkApplicationIdentifier(window)),
          m_identity(m_shared->windows.identityOf(window))
    {
    }

    std::optional<std::string> bundleIdentifier() const override
    {
        if (isOwn()) {
            return ownIdentifier;
        }
        const DesktopFile* file = desktopFile();
        return unlessEmpty(file ? file->identifier : m_names.class_);
    }

    std::optional<std::string> localizedName() const override
    {
        if (isOwn()) {
            return ownName;
        }
        const DesktopFile* file = desktopFile();
        return unlessEmpty(file && !file->name.empty() ? file->name : m_names.class_);
    }

    std::int32_t processIdentifier() const override { return m_identity.processIdentifier; }

    bool activate(ActivationOption) override
    {
        return m_shared->typingTarget.activate(m_identity, activationPatience);
    }

private:
    bool isOwn() const { return m_shared->windows.clientOf(m_window) == m_shared->toolkitClient; }

    const DesktopFile* desktopFile() const
    {
        const DesktopFiles& files = m_shared->desktopFiles.get();
        const DesktopFile* named = m_gtkIdentifier.empty() ? nullptr : files.find(m_gtkIdentifier);
        return named ? named : files.findByWindowClass(m_names.class_, m_names.instance);
    }

    const std::shared_ptr<Shared> m_shared;
    const xcb_window_t m_window;
    const X11Windows::ClassNames m_names;
    const std::string m_gtkIdentifier;
    const X11Windows::Identity m_identity;
};

X11Workspace::X11Workspace(X11Windows& windows, X11TypingTarget& typingTarget, std::uint32_t toolkitClient)
    : m_shared(std::make_shared<Shared>(
        Shared{windows, typingTarget, toolkitClient, std::async(std::launch::async, [] {
                                                         return DesktopFiles(DesktopFiles::standardFolders());
                                                     }).share()}))
{
}

X11Workspace::~X11Workspace() = default;

std::shared_ptr<RunningApplication> X11Workspace::frontmostApplication()
{
    const auto window = m_shared->windows.frontmostWindow();
    return window ? std::make_shared<Application>(m_shared, *window) : nullptr;
}

std::vector<std::shared_ptr<RunningApplication>> X11Workspace::runningApplications()
{
    std::vector<std::shared_ptr<RunningApplication>> applications;
    for (const xcb_window_t window : m_shared->windows.applicationWindows()) {
        applications.push_back(std::make_shared<Application>(m_shared, window));
    }
    return applications;
}

} // namespace glimmerwick
