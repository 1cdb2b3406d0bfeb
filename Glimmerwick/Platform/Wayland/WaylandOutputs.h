#pragma once

#include "Platform/Wayland/WaylandCapabilities.h"

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

struct wl_output;
struct zxdg_output_manager_v1;

namespace glimmerwick {

/// The screens and what the compositor says of them. The display's thread.
class WaylandOutputs {
public:
    /// The versions that are understood. From its last one on wl_output has names.
    static constexpr std::uint32_t version = 4;
    static constexpr std::uint32_t managerVersion = 3;

    WaylandOutputs();
    ~WaylandOutputs();
    WaylandOutputs(const WaylandOutputs&) = delete;
    WaylandOutputs& operator=(const WaylandOutputs&) = delete;

    /// Says where screens lie. The proxies are taken over.
    void setManager(zxdg_output_manager_v1* manager);
    void add(std::uint32_t globalName, wl_output* output);
    void remove(std::uint32_t globalName);

    /// In the order in which they were announced.
    std::vector<WaylandOutput> all() const;
    /// The proxies that belong to them, in the same order. They are not given away.
    std::vector<wl_output*> proxies() const;

private:
    class Output;

    zxdg_output_manager_v1* m_manager = nullptr;
    std::map<std::uint32_t, std::unique_ptr<Output>> m_outputs;
};

} // namespace glimmerwick
