#pragma once

#include "Platform/Shell.h"

#include <string>

namespace glimmerwick {

class SessionBus;

/// Posts notices to the desktop's notification service and waits for no answer.
class DBusUserNotice : public UserNotice {
public:
    /// The identifier is that of the program's desktop file, by which the service finds its name and icon.
    DBusUserNotice(const SessionBus& bus, std::string bundleIdentifier);

    void post(const NoticeContent& content) override;

private:
    const SessionBus& m_bus;
    std::string m_bundleIdentifier;
};

} // namespace glimmerwick
