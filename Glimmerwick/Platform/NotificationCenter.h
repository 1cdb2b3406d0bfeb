#pragma once

#include "Platform/Registration.h"

#include <any>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace glimmerwick {

/// A named broadcast.
struct Notification {
    std::string name;
    /// Who posts; only compared, never used.
    const void* object = nullptr;
    /// Absent and empty are different things to observers.
    std::optional<std::map<std::string, std::any>> userInfo;

    /// The user info's value under the key when there is one of exactly this type, else null.
    template <typename T> const T* value(const std::string& key) const
    {
        if (!userInfo) {
            return nullptr;
        }
        const auto found = userInfo->find(key);
        return found == userInfo->end() ? nullptr : std::any_cast<T>(&found->second);
    }
};

/// Delivers notifications to their observers, synchronously and in the order of registration. Main thread.
///
/// Observers may be added and removed while a notification is delivered; one removed meanwhile is not called.
class NotificationCenter {
public:
    using Handler = std::function<void(const Notification&)>;

    NotificationCenter();
    ~NotificationCenter();

    /// Observes a name, from any sender or from one alone. The handle removes the observer and may outlive
    /// the centre.
    Registration addObserver(const std::string& name, Handler handler, const void* object = nullptr);

    void post(const Notification& notification);

private:
    struct Observer;
    using Observers = std::list<std::shared_ptr<Observer>>;

    std::shared_ptr<Observers> m_observers;
};

} // namespace glimmerwick
