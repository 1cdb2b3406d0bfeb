#include "Platform/Linux/ShortcutTap.h"

#include <utility>

namespace glimmerwick {

namespace {

constexpr EventFlags pickerModifiers = eventFlag::control | eventFlag::command;

} // namespace

class ShortcutTap::Source : public RunLoopSource {
public:
    explicit Source(std::shared_ptr<ShortcutTap> tap) : m_tap(std::move(tap)) { m_tap->m_hasSource = true; }
    ~Source() override { m_tap->m_hasSource = false; }

private:
    const std::shared_ptr<ShortcutTap> m_tap;
};

class ShortcutTap::Port : public EventTapPort {
public:
    Port(std::shared_ptr<ShortcutTap> tap, Registration shortcut)
        : m_tap(std::move(tap)), m_shortcut(std::move(shortcut))
    {
    }
    // The service may speak once more while it is told.
    ~Port() override { m_tap->m_isEnabled = false; }

    std::unique_ptr<RunLoopSource> createRunLoopSource() override { return std::make_unique<Source>(m_tap); }
    void setEnabled(bool enabled) override { m_tap->m_isEnabled = enabled; }

private:
    const std::shared_ptr<ShortcutTap> m_tap;
    const Registration m_shortcut;
};

ShortcutTap::ShortcutTap(EventTap::Callback callback, OnUnavailable onUnavailable)
    : m_callback(std::move(callback)), m_onUnavailable(std::move(onUnavailable))
{
}

void ShortcutTap::press()
{
    if (!m_isEnabled || !m_hasSource) {
        return;
    }
    KeyEvent event;
    event.keyCode = keyCode::space;
    event.flags = pickerModifiers;
    // Whether it is swallowed was the service's decision.
    m_callback(event);
}

void ShortcutTap::setUnavailable(const std::string& reason)
{
    if (reason == m_toldReason) {
        return;
    }
    m_toldReason = reason;
    if (m_onUnavailable) {
        m_onUnavailable(reason);
    }
}

bool ShortcutTap::isPickerShortcut(const EventTap::Options& options)
{
    return options.only && options.only->keyCode == keyCode::space
        && options.only->required == pickerModifiers;
}

std::unique_ptr<EventTapPort> ShortcutTap::makePort(std::shared_ptr<ShortcutTap> tap, Registration shortcut)
{
    return std::make_unique<Port>(std::move(tap), std::move(shortcut));
}

} // namespace glimmerwick
