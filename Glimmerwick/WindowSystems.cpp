#include "WindowSystems.h"

#include "Platform/Linux/WindowSystemLoader.h"
#include "Platform/WindowSystem.h"

#include <utility>

namespace glimmerwick {

WindowSystems::WindowSystems(std::filesystem::path folder,
                             std::function<void(std::string_view)> reportProblem)
    : m_folder(std::move(folder)), m_reportProblem(std::move(reportProblem))
{
}

WindowSystemProbes WindowSystems::probes()
{
    return {[this](SessionFacts& facts) { probe(ToolkitRoute::x11, facts); },
            [this](SessionFacts& facts) { probe(ToolkitRoute::wayland, facts); }};
}

void WindowSystems::probe(ToolkitRoute which, SessionFacts& facts)
{
    if (WindowSystemLibrary* const found = library(which)) {
        found->probe(facts);
    }
}

void WindowSystems::endProbing()
{
    for (const auto& library : m_libraries) {
        if (library && *library) {
            (*library)->endProbing();
        }
    }
}

WindowSystemLibrary* WindowSystems::library(ToolkitRoute which)
{
    auto& known = m_libraries.at(static_cast<std::size_t>(which));
    if (!known) {
        const auto loaded = loadWindowSystem(m_folder, which);
        if (!loaded) {
            m_reportProblem(loaded.error());
        }
        known = loaded ? loaded.value() : nullptr;
    }
    return *known;
}

} // namespace glimmerwick
