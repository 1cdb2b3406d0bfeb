#include "HotkeyManager.h"

#include "Platform/MainQueue.h"
#include "Platform/Platform.h"

namespace glimmerwick {

namespace {

constexpr KeyCombination hotkey{keyCode::space, eventFlag::control | eventFlag::command,
                                eventFlag::shift | eventFlag::option};

bool isHotkey(const KeyEvent& event)
{
    return event.keyCode == hotkey.keyCode && (event.flags & hotkey.required) == hotkey.required
        && (event.flags & hotkey.forbidden) == 0;
}

} // namespace

HotkeyManager& HotkeyManager::shared()
{
    return InstalledPlatform::sharedInstance<HotkeyManager>([](const Platform& platform) {
        return std::make_unique<HotkeyManager>(platform.eventTap, platform.mainQueue);
    });
}

HotkeyManager::HotkeyManager(EventTap& eventTap, MainQueue& mainQueue)
    : m_tapService(eventTap), m_mainQueue(mainQueue)
{
}

HotkeyManager::~HotkeyManager()
{
    stop();
}

bool HotkeyManager::start()
{
    if (m_isRunning) {
        return true;
    }
    m_eventTap = m_tapService.create(
        {hotkey}, [this](const KeyEvent& event) { return hotkeyEventCallback(event, this); });
    if (!m_eventTap) {
        return false;
    }
    m_runLoopSource = m_eventTap->createRunLoopSource();
    if (!m_runLoopSource) {
        m_eventTap.reset();
        return false;
    }
    m_eventTap->setEnabled(true);
    m_isRunning = true;
    return true;
}

void HotkeyManager::stop()
{
    if (!m_isRunning) {
        return;
    }
    m_runLoopSource.reset();
    m_eventTap->setEnabled(false);
    m_eventTap.reset();
    m_isRunning = false;
}

TapDecision HotkeyManager::hotkeyEventCallback(const KeyEvent& event, HotkeyManager* manager)
{
    switch (event.type) {
    case EventType::tapDisabledByTimeout:
    case EventType::tapDisabledByUserInput:
        if (manager && manager->m_eventTap) {
            manager->m_eventTap->setEnabled(true);
        }
        return TapDecision::pass;
    case EventType::keyDown:
        if (!isHotkey(event)) {
            return TapDecision::pass;
        }
        if (manager) {
            manager->trigger();
        }
        return TapDecision::swallow;
    default:
        return TapDecision::pass;
    }
}

void HotkeyManager::trigger()
{
    m_mainQueue.async([this, alive = m_lifetime.watch()] {
        if (!alive) {
            return;
        }
        // A copy: the callback may replace itself.
        if (const auto callback = onHotkeyTriggered) {
            callback();
        }
    });
}

} // namespace glimmerwick
