#pragma once

#include "Platform/Linux/DesktopFiles.h"
#include "Platform/Workspace.h"

#include <memory>

namespace glimmerwick {

class WaylandWindows;

/// Applications by their windows, each window counting as one. Their processes are nobody's business here, so
/// the process identifier is always -1. Main thread.
class WaylandWorkspace : public Workspace {
public:
    /// The windows must outlive this and every application that comes from here. Desktop files are read in
    /// the background.
    explicit WaylandWorkspace(WaylandWindows& windows);
    ~WaylandWorkspace() override;

    std::shared_ptr<RunningApplication> frontmostApplication() override;
    std::vector<std::shared_ptr<RunningApplication>> runningApplications() override;

private:
    struct Shared;
    class Application;

    std::shared_ptr<Shared> m_shared;
};

} // namespace glimmerwick
