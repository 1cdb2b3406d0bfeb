#pragma once

#include "Platform/PanelHost.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace glimmerwick {

class WaylandConnection;

/// Finds out where the pointer is, which compositors tell nobody but the window that it is on: for a moment
/// there is such a window, transparent, on every output. On a connection apart from the toolkit's, which
/// would be told of windows it does not know. Main thread.
class WaylandPointerProbe {
public:
    /// What docks and bars leave free of an output, in points from its corner.
    struct FreeArea {
        std::int32_t left = 0;
        std::int32_t top = 0;
        std::int32_t width = 0;
        std::int32_t height = 0;
        /// Of the whole output.
        std::int32_t outputWidth = 0;

        friend bool operator==(const FreeArea&, const FreeArea&) = default;
    };

    /// The connection must outlive this.
    explicit WaylandPointerProbe(WaylandConnection& connection);
    ~WaylandPointerProbe();
    WaylandPointerProbe(const WaylandPointerProbe&) = delete;
    WaylandPointerProbe& operator=(const WaylandPointerProbe&) = delete;

    /// Where the pointer is; the middle of the output in use where there is none, or none shows in 60 ms.
    /// Nothing where the compositor shows nothing above windows, and after a loss of the connection.
    std::optional<ScreenPoint> probe();

    /// Whether a mouse button is down on something of another program: nothing else gets the pointer then.
    bool isPointerHeld();

    /// Of the output with its corner at this point, as the last probe has seen it; nothing for an output that
    /// the pointer was not on.
    std::optional<FreeArea> freeArea(int outputX, int outputY) const;

private:
    class Worker;
    struct Finding;

    WaylandConnection& m_connection;
    /// The connection's thread.
    std::unique_ptr<Worker> m_worker;
    std::unique_ptr<Finding> m_last;
};

} // namespace glimmerwick
