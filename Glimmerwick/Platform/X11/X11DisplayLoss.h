#pragma once

#include "Platform/Qt/DisplayLoss.h"

namespace glimmerwick {

/// Has the program end in good order when the X server goes away.
class X11DisplayLoss : public DisplayLoss {
public:
    X11DisplayLoss();

    Registration saveBy(std::function<void()> save) override;

    /// A connection to the display has broken.
    static void tell();
};

} // namespace glimmerwick
