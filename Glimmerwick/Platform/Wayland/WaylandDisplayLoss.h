#pragma once

#include "Platform/Qt/DisplayLoss.h"

namespace glimmerwick {

/// Has the program end in good order when the Wayland compositor goes away.
class WaylandDisplayLoss : public DisplayLoss {
public:
    WaylandDisplayLoss();

    Registration saveBy(std::function<void()> save) override;
};

} // namespace glimmerwick
