#include "Managers/UpdateSchedule.h"

#include "Platform/Clock.h"
#include "Platform/UserDefaults.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <system_error>
#include <utility>

namespace glimmerwick {

namespace {

using namespace std::chrono_literals;

/// Seconds since 1970, in decimal.
const std::string lastFinishedKey = "lastUpdateCheck";

constexpr std::chrono::hours regularInterval = 24h;
/// Doubled with each failure, up to the regular one.
constexpr std::chrono::hours intervalAfterFailure = 6h;
constexpr std::chrono::minutes shortestFirstWait = 10min;
constexpr std::chrono::minutes shortestWait = 30min;
// What a machine that slept has missed is noticed after so long at the latest.
constexpr std::chrono::minutes longestWait = 60min;

} // namespace

UpdateSchedule::UpdateSchedule(FileClock& clock, UserDefaults& defaults, RandomNumber random)
    : m_clock(clock), m_defaults(defaults), m_random(std::move(random)), m_shift(randomMinutes())
{
}

std::chrono::minutes UpdateSchedule::firstWait() const
{
    return shortestFirstWait + randomMinutes();
}

std::chrono::minutes UpdateSchedule::nextWait() const
{
    const auto wait = due().value_or(m_clock.now()) - m_clock.now();
    return std::clamp(std::chrono::ceil<std::chrono::minutes>(wait), shortestWait, longestWait);
}

bool UpdateSchedule::isDue() const
{
    return due().value_or(m_clock.now()) <= m_clock.now();
}

void UpdateSchedule::recordFinished(Outcome outcome)
{
    m_failures = outcome == Outcome::failed ? m_failures + 1 : 0;
    m_shift = randomMinutes();
    const auto seconds = std::chrono::floor<std::chrono::seconds>(m_clock.now().time_since_epoch());
    m_defaults.setString(lastFinishedKey, std::to_string(seconds.count()));
}

std::chrono::minutes UpdateSchedule::randomMinutes() const
{
    constexpr std::chrono::minutes bound = 1h;
    return std::chrono::minutes(m_random(bound.count()));
}

std::chrono::hours UpdateSchedule::interval() const
{
    std::chrono::hours interval = m_failures > 0 ? intervalAfterFailure : regularInterval;
    for (int failure = 1; failure < m_failures && interval < regularInterval; ++failure) {
        interval *= 2;
    }
    return std::min(interval, regularInterval);
}

/// Nothing as well for a time yet to come: a clock was wrong, then or now.
std::optional<std::chrono::system_clock::time_point> UpdateSchedule::lastFinished() const
{
    const std::string text = m_defaults.string(lastFinishedKey).value_or("");
    const auto now = std::chrono::floor<std::chrono::seconds>(m_clock.now());
    std::int64_t seconds = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (read.ec != std::errc() || read.ptr != text.data() + text.size() || seconds < 0
        || seconds > now.time_since_epoch().count()) {
        return std::nullopt;
    }
    return std::chrono::system_clock::time_point(std::chrono::seconds(seconds));
}

/// Nothing when it is due whatever the time.
std::optional<std::chrono::system_clock::time_point> UpdateSchedule::due() const
{
    const auto last = lastFinished();
    return last ? std::optional(*last + interval() + m_shift) : std::nullopt;
}

} // namespace glimmerwick
