// What finding out costs which emoji the system draws: finding the font, asking about the whole bundled
// catalogue for the first time, and asking again.
//
// A pass asks about every emoji once. What is made and thrown away for a round does not count. Times have SI
// suffixes.
//   newProcess      finding the font and the first pass; the font's file and fontconfig's are not open yet
//   newLayout       the same again in one process
//   firstPass       the font is found, nothing is remembered about an emoji
//   secondPass      all is remembered
//
//   p50, p99, best  time of a round
//   per_emoji       the p50 by the count of emoji
//   drawn           emoji that the font draws
//   font            finding the font, of the p50
//   cold_by_warm    how many times longer the first pass takes than the second (both p50)

#include "Fakes/FakePlatform.h"
#include "Managers/EmojiDataManager.h"
#include "Models/Manifest.h"
#include "Platform/HarfBuzz/HarfBuzzTextLayout.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr double pointSize = 16;
constexpr int roundCount = 100;

/// A manager that has not been asked about any emoji yet.
class Subject {
public:
    static const std::vector<Emoji>& catalogue()
    {
        static const std::vector<Emoji> emojis = [] {
            std::ifstream file(GLIMMERWICK_SOURCE_DIR "/Resources/catalogue/manifest.json", std::ios::binary);
            const std::string document{std::istreambuf_iterator<char>(file), {}};
            return Manifest::decode(document).value().allEmojis();
        }();
        return emojis;
    }

    explicit Subject(TextLayout& layout)
        : m_manager(m_fakes.process, m_fakes.log, m_fakes.fileSystem, m_fakes.fileClock, m_fakes.time,
                    m_fakes.httpClient, layout, m_fakes.imageCodec)
    {
    }

    /// How many emoji are drawn.
    std::size_t pass()
    {
        const auto& emojis = catalogue();
        return static_cast<std::size_t>(std::ranges::count_if(
            emojis, [this](const Emoji& emoji) { return m_manager.isEmojiNativelySupported(emoji); }));
    }

private:
    fakes::FakePlatform m_fakes;
    EmojiDataManager m_manager;
};

template <typename Run> double secondsOf(Run run)
{
    const auto start = Clock::now();
    run();
    return Seconds(Clock::now() - start).count();
}

/// Nearest rank; there must be values.
double percentile(std::vector<double> values, double share)
{
    std::ranges::sort(values);
    const auto rank = static_cast<std::size_t>(std::ceil(share * static_cast<double>(values.size())));
    return values[std::max<std::size_t>(rank, 1) - 1];
}

/// A round returns its own time.
template <typename Round> std::vector<double> measure(benchmark::State& state, Round round)
{
    benchmark::DoNotOptimize(Subject::catalogue()); // or the first round would read and decode it
    std::vector<double> seconds;
    for ([[maybe_unused]] auto _ : state) {
        seconds.push_back(round());
        state.SetIterationTime(seconds.back());
    }
    state.counters["best"] = std::ranges::min(seconds);
    state.counters["p50"] = percentile(seconds, 0.5);
    state.counters["p99"] = percentile(seconds, 0.99);
    return seconds;
}

void reportPass(benchmark::State& state, const std::vector<double>& seconds, std::size_t drawnCount)
{
    const auto emojiCount = static_cast<double>(Subject::catalogue().size());
    state.counters["emoji"] = emojiCount;
    state.counters["drawn"] = static_cast<double>(drawnCount);
    state.counters["per_emoji"] = percentile(seconds, 0.5) / emojiCount;
}

/// Of the benchmarks in which the font is found already.
HarfBuzzTextLayout& sharedLayout()
{
    static HarfBuzzTextLayout layout;
    return layout;
}

bool hasFont(benchmark::State& state)
{
    if (sharedLayout().colourEmojiFontFamily()) {
        return true;
    }
    state.SkipWithError("there is no colour emoji font");
    return false;
}

/// With a layout that has not looked for the font yet. In a new process fontconfig has read nothing yet,
/// either.
void findFontAndPass(benchmark::State& state)
{
    std::size_t drawnCount = 0;
    std::vector<double> fontSeconds;
    const auto seconds = measure(state, [&] {
        HarfBuzzTextLayout layout;
        Subject subject(layout);
        fontSeconds.push_back(
            secondsOf([&] { benchmark::DoNotOptimize(layout.layOut("\U0001F600", pointSize)); }));
        return fontSeconds.back() + secondsOf([&] { drawnCount = subject.pass(); });
    });
    if (drawnCount == 0) {
        state.SkipWithError("there is no colour emoji font");
        return;
    }
    reportPass(state, seconds, drawnCount);
    state.counters["font"] = percentile(fontSeconds, 0.5);
}

void firstPass(benchmark::State& state)
{
    if (!hasFont(state)) {
        return;
    }
    std::size_t drawnCount = 0;
    const auto seconds = measure(state, [&] {
        Subject subject(sharedLayout());
        return secondsOf([&] { drawnCount = subject.pass(); });
    });
    reportPass(state, seconds, drawnCount);
}

void secondPass(benchmark::State& state)
{
    if (!hasFont(state)) {
        return;
    }
    std::size_t drawnCount = 0;
    std::vector<double> coldSeconds;
    const auto seconds = measure(state, [&] {
        Subject subject(sharedLayout());
        coldSeconds.push_back(secondsOf([&] { subject.pass(); }));
        return secondsOf([&] { drawnCount = subject.pass(); });
    });
    reportPass(state, seconds, drawnCount);
    state.counters["cold_by_warm"] = percentile(coldSeconds, 0.5) / percentile(seconds, 0.5);
}

// In this order: only the first finds the process new.
BENCHMARK(findFontAndPass)->Name("newProcess")->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(findFontAndPass)
    ->Name("newLayout")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(roundCount);
BENCHMARK(firstPass)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(roundCount);
BENCHMARK(secondPass)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(roundCount);

} // namespace
} // namespace glimmerwick
