#include "Platform/X11/X11EventTap.h"

#include "Platform/Qt/KeyEventFilter.h"
#include "Platform/X11/X11KeyboardGrab.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>

namespace glimmerwick {

namespace {

// What the masks of passive grabs are compared with: the eight modifiers, no mouse buttons, no layout group.
constexpr std::uint16_t modifierBits = 0xff;

bool matches(const KeyCombination& combination, const KeyEvent& event)
{
    return event.keyCode == combination.keyCode
        && (event.flags & combination.required) == combination.required
        && (event.flags & combination.forbidden) == 0;
}

template <typename Set> Set difference(const Set& all, const Set& without)
{
    Set result;
    std::ranges::set_difference(all, without, std::inserter(result, result.end()));
    return result;
}

} // namespace

struct X11EventTap::Tap {
    Options options;
    Callback callback;
    bool isEnabled = false;
    bool hasSource = false;
    Grabs grabs;
    Registration filterRegistration;

    bool isLive() const { return isEnabled && hasSource; }
};

class X11EventTap::Source : public RunLoopSource {
public:
    explicit Source(std::shared_ptr<Tap> tap) : m_tap(std::move(tap)) { m_tap->hasSource = true; }
    ~Source() override { m_tap->hasSource = false; }

private:
    std::shared_ptr<Tap> m_tap;
};

class X11EventTap::Port : public EventTapPort {
public:
    Port(X11EventTap& owner, std::shared_ptr<Tap> tap) : m_owner(owner), m_tap(std::move(tap)) { }
    ~Port() override { m_owner.remove(m_tap); }

    std::unique_ptr<RunLoopSource> createRunLoopSource() override { return std::make_unique<Source>(m_tap); }
    void setEnabled(bool enabled) override { m_owner.setEnabled(*m_tap, enabled); }

private:
    X11EventTap& m_owner;
    std::shared_ptr<Tap> m_tap;
};

X11EventTap::X11EventTap(X11Connection& toolkit, X11Keyboard& keyboard, X11KeyboardGrab& keyboardGrab,
                         KeyEventFilter& keyEventFilter)
    : m_toolkit(toolkit), m_keyboard(keyboard), m_keyboardGrab(keyboardGrab), m_keyEventFilter(keyEventFilter)
{
}

X11EventTap::~X11EventTap() = default;

std::unique_ptr<EventTapPort> X11EventTap::create(Options options, Callback callback)
{
    auto tap = std::make_shared<Tap>();
    tap->options = options;
    tap->callback = std::move(callback);
    if (options.only) {
        tap->grabs = grabsFor(*options.only);
        if (tap->grabs.empty()) {
            std::fprintf(stderr, "glimmerwick: this keyboard cannot produce the shortcut\n");
            return nullptr;
        }
        if (!grab(tap->grabs)) {
            reportRefusal();
            return nullptr;
        }
        m_isRefusalReported = false;
    }
    m_taps.insert(m_taps.begin(), tap);
    tap->filterRegistration = m_keyEventFilter.addTap(
        [weakTap = std::weak_ptr(tap)](const KeyEvent& event) -> std::optional<TapDecision> {
            const auto current = weakTap.lock();
            if (!current || !current->isLive()
                || (current->options.only && !matches(*current->options.only, event))) {
                return std::nullopt;
            }
            return current->callback(event);
        });
    return std::make_unique<Port>(*this, std::move(tap));
}

bool X11EventTap::isTappingEveryKey() const
{
    return std::ranges::any_of(m_taps, [](const auto& tap) { return tap->isLive() && !tap->options.only; });
}

bool X11EventTap::handlePassiveGrab(const xcb_key_press_event_t& event)
{
    if (event.event != m_toolkit.root()) {
        return false;
    }
    const Grab pressed{event.detail, static_cast<std::uint16_t>(event.state & modifierBits)};
    const auto found =
        std::ranges::find_if(m_taps, [&](const auto& tap) { return tap->grabs.contains(pressed); });
    if (found == m_taps.end()) {
        return false;
    }
    const std::shared_ptr<Tap> tap = *found;
    if (tap->isLive()) {
        tap->callback(
            {EventType::keyDown, tap->options.only->keyCode, m_keyboard.flags(event.state), std::nullopt});
    }
    return true;
}

X11EventTap::Grabs X11EventTap::grabsFor(const KeyCombination& combination) const
{
    const auto modifiers = m_keyboard.modifierMask(combination.required);
    Grabs grabs;
    if (!modifiers) {
        return grabs;
    }
    for (const xcb_keycode_t key : m_keyboard.keysOf(combination.keyCode)) {
        for (const std::uint16_t locks : m_keyboard.lockCombinations()) {
            grabs.emplace(key, *modifiers | locks);
        }
    }
    return grabs;
}

// All or nothing.
bool X11EventTap::grab(const Grabs& grabs)
{
    std::vector<xcb_void_cookie_t> requests;
    for (const auto& [key, modifiers] : grabs) {
        requests.push_back(xcb_grab_key_checked(m_toolkit, 0, m_toolkit.root(), modifiers, key,
                                                XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_SYNC));
    }
    bool areGranted = true;
    for (const xcb_void_cookie_t request : requests) {
        areGranted = m_toolkit.succeeds(request) && areGranted;
    }
    if (!areGranted) {
        ungrab(grabs);
    }
    return areGranted;
}

void X11EventTap::ungrab(const Grabs& grabs)
{
    for (const auto& [key, modifiers] : grabs) {
        xcb_ungrab_key(m_toolkit, key, m_toolkit.root(), modifiers);
    }
    xcb_flush(m_toolkit);
}

void X11EventTap::setEnabled(Tap& tap, bool enabled)
{
    if (tap.isEnabled == enabled) {
        return;
    }
    tap.isEnabled = enabled;
    if (!tap.options.only) {
        m_keyboardGrab.setWanted(std::ranges::any_of(
            m_taps, [](const auto& other) { return other->isEnabled && !other->options.only; }));
    } else if (!enabled) {
        ungrab(tap.grabs);
        tap.grabs.clear();
    } else if (tap.grabs.empty()) {
        grabAnew(tap);
    }
}

void X11EventTap::remove(const std::shared_ptr<Tap>& tap)
{
    setEnabled(*tap, false);
    ungrab(tap->grabs);
    tap->filterRegistration.reset();
    std::erase(m_taps, tap);
}

void X11EventTap::keyboardDidChange()
{
    for (const auto& tap : m_taps) {
        if (tap->options.only && tap->isEnabled) {
            grabAnew(*tap);
        }
    }
}

// What was grabbed and still is needed stays grabbed, so that nobody can take it in between.
void X11EventTap::grabAnew(Tap& tap)
{
    const Grabs needed = grabsFor(*tap.options.only);
    const Grabs missing = difference(needed, tap.grabs);
    ungrab(difference(tap.grabs, needed));
    if (grab(missing)) {
        tap.grabs = needed;
        m_isRefusalReported = false;
    } else {
        tap.grabs = difference(needed, missing);
        reportRefusal();
    }
}

// Whoever asked may ask again at once; the same answer is no news.
void X11EventTap::reportRefusal()
{
    if (!m_toolkit.isBroken() && !std::exchange(m_isRefusalReported, true)) {
        std::fprintf(stderr, "glimmerwick: another program has taken the shortcut\n");
    }
}

} // namespace glimmerwick
