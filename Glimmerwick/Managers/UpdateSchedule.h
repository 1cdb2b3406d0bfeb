#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>

namespace glimmerwick {

class FileClock;
class UserDefaults;

/// A random number below the bound, each as likely.
using RandomNumber = std::function<std::uint32_t(std::uint32_t bound)>;

/// When to look for a new version without being asked: once a day, at a minute that differs from user to user
/// and from day to day so that they do not all ask at once. Goes by wall time, which may jump and which
/// passes while the machine sleeps; so it is asked again and again, and never for a long wait. Main thread.
class UpdateSchedule {
public:
    enum class Outcome { succeeded, failed };

    UpdateSchedule(FileClock& clock, UserDefaults& defaults, RandomNumber random);

    /// The wait at the start of the program, which has better things to do then.
    std::chrono::minutes firstWait() const;
    /// The wait until `isDue` is worth asking again: half an hour to an hour.
    std::chrono::minutes nextWait() const;
    bool isDue() const;

    /// A check has ended, asked for or not. Kept across runs.
    void recordFinished(Outcome outcome);

private:
    std::chrono::minutes randomMinutes() const;
    std::chrono::hours interval() const;
    std::optional<std::chrono::system_clock::time_point> lastFinished() const;
    std::optional<std::chrono::system_clock::time_point> due() const;

    FileClock& m_clock;
    UserDefaults& m_defaults;
    const RandomNumber m_random;
    /// Added to the interval.
    std::chrono::minutes m_shift;
    /// In a row.
    int m_failures = 0;
};

} // namespace glimmerwick
