#pragma once

#include "Platform/Pasteboard.h"

#include <map>
#include <memory>

namespace glimmerwick {

/// The toolkit's clipboard, for compositors that let no program at another. They let a program at that only
/// while one of its windows has the keys: text that is put there at another time is refused, and text that is
/// read then is what was there last. They take one offer for each key or click, too, so everything is offered
/// at once: when it is marked for histories, and else in the next turn of the event loop. Main thread.
class QtPasteboard : public Pasteboard {
public:
    void clearContents() override;
    bool setString(std::string_view text, const std::string& type) override;
    bool setData(std::string_view bytes, const std::string& type) override;
    std::optional<std::string> string(const std::string& type) override;

private:
    void offer();

    std::map<std::string, std::string> m_contents;
    /// Expired when they are offered, or others have taken their place.
    std::shared_ptr<const bool> m_isPending;
};

} // namespace glimmerwick
