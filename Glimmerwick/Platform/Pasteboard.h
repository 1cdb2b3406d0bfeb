#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace glimmerwick {

/// Names of the types the logic puts on the clipboard.
namespace pasteboardType {
inline const std::string string = "public.utf8-plain-text";
/// Marks an entry that clipboard-history tools must not record.
inline const std::string concealed = "org.nspasteboard.ConcealedType";
} // namespace pasteboardType

/// The general clipboard. Main thread.
class Pasteboard {
public:
    virtual ~Pasteboard() = default;

    /// Takes the clipboard over, empty. What another program had put there is gone.
    virtual void clearContents() = 0;

    /// Adds a representation to what `clearContents()` began. False when the clipboard refuses, or when
    /// another program has taken it over since.
    virtual bool setString(std::string_view text, const std::string& type) = 0;
    virtual bool setData(std::string_view bytes, const std::string& type) = 0;

    /// The clipboard's text of this type, whoever put it there; nothing when there is none or its owner does
    /// not answer in time.
    virtual std::optional<std::string> string(const std::string& type) = 0;
};

} // namespace glimmerwick
