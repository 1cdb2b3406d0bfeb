#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace glimmerwick {

class WaylandDisplay;

/// The clipboard, and the text that is selected.
enum class WaylandSelection { clipboard, primary };

/// What a selection can be had as. Whoever offers it may be this program. The display's thread.
class WaylandDataOffer {
public:
    virtual ~WaylandDataOffer() = default;

    bool includes(const std::string& type) const;

    /// Has the contents written to the descriptor, which stays the caller's and may be closed at once.
    virtual void receive(const std::string& type, int descriptor) = 0;

protected:
    std::vector<std::string> m_types;
};

/// What this program offers. Destroying it takes the offer back. The display's thread.
class WaylandDataSource {
public:
    struct Handlers {
        /// Somebody wants the contents. The descriptor is the handler's to close.
        std::function<void(const std::string& type, int descriptor)> onSend;
        /// Somebody else has taken the selection, or this program has with another source. Nothing is sent
        /// after this, and the handler may destroy the source.
        std::function<void()> onCancelled;
    };

    virtual ~WaylandDataSource() = default;
};

/// The seat's selections, seen and set without a window that has the focus, by whichever of the protocols for
/// that the compositor has. The display's thread.
class WaylandDataControl {
public:
    /// Nothing inside the handler's offer: nobody offers anything.
    using SelectionHandler = std::function<void(WaylandSelection, std::shared_ptr<WaylandDataOffer>)>;

    /// Null when the compositor does not let programs do this. The handler is called for the selections as
    /// they are now, and whenever they change, by this program or another.
    static std::unique_ptr<WaylandDataControl> make(WaylandDisplay& display, SelectionHandler onSelection);
    virtual ~WaylandDataControl() = default;

    virtual bool controls(WaylandSelection selection) const = 0;

    /// Offers these types in place of what the selection is. Once made, an offer never changes.
    virtual std::unique_ptr<WaylandDataSource> offer(WaylandSelection selection,
                                                     const std::vector<std::string>& types,
                                                     WaylandDataSource::Handlers handlers) = 0;
    /// Leaves the selection with nobody.
    virtual void clear(WaylandSelection selection) = 0;
};

} // namespace glimmerwick
