#include "KeyEventInterceptor.h"

#include "Models/UnicodeText.h"
#include "Platform/MainQueue.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace glimmerwick {

namespace {

bool isSpecialKey(std::uint16_t code)
{
    switch (code) {
    case keyCode::return_:
    case keyCode::tab:
    case keyCode::delete_:
    case keyCode::escape:
    case keyCode::keypadEnter:
    case keyCode::leftArrow:
    case keyCode::rightArrow:
    case keyCode::downArrow:
    case keyCode::upArrow:
        return true;
    default:
        return false;
    }
}

// A code that does not fit would be mistaken for another key.
std::uint16_t checkedKeyCode(std::int64_t code)
{
    if (!std::in_range<std::uint16_t>(code)) {
        std::fprintf(stderr, "KeyEventInterceptor: key code %lld is not in 0...65535\n",
                     static_cast<long long>(code));
        std::abort();
    }
    return static_cast<std::uint16_t>(code);
}

} // namespace

KeyEventInterceptor::KeyEventInterceptor(EventTap& eventTap, MainQueue& mainQueue)
    : m_tapService(eventTap), m_mainQueue(mainQueue)
{
}

KeyEventInterceptor::~KeyEventInterceptor()
{
    stop();
}

bool KeyEventInterceptor::start()
{
    if (m_isActive) {
        return true;
    }
    m_eventTap = m_tapService.create(
        {}, [this](const KeyEvent& event) { return keyEventInterceptorCallback(event, this); });
    if (!m_eventTap) {
        return false;
    }
    m_runLoopSource = m_eventTap->createRunLoopSource();
    if (!m_runLoopSource) {
        m_eventTap.reset();
        return false;
    }
    m_eventTap->setEnabled(true);
    m_isActive = true;
    return true;
}

void KeyEventInterceptor::stop()
{
    if (!m_isActive) {
        return;
    }
    m_runLoopSource.reset();
    m_eventTap->setEnabled(false);
    m_eventTap.reset();
    m_isActive = false;
    onSpecialKey = nullptr;
    onCharacterInput = nullptr;
}

TapDecision KeyEventInterceptor::keyEventInterceptorCallback(const KeyEvent& event,
                                                             KeyEventInterceptor* interceptor)
{
    if (!interceptor) {
        return TapDecision::pass;
    }
    switch (event.type) {
    case EventType::tapDisabledByTimeout:
    case EventType::tapDisabledByUserInput:
        if (interceptor->m_eventTap) {
            interceptor->m_eventTap->setEnabled(true);
        }
        return TapDecision::pass;
    case EventType::keyDown:
        return interceptor->handleKeyEvent(checkedKeyCode(event.keyCode), event.flags, event.characters)
            ? TapDecision::swallow
            : TapDecision::pass;
    default:
        return TapDecision::pass;
    }
}

bool KeyEventInterceptor::handleKeyEvent(std::uint16_t keyCode, EventFlags flags,
                                         const std::optional<std::string>& characters)
{
    const bool command = (flags & eventFlag::command) != 0;
    const bool control = (flags & eventFlag::control) != 0;
    const bool option = (flags & eventFlag::option) != 0;

    if (keyCode == keyCode::space && control && command) {
        return false;
    }
    if (keyCode == keyCode::delete_ && (command || option)) {
        return false;
    }
    if (isSpecialKey(keyCode)) {
        reportSpecialKey(keyCode, flags);
        return true;
    }
    if (control) {
        return true;
    }
    if (command) {
        return false;
    }
    if (characters && unicode::startsWithPrintable(*characters)) {
        reportCharacters(*characters);
    }
    return true;
}

// The reports run on copies of the callbacks: both may stop the interceptor, which destroys the originals.

void KeyEventInterceptor::reportSpecialKey(std::uint16_t keyCode, EventFlags flags)
{
    m_mainQueue.async([this, alive = m_lifetime.watch(), keyCode, flags] {
        if (!alive || !m_isActive) {
            return;
        }
        if (const auto callback = onSpecialKey) {
            callback(keyCode, flags);
        }
    });
}

void KeyEventInterceptor::reportCharacters(const std::string& characters)
{
    m_mainQueue.async([this, alive = m_lifetime.watch(), characters] {
        if (!alive || !m_isActive) {
            return;
        }
        if (const auto callback = onCharacterInput) {
            callback(characters);
        }
    });
}

} // namespace glimmerwick
