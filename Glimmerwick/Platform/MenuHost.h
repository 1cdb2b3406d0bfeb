#pragma once

#include <functional>
#include <string>
#include <vector>

namespace glimmerwick {

struct MenuItem {
    enum class Kind { action, separator };

    Kind kind = Kind::action;
    std::string title;
    /// Pressed with Command; empty for none.
    std::string keyEquivalent;
    std::function<void()> action;
};

/// Shows the application's main menu wherever this desktop has a place for it. Main thread.
class MenuHost {
public:
    virtual ~MenuHost() = default;

    virtual void setMainMenu(std::vector<MenuItem> items) = 0;
    virtual void showAboutPanel() = 0;
    /// Ends the program by way of its main loop.
    virtual void terminate() = 0;
};

} // namespace glimmerwick
