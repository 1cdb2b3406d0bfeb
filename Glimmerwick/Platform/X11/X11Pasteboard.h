#pragma once

#include "Platform/Pasteboard.h"
#include "Platform/X11/X11SelectionService.h"

#include <functional>
#include <memory>

namespace glimmerwick {

/// The CLIPBOARD selection, kept on a connection and a thread of its own, so that other programs are answered
/// while the main thread waits. Main thread.
///
/// Reading another program's text blocks for at most 1 s without progress and 5 s altogether, and takes up to
/// 64 MiB. The concealed marker is offered under its own name and under the one that password managers use.
/// Text that was read with that hint and is put back keeps it, also when its owner was too slow to say what
/// it hints.
///
/// New text is shown to other programs when it is clear whether clipboard histories may record it: when it is
/// marked, when its paste begins, or after 500 ms; at once when it is what was read before.
///
/// When this ends, the session's clipboard manager is given the text: the one read before the paste, if the
/// paste's own is still there, and none that is a secret. That blocks for at most 2 s in which nobody is
/// served, and 5 s altogether.
class X11Pasteboard : public Pasteboard {
public:
    /// The client is the toolkit's, which shares the main thread and cannot answer while that waits here.
    /// Throws std::runtime_error when the display cannot be reached.
    explicit X11Pasteboard(std::uint32_t toolkitClient);
    ~X11Pasteboard() override;

    void clearContents() override;
    bool setString(std::string_view text, const std::string& type) override;
    bool setData(std::string_view bytes, const std::string& type) override;
    std::optional<std::string> string(const std::string& type) override;

    /// A paste chord is about to be pressed in the application that the window belongs to. What the clipboard
    /// holds now is what that application gets for as long as a paste lasts (`PasteSpan`), even if other text
    /// is put on the clipboard meanwhile. Programs that watch the clipboard learn of that text when the time
    /// is over.
    ///
    /// False when another program owns the clipboard: the chord would paste that one's text. Blocks for 3 s
    /// at most while the application has yet to take the paste before this one.
    bool pasteWillBegin(xcb_window_t target, X11SelectionService::PasteSelections selections);
    /// The chord is not pressed after all.
    void pasteWasCancelled();

private:
    class Worker;

    const std::uint32_t m_toolkitClient;
    std::unique_ptr<Worker> m_worker;
};

} // namespace glimmerwick
