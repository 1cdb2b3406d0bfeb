#pragma once

namespace glimmerwick {

/// A window that can be hidden. Main thread.
class Window {
public:
    virtual ~Window() = default;

    /// Takes the window off the screen, nothing more.
    virtual void orderOut() = 0;
};

/// The picker's own window, as the typing sequence needs it.
class PickerWindow : public Window {
public:
    /// Ends key interception and event monitoring, then orders the window out.
    virtual void dismiss() = 0;
};

} // namespace glimmerwick
