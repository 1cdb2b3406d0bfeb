#pragma once

#include "Platform/Wayland/WaylandDataControl.h"
#include "Platform/Wayland/WaylandDisplay.h"

#include <chrono>
#include <list>
#include <memory>
#include <optional>
#include <string>

namespace glimmerwick {

/// Contents on their way to other programs, each as fast as its reader takes it. The display's thread.
class WaylandOutgoingTransfers {
public:
    explicit WaylandOutgoingTransfers(WaylandDisplay& display);
    ~WaylandOutgoingTransfers();
    WaylandOutgoingTransfers(const WaylandOutgoingTransfers&) = delete;
    WaylandOutgoingTransfers& operator=(const WaylandOutgoingTransfers&) = delete;

    /// Writes the bytes and closes the descriptor, at the latest when the reader takes nothing for 10 s.
    /// False: 64 others are under way, so the descriptor is closed and the reader finds nothing.
    bool begin(int descriptor, std::shared_ptr<const std::string> bytes);

private:
    struct Transfer;

    void proceed(Transfer& transfer);
    void end(Transfer& transfer);

    WaylandDisplay& m_display;
    std::list<Transfer> m_transfers;
};

/// How long another program's contents are waited for.
struct WaylandPatience {
    std::chrono::milliseconds withoutProgress;
    /// Whatever the progress.
    WaylandDisplay::Time end;
};

/// What the offer is, read to its end while the display turns. Nothing when it does not come in time, or is
/// more than 64 MiB.
std::optional<std::string> receiveContents(WaylandDisplay& display, WaylandDataOffer& offer,
                                           const std::string& type, const WaylandPatience& patience);

} // namespace glimmerwick
