#pragma once

#include <algorithm>
#include <chrono>

namespace glimmerwick {

/// How long a paste is under way: until its target has had the time to take all of it.
///
/// Applications give a paste up when the clipboard changes hands in the middle of it. Most take the contents
/// once, soon after the chord. Chromium takes them, asks several times what there is and takes them again; in
/// between, on a busy machine, 250 ms passed in which it asked for nothing. Any thread, one at a time.
class PasteSpan {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Duration = std::chrono::steady_clock::duration;

    /// For a target that asks for nothing.
    static constexpr Duration patience = std::chrono::seconds(2);
    /// For one that does, whatever it does.
    static constexpr Duration longest = std::chrono::seconds(3);

    /// After it has been taken, a paste lasts at least as long as given.
    PasteSpan(Time begin, Duration afterTaking)
        : m_latestEnd(begin + longest), m_lastRequest(begin), m_afterTaking(afterTaking),
          m_end(begin + patience)
    {
    }

    /// The target wants to know what there is. When it already has that, it will take it once more.
    void noteQuestion(Time now)
    {
        noteRequest(now);
        if (m_takings < mostTakings) {
            m_end = m_latestEnd;
        }
    }

    /// The target has been given the contents. Who takes them again and again does not keep them by it.
    void noteTaking(Time now)
    {
        noteRequest(now);
        if (++m_takings > mostTakings) {
            return;
        }
        m_end = std::min(m_latestEnd, now + std::max(m_afterTaking, gapsToCome * m_longestGap));
    }

    bool isTaken() const { return m_takings > 0; }
    Time end() const { return m_end; }

private:
    static constexpr int mostTakings = 2;
    /// A target that was slow to ask is busy, or the machine is, and is slow again.
    static constexpr int gapsToCome = 4;

    void noteRequest(Time now)
    {
        m_longestGap = std::max(m_longestGap, now - m_lastRequest);
        m_lastRequest = now;
    }

    Time m_latestEnd;
    Time m_lastRequest;
    Duration m_longestGap{};
    Duration m_afterTaking;
    Time m_end;
    int m_takings = 0;
};

} // namespace glimmerwick
