#include "Platform/Qt/FocusedEventTap.h"

#include "Platform/Qt/KeyEventFilter.h"

#include <optional>
#include <utility>

namespace glimmerwick {

struct FocusedEventTap::Tap {
    Callback callback;
    bool isEnabled = false;
    bool hasSource = false;
};

class FocusedEventTap::Source : public RunLoopSource {
public:
    explicit Source(std::shared_ptr<Tap> tap) : m_tap(std::move(tap)) { m_tap->hasSource = true; }
    ~Source() override { m_tap->hasSource = false; }

private:
    const std::shared_ptr<Tap> m_tap;
};

class FocusedEventTap::Port : public EventTapPort {
public:
    Port(std::shared_ptr<Tap> tap, Registration registration)
        : m_tap(std::move(tap)), m_registration(std::move(registration))
    {
    }

    std::unique_ptr<RunLoopSource> createRunLoopSource() override { return std::make_unique<Source>(m_tap); }
    void setEnabled(bool enabled) override { m_tap->isEnabled = enabled; }

private:
    const std::shared_ptr<Tap> m_tap;
    const Registration m_registration;
};

FocusedEventTap::FocusedEventTap(KeyEventFilter& keyEventFilter) : m_keyEventFilter(keyEventFilter) { }

FocusedEventTap::~FocusedEventTap() = default;

std::unique_ptr<EventTapPort> FocusedEventTap::create(Options options, Callback callback)
{
    if (options.only) {
        return nullptr;
    }
    auto tap = std::make_shared<Tap>(Tap{std::move(callback)});
    Registration registration = m_keyEventFilter.addTap(
        [weakTap = std::weak_ptr(tap)](const KeyEvent& event) -> std::optional<TapDecision> {
            const auto current = weakTap.lock();
            if (!current || !current->isEnabled || !current->hasSource) {
                return std::nullopt;
            }
            return current->callback(event);
        });
    return std::make_unique<Port>(std::move(tap), std::move(registration));
}

} // namespace glimmerwick
