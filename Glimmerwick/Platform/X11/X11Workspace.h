#pragma once

#include "Platform/Linux/DesktopFiles.h"
#include "Platform/Workspace.h"

#include <cstdint>
#include <future>

namespace glimmerwick {

class X11TypingTarget;
class X11Windows;

/// Applications by their windows. One application may be listed once for each window it has. Main thread.
class X11Workspace : public Workspace {
public:
    /// Begins to read the desktop files in the background; installed applications that come later are not
    /// known. The client is the toolkit's: its windows are this program's own.
    X11Workspace(X11Windows& windows, X11TypingTarget& typingTarget, std::uint32_t toolkitClient);
    ~X11Workspace() override;

    std::shared_ptr<RunningApplication> frontmostApplication() override;
    std::vector<std::shared_ptr<RunningApplication>> runningApplications() override;

private:
    class Application;
    struct Shared;

    std::shared_ptr<Shared> m_shared;
};

} // namespace glimmerwick
