#pragma once

#include "Platform/EventMonitors.h"
#include "Platform/EventTap.h"
#include "Platform/Qt/HandlerList.h"

#include <QObject>

#include <functional>
#include <map>
#include <optional>

class QInputMethodEvent;
class QKeyEvent;
class QWindow;

namespace glimmerwick {

class MainQueue;

/// Shows this application's key presses to taps and to local monitors before a widget gets them, and after
/// the input method has had them: dead keys and input methods have composed by then, and what an input method
/// commits comes as a press of an unknown key with characters. Presses of modifier keys are not shown.
///
/// Each press is shown once. The release that belongs to a swallowed press is swallowed with it.
///
/// A tap may report what it swallows through the main queue. A press that it passes, Ctrl+A right behind a
/// letter, waits behind those reports, or fast typing would be edited before it has arrived. One whose window
/// is hidden by then is dropped.
/// Make it after the application object. Main thread.
class KeyEventFilter : public QObject {
public:
    /// Nothing when the tap does not look at this event, as if it were not there.
    using Tap = std::function<std::optional<TapDecision>(const KeyEvent&)>;
    using LocalMonitor = std::function<MonitorDecision(const KeyEvent&)>;

    explicit KeyEventFilter(MainQueue& mainQueue);
    ~KeyEventFilter() override;

    /// The new tap comes ahead of earlier ones; what it passes goes on to them.
    Registration addTap(Tap tap) { return m_taps.prepend(std::move(tap)); }

    /// Sees the presses that no tap looked at.
    Registration addLocalMonitor(LocalMonitor monitor) { return m_localMonitors.append(std::move(monitor)); }

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    enum class Outcome {
        deliver,
        swallow,
        /// Delivered behind everything that waits in the main queue already.
        defer,
    };

    Outcome handleKey(QWindow& window, const QKeyEvent& event);
    Outcome handlePress(const QKeyEvent& event);
    Outcome handleRelease(const QKeyEvent& event);
    void handleCommit(QInputMethodEvent& event);
    Outcome offer(const KeyEvent& event);

    MainQueue& m_mainQueue;
    HandlerList<std::optional<TapDecision>(const KeyEvent&)> m_taps;
    HandlerList<MonitorDecision(const KeyEvent&)> m_localMonitors;
    /// Native scan codes of keys whose release is to share what became of the press.
    std::map<quint32, Outcome> m_heldKeys;
};

} // namespace glimmerwick
