#pragma once

#include <optional>
#include <string>

namespace glimmerwick {

/// What a paste chord takes its text from: Shift+Insert pastes the selected text (the primary selection) in
/// some applications.
enum class PasteSelections { clipboard, clipboardAndPrimary };

/// What a paste chord meets when it is pressed: the window that gets the keys, and the clipboard. Main
/// thread.
class PasteSurroundings {
public:
    virtual ~PasteSurroundings() = default;

    /// Why keys must not be pressed now, in words for a log: "another window has the keyboard". Nothing when
    /// they may, as far as can be known.
    virtual std::optional<std::string> obstacle() = 0;

    /// What the window system calls the application that gets the keys: its identifier, or the class of an
    /// X11 window. Empty when unknown.
    virtual std::string frontmostApplication() = 0;

    /// A chord is about to be pressed that pastes what the clipboard holds now. False when the clipboard is
    /// another program's, whose text the chord would paste. May block for a bounded time.
    virtual bool pasteWillBegin(PasteSelections selections) = 0;

    /// The chord is not pressed after all.
    virtual void pasteWasCancelled() = 0;
};

} // namespace glimmerwick
