#pragma once

#include <cstdint>

namespace glimmerwick {

class SessionBus;

/// Which of the user's keyboard layouts KWin uses now. It tells a program's window that, too, but only while
/// the window has the keys. Main thread.
class KWinKeyboardLayout {
public:
    /// The bus must outlive this.
    explicit KWinKeyboardLayout(const SessionBus& bus);

    /// 0 for the first one; also when nobody says, which KWin does not while there is one alone. Blocks for
    /// 300 ms at most.
    std::uint32_t inUse() const;

private:
    const SessionBus& m_bus;
};

} // namespace glimmerwick
