#include "Platform/Wayland/WaylandInjectedKeyboard.h"

#include "Platform/Wayland/WaylandConnection.h"
#include "Platform/Wayland/WaylandVirtualKeyboard.h"

#include <algorithm>

namespace glimmerwick {

WaylandInjectedKeyboard::WaylandInjectedKeyboard(WaylandConnection& connection)
    : m_connection(connection), m_keyboard(connection.perform([](WaylandDisplay& display) {
          auto keyboard = WaylandVirtualKeyboard::make(display);
          // One that is refused ends the connection, which is to be known before anything relies on it.
          display.roundTrip();
          return keyboard;
      }))
{
}

WaylandInjectedKeyboard::~WaylandInjectedKeyboard()
{
    m_connection.perform([this](WaylandDisplay&) { m_keyboard.reset(); });
}

bool WaylandInjectedKeyboard::isReady()
{
    return m_keyboard && !m_connection.isLost();
}

bool WaylandInjectedKeyboard::canType(std::uint32_t symbol)
{
    return m_keyboard && m_keyboard->keyTyping(symbol).has_value();
}

bool WaylandInjectedKeyboard::press(const KeySymbols& symbols)
{
    if (!m_keyboard) {
        return false;
    }
    return m_connection.perform([&](WaylandDisplay& display) {
        for (const std::uint32_t symbol : symbols) {
            m_keyboard->press(*m_keyboard->keyTyping(symbol));
        }
        return display.roundTrip();
    });
}

void WaylandInjectedKeyboard::release(const KeySymbols& symbols)
{
    if (!m_keyboard) {
        return;
    }
    m_connection.perform([&](WaylandDisplay& display) {
        std::for_each(symbols.rbegin(), symbols.rend(),
                      [this](std::uint32_t symbol) { m_keyboard->release(*m_keyboard->keyTyping(symbol)); });
        display.roundTrip();
    });
}

} // namespace glimmerwick
