#pragma once

#include "Platform/InjectedKeyboard.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace glimmerwick {

class WaylandConnection;

/// Has KWin press keys as if they were the user's: they have the user's layout, and share the modifiers with
/// the keys of all keyboards. So modifier keys that the user holds are let go first. They stay so until they
/// are pressed anew.
///
/// KWin offers this to a program alone whose desktop file asks for org_kde_kwin_fake_input and has the
/// program's path in its Exec line. Main thread.
class WaylandFakeInput : public InjectedKeyboard {
public:
    /// Which of the user's layouts is in use, 0 being the first. Asked before keys are pressed. No window of
    /// another program's that has the focus lets this be seen by the protocol.
    using LayoutInUse = std::function<std::uint32_t()>;

    /// The connection must outlive this. Never ready when the compositor presses no keys for this program.
    /// Where nobody tells which layout is in use it is taken for the first.
    explicit WaylandFakeInput(
        WaylandConnection& connection, LayoutInUse layoutInUse = [] { return 0; });
    ~WaylandFakeInput() override;

    bool isReady() override;

    /// A symbol that the layout in use lacks is typed by the key that has it on a US keyboard, as programs
    /// expect of shortcuts.
    bool canType(std::uint32_t symbol) override;

    bool press(const KeySymbols& symbols) override;
    void release(const KeySymbols& symbols) override;

private:
    class Worker;

    WaylandConnection& m_connection;
    const LayoutInUse m_layoutInUse;
    /// The connection's thread. Null when there is none to be had.
    std::unique_ptr<Worker> m_worker;
};

} // namespace glimmerwick
