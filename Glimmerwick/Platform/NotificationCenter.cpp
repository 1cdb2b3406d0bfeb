#include "Platform/NotificationCenter.h"

#include <utility>
#include <vector>

namespace glimmerwick {

struct NotificationCenter::Observer {
    std::string name;
    Handler handler;
    const void* object = nullptr;
    bool isRemoved = false;

    bool wants(const Notification& notification) const
    {
        return name == notification.name && (!object || object == notification.object);
    }
};

NotificationCenter::NotificationCenter() : m_observers(std::make_shared<Observers>()) { }

NotificationCenter::~NotificationCenter() = default;

Registration NotificationCenter::addObserver(const std::string& name, Handler handler, const void* object)
{
    auto observer = std::make_shared<Observer>(Observer{name, std::move(handler), object});
    m_observers->push_back(observer);
    return Registration([observers = std::weak_ptr(m_observers), weakObserver = std::weak_ptr(observer)] {
        const auto list = observers.lock();
        const auto removed = weakObserver.lock();
        if (removed) {
            removed->isRemoved = true;
        }
        if (list && removed) {
            list->remove(removed);
        }
    });
}

void NotificationCenter::post(const Notification& notification)
{
    // Handlers may change the list, remove themselves or even destroy this object: from here on only the copy
    // is used.
    std::vector<std::shared_ptr<Observer>> receivers;
    for (const auto& observer : *m_observers) {
        if (observer->wants(notification)) {
            receivers.push_back(observer);
        }
    }
    for (const auto& receiver : receivers) {
        if (!receiver->isRemoved) {
            receiver->handler(notification);
        }
    }
}

} // namespace glimmerwick
