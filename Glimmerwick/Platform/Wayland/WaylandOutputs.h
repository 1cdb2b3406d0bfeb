#pragma once

#include "Platform/Wayland/WaylandCapabilities.h"

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

struct wl_output;
struct wl_output_listener;

namespace glimmerwick {

/// The screens and what the compositor says of them. The display's thread.
class WaylandOutputs {
public:
    /// The version of wl_output that is understood; from the last one screens have names.
    static constexpr std::uint32_t version = 4;

    WaylandOutputs();
    ~WaylandOutputs();
    WaylandOutputs(const WaylandOutputs&) = delete;
    WaylandOutputs& operator=(const WaylandOutputs&) = delete;

    /// Takes the proxy over.
    void add(std::uint32_t globalName, wl_output* output);
    void remove(std::uint32_t globalName);

    /// In the order in which they were announced.
    std::vector<WaylandOutput> all() const;

private:
    class Output;

    std::map<std::uint32_t, std::unique_ptr<Output>> m_outputs;
};

} // namespace glimmerwick
