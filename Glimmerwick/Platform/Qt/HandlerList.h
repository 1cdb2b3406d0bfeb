#pragma once

#include "Platform/Registration.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace glimmerwick {

/// Handlers of one kind of event. Handlers may be added and removed while they are being called: one that is
/// removed is not called any more. A registration may outlive the list. One thread.
template <typename Signature> class HandlerList {
public:
    using Handler = std::function<Signature>;

    Registration append(Handler handler) { return insert(m_entries->end(), std::move(handler)); }
    Registration prepend(Handler handler) { return insert(m_entries->begin(), std::move(handler)); }

    bool isEmpty() const { return m_entries->empty(); }

    /// Hands each handler in order to the visitor, until that answers true. Whether it did.
    template <typename Visitor> bool anyOf(Visitor visitor) const
    {
        const Entries current = *m_entries;
        return std::any_of(current.begin(), current.end(), [&](const std::shared_ptr<Entry>& entry) {
            return !entry->isRemoved && visitor(entry->handler);
        });
    }

    template <typename... Arguments> void callAll(const Arguments&... arguments) const
    {
        anyOf([&](const Handler& handler) {
            handler(arguments...);
            return false;
        });
    }

private:
    struct Entry {
        Handler handler;
        bool isRemoved = false;
    };
    using Entries = std::vector<std::shared_ptr<Entry>>;

    Registration insert(typename Entries::iterator position, Handler handler)
    {
        auto entry = std::make_shared<Entry>(Entry{std::move(handler)});
        m_entries->insert(position, entry);
        return Registration([weakEntries = std::weak_ptr<Entries>(m_entries), entry] {
            entry->isRemoved = true;
            if (const auto entries = weakEntries.lock()) {
                std::erase(*entries, entry);
            }
        });
    }

    std::shared_ptr<Entries> m_entries = std::make_shared<Entries>();
};

} // namespace glimmerwick
