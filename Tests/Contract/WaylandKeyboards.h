#pragma once

#include "Platform/Wayland/WaylandConnection.h"
#include "Platform/Wayland/WaylandFakeInput.h"
#include "Platform/Wayland/WaylandInjectedKeyboard.h"

#include <memory>

namespace glimmerwick::contract {

/// The keyboard that the compositor lends. Where it shares the user's layouts, the first of them is in use.
inline std::unique_ptr<InjectedKeyboard> makeKeyboard(WaylandConnection& connection)
{
    if (connection.capabilities().virtualKeyboard) {
        return std::make_unique<WaylandInjectedKeyboard>(connection);
    }
    return std::make_unique<WaylandFakeInput>(connection);
}

} // namespace glimmerwick::contract
