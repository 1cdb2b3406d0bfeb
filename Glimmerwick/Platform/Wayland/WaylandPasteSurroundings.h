#pragma once

#include "Platform/PasteSurroundings.h"

namespace glimmerwick {

class WaylandPasteboard;
class WaylandWindows;

/// Keys are for the window activated last and its dialogs, as far as the compositor tells of windows. Main
/// thread.
class WaylandPasteSurroundings : public PasteSurroundings {
public:
    /// Both must outlive this.
    WaylandPasteSurroundings(WaylandWindows& windows, WaylandPasteboard& pasteboard);

    std::optional<std::string> obstacle() override;
    std::string frontmostApplication() override;
    bool pasteWillBegin(PasteSelections selections) override;
    void pasteWasCancelled() override;

private:
    WaylandWindows& m_windows;
    WaylandPasteboard& m_pasteboard;
};

} // namespace glimmerwick
