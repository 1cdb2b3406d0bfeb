#pragma once

#include "Platform/InjectedKeyboard.h"

#include <memory>

namespace glimmerwick {

class WaylandConnection;
class WaylandVirtualKeyboard;

/// The virtual keyboard, there from the beginning. What the user holds makes no difference to it. Main
/// thread.
class WaylandInjectedKeyboard : public InjectedKeyboard {
public:
    /// The connection must outlive this. Never ready when the compositor lends no keyboards.
    explicit WaylandInjectedKeyboard(WaylandConnection& connection);
    ~WaylandInjectedKeyboard() override;

    bool isReady() override;
    bool canType(std::uint32_t symbol) override;
    bool press(const KeySymbols& symbols) override;
    void release(const KeySymbols& symbols) override;

private:
    WaylandConnection& m_connection;
    /// The connection's thread, but for its map, which never changes. Null when there are none to be had.
    std::unique_ptr<WaylandVirtualKeyboard> m_keyboard;
};

} // namespace glimmerwick
