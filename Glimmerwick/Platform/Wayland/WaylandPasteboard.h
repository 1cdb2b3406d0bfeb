#pragma once

#include "Platform/Pasteboard.h"
#include "Platform/Wayland/WaylandClipboardService.h"

#include <functional>
#include <memory>

namespace glimmerwick {

class MainQueue;
class UserNotice;
class WaylandConnection;

/// The seat's clipboard by the data control protocols, which need no window that has the focus. It is served
/// on the connection's thread, so other programs are answered while the main thread waits. Without the
/// protocol, or once the connection is lost, it holds nothing and takes nothing. Main thread.
///
/// Reading another program's text blocks for at most 1 s without progress and 5 s altogether, and takes up to
/// 64 MiB. The concealed marker is offered under its own name and under the one that password managers use.
/// Text that was read with that hint and is put back keeps it, also when its owner was too slow to say what
/// it hints.
///
/// New text is shown to other programs when it is clear whether clipboard histories may record it: when it is
/// marked, when its paste begins, or after 500 ms; at once when it is what was read before. Until then they
/// see what was there. While a paste is under way they see what is being pasted.
///
/// What is here is gone when the program ends: nobody takes it over.
class WaylandPasteboard : public Pasteboard {
public:
    /// The text that the toolkit of this program has on the clipboard; nothing when it does not own that. The
    /// toolkit shares the main thread and cannot send its text while that waits here.
    using ToolkitText = std::function<std::optional<std::string>()>;

    /// The notice is for pastes that nobody has taken.
    WaylandPasteboard(WaylandConnection& connection, MainQueue& mainQueue, UserNotice& userNotice,
                      ToolkitText toolkitText);
    ~WaylandPasteboard() override;

    void clearContents() override;
    bool setString(std::string_view text, const std::string& type) override;
    bool setData(std::string_view bytes, const std::string& type) override;
    std::optional<std::string> string(const std::string& type) override;

    /// A paste chord is about to be pressed. What the clipboard holds now is what everybody gets from here
    /// on for as long as a paste lasts (`PasteSpan`), even if other text is put on the clipboard meanwhile;
    /// that is shown when the time is over.
    ///
    /// False when another program owns the clipboard: the chord would paste that one's text. Blocks for 3 s
    /// at most while nobody has taken the paste before this one.
    bool pasteWillBegin(PasteSelections selections);
    /// The chord is not pressed after all.
    void pasteWasCancelled();

private:
    template <typename Work> auto perform(Work work);

    WaylandConnection& m_connection;
    const ToolkitText m_toolkitText;
    std::unique_ptr<WaylandClipboardService> m_service;
};

} // namespace glimmerwick
