#include "Platform/Platform.h"

#include <cstdio>
#include <cstdlib>
#include <utility>
#include <vector>

namespace glimmerwick {

struct InstalledPlatform::State {
    struct Instance {
        const void* key;
        std::shared_ptr<void> object;
    };

    Platform platform;
    /// The oldest first. What an instance asked for while it was made is older than itself.
    std::vector<Instance> instances;

    /// The one installed now.
    static State* current;

    static State& require()
    {
        if (!current) {
            stop("a shared instance was asked for while no platform is installed");
        }
        return *current;
    }

    [[noreturn]] static void stop(const char* reason)
    {
        std::fprintf(stderr, "glimmerwick: %s\n", reason);
        std::abort();
    }
};

InstalledPlatform::State* InstalledPlatform::State::current = nullptr;

InstalledPlatform::InstalledPlatform(const Platform& platform)
    : m_state(std::make_unique<State>(State{platform, {}}))
{
    if (State::current) {
        State::stop("a platform is installed already");
    }
    State::current = m_state.get();
}

InstalledPlatform::~InstalledPlatform()
{
    // One by one: an instance may still ask for an older one while it goes.
    auto& instances = m_state->instances;
    while (!instances.empty()) {
        const auto youngest = std::move(instances.back().object);
        instances.pop_back();
    }
    State::current = nullptr;
}

const Platform& InstalledPlatform::current()
{
    return State::require().platform;
}

void* InstalledPlatform::find(const void* key)
{
    for (const State::Instance& instance : State::require().instances) {
        if (instance.key == key) {
            return instance.object.get();
        }
    }
    return nullptr;
}

void InstalledPlatform::keep(const void* key, std::shared_ptr<void> instance)
{
    State::require().instances.push_back({key, std::move(instance)});
}

} // namespace glimmerwick
