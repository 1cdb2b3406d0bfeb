#pragma once

#include <cstdint>

namespace glimmerwick {

/// Something that opens over the picker, like a menu, and gets the keys before the picker does. It never
/// takes the keyboard focus. Main thread.
class KeyOverlay {
public:
    virtual ~KeyOverlay() = default;

    virtual bool isShown() const = 0;
    /// True when the key was its business, which is no key's while it is not shown.
    virtual bool handleKey(std::int64_t keyCode) = 0;
    virtual void dismiss() = 0;
};

} // namespace glimmerwick
