#pragma once

#include "Platform/Pasteboard.h"

#include <map>

namespace glimmerwick {

/// The toolkit's clipboard, for compositors that let no program at another. They let a program at that only
/// while one of its windows has the keys: text that is put there at another time is refused, and text that is
/// read then is what was there last. Main thread.
class QtPasteboard : public Pasteboard {
public:
    void clearContents() override;
    bool setString(std::string_view text, const std::string& type) override;
    bool setData(std::string_view bytes, const std::string& type) override;
    std::optional<std::string> string(const std::string& type) override;

private:
    bool offer();

    std::map<std::string, std::string> m_contents;
};

} // namespace glimmerwick
