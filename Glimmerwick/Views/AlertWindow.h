#pragma once

#include "Platform/Lifetime.h"
#include "Platform/Shell.h"

#include <QPointer>

#include <functional>
#include <vector>

namespace glimmerwick {

class DialogWindow;
class MainQueue;

/// Shows each alert in a window of its own, which takes the focus. Destroying this closes the windows; their
/// completions then never run. Main thread.
class AlertWindow : public Alert {
public:
    /// The queue runs the completions.
    explicit AlertWindow(MainQueue& mainQueue);
    ~AlertWindow() override;

    /// Without any buttons there is one that says OK.
    void show(AlertContent content, std::function<void(std::size_t)> completion) override;

private:
    void complete(const std::function<void(std::size_t)>& completion, std::size_t button);

    MainQueue& m_mainQueue;
    std::vector<QPointer<DialogWindow>> m_windows;
    Lifetime m_lifetime;
};

} // namespace glimmerwick
