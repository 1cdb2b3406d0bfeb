// What a search costs in the bundled catalogue, and in 10 and 100 times as many emoji.
//
// A benchmark runs many different queries. Percentiles are over the queries, each of which counts with its
// best run: how hard queries are is the subject, not what else the machine does. Times and bytes have SI
// suffixes.
//   mean, p50, p99  time of a query
//   results         of a query, at most 50
//   matched         emoji with a word that begins with the query
//   per_match       time of all queries by what they matched
//   fuzzy           share of the queries for which the search for typos runs
//   best            build; its other times are of all builds
//   bytes           memory of the index, without the emoji
//   growth          the mean (of builds the p50) by that of the bundled catalogue
//   ratio           how many times faster than the reference, over `compared` queries whose results are alike

#include "AllocationCounter.h"
#include "Models/Manifest.h"
#include "SampleQueries.h"
#include "ScaledCatalogue.h"
#include "Search/SearchIndex.h"
#include "Unit/Search/ReferenceSearch.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace glimmerwick {
namespace {

using Clock = std::chrono::steady_clock;
using Queries = SampleQueries::Queries;
using Seconds = std::chrono::duration<double>;

constexpr std::size_t enoughPrefixMatches = 10;

/// A catalogue and its index.
struct Subject {
    explicit Subject(int scaleFactor)
        : factor(scaleFactor),
          emojis(std::make_shared<const SearchIndex::Emojis>(scaledCatalogue(bundled(), scaleFactor))),
          samples(*emojis), index(emojis)
    {
    }

    static const std::vector<Emoji>& bundled()
    {
        static const std::vector<Emoji> emojis = [] {
            std::ifstream file(GLIMMERWICK_SOURCE_DIR "/Resources/catalogue/manifest.json", std::ios::binary);
            const std::string document{std::istreambuf_iterator<char>(file), {}};
            return Manifest::decode(document).value().allEmojis();
        }();
        return emojis;
    }

    /// The largest takes a gigabyte, so that only one is kept. They are asked for in order.
    static Subject& ofSize(int factor)
    {
        static std::unique_ptr<Subject> subject;
        if (!subject || subject->factor != factor) {
            subject.reset();
            subject = std::make_unique<Subject>(factor);
        }
        return *subject;
    }

    /// Null where it would take gigabytes and minutes.
    const reference::Search* slowSearch()
    {
        constexpr int largest = 10;
        if (!m_slowSearch && factor <= largest) {
            m_slowSearch.emplace(*emojis);
        }
        return m_slowSearch ? &*m_slowSearch : nullptr;
    }

    /// How many queries tell enough in a few seconds.
    std::size_t queryCount() const { return factor == 1 ? 1000 : factor == 10 ? 300 : 100; }
    std::size_t comparedCount() const { return factor == 1 ? 50 : 10; }

    const int factor;
    const std::shared_ptr<const SearchIndex::Emojis> emojis;
    SampleQueries samples;
    const SearchIndex index;

private:
    std::optional<reference::Search> m_slowSearch;
};

/// Nearest rank; there must be values.
double percentile(std::vector<double> values, double share)
{
    std::ranges::sort(values);
    const auto rank = static_cast<std::size_t>(std::ceil(share * static_cast<double>(values.size())));
    return values[std::max<std::size_t>(rank, 1) - 1];
}

double sumOf(const std::vector<double>& values)
{
    double sum = 0;
    for (const double value : values) {
        sum += value;
    }
    return sum;
}

double meanOf(const std::vector<double>& values)
{
    return sumOf(values) / static_cast<double>(values.size());
}

/// The mean by that at factor 1, when that was measured in this run.
void reportGrowth(benchmark::State& state, const std::string& name, int factor, double mean)
{
    static std::map<std::string, double> bundledMeans;
    if (factor == 1) {
        bundledMeans[name] = mean;
    } else if (const auto bundled = bundledMeans.find(name); bundled != bundledMeans.end()) {
        state.counters["growth"] = mean / bundled->second;
    }
}

template <typename Run> double secondsOf(Run run)
{
    const auto start = Clock::now();
    run();
    return Seconds(Clock::now() - start).count();
}

bool isAlike(const Subject& subject, const std::vector<SearchIndex::ScoredEmoji>& found,
             const std::vector<reference::Match>& expected)
{
    return std::ranges::equal(found, expected, [&](const auto& left, const auto& right) {
        return left.emoji == &(*subject.emojis)[right.emoji];
    });
}

void compareWithReference(benchmark::State& state, Subject& subject, const Queries& queries)
{
    const reference::Search* slow = subject.slowSearch();
    if (!slow) {
        return;
    }
    const std::size_t count = std::min(queries.size(), subject.comparedCount());
    double fastSeconds = 0;
    double slowSeconds = 0;
    for (std::size_t number = 0; number < count; ++number) {
        std::vector<SearchIndex::ScoredEmoji> found;
        std::vector<reference::Match> expected;
        fastSeconds += secondsOf([&] { found = subject.index.search(queries[number]); });
        slowSeconds += secondsOf([&] { expected = slow->search(queries[number]); });
        if (!isAlike(subject, found, expected)) {
            state.SkipWithError(("the reference finds others for " + queries[number]).c_str());
            return;
        }
    }
    state.counters["ratio"] = slowSeconds / fastSeconds;
    state.counters["compared"] = static_cast<double>(count);
}

enum class Expectation { any, noResults };
enum class Comparison { none, withReference };

struct QueryClass {
    std::string name;
    Queries (*draw)(SampleQueries&, std::size_t count);
    Comparison comparison = Comparison::none;
    Expectation expectation = Expectation::any;
};

const QueryClass queryClasses[] = {
    {"one-letter", [](SampleQueries& samples, std::size_t) { return samples.oneLetter(); }},
    {"prefix", [](SampleQueries& samples, std::size_t count) { return samples.prefixes(count); },
     Comparison::withReference},
    {"rare-prefix", [](SampleQueries& samples, std::size_t count) { return samples.rarePrefixes(count); }},
    {"word", [](SampleQueries& samples, std::size_t count) { return samples.wholeWords(count); }},
    {"typo", [](SampleQueries& samples, std::size_t count) { return samples.typos(count); },
     Comparison::withReference},
    {"no-match", [](SampleQueries& samples, std::size_t count) { return samples.noMatches(count); },
     Comparison::none, Expectation::noResults},
};

void search(benchmark::State& state, const QueryClass& queryClass, int factor)
{
    Subject& subject = Subject::ofSize(factor);
    const Queries queries = queryClass.draw(subject.samples, subject.queryCount());
    if (queries.empty()) {
        state.SkipWithError("there are no such queries");
        return;
    }
    std::vector<double> seconds(queries.size(), std::numeric_limits<double>::infinity());
    std::vector<double> results(queries.size());
    for ([[maybe_unused]] auto _ : state) {
        double roundSeconds = 0;
        for (std::size_t number = 0; number < queries.size(); ++number) {
            std::vector<SearchIndex::ScoredEmoji> found;
            const double taken = secondsOf([&] { found = subject.index.search(queries[number]); });
            seconds[number] = std::min(seconds[number], taken);
            results[number] = static_cast<double>(found.size());
            roundSeconds += taken;
        }
        state.SetIterationTime(roundSeconds / static_cast<double>(queries.size()));
    }
    if (queryClass.expectation == Expectation::noResults && sumOf(results) > 0) {
        state.SkipWithError("a query finds something");
        return;
    }

    std::vector<double> matched;
    for (const std::string& query : queries) {
        matched.push_back(static_cast<double>(subject.samples.prefixMatchCount(query)));
    }
    const auto fuzzyCount =
        std::ranges::count_if(matched, [](double count) { return count < enoughPrefixMatches; });
    state.counters["queries"] = static_cast<double>(queries.size());
    state.counters["mean"] = meanOf(seconds);
    state.counters["p50"] = percentile(seconds, 0.5);
    state.counters["p99"] = percentile(seconds, 0.99);
    state.counters["results"] = meanOf(results);
    state.counters["matched"] = meanOf(matched);
    if (fuzzyCount == 0) {
        state.counters["per_match"] = sumOf(seconds) / sumOf(matched);
    }
    state.counters["fuzzy"] = static_cast<double>(fuzzyCount) / static_cast<double>(queries.size());
    reportGrowth(state, queryClass.name, factor, meanOf(seconds));
    if (queryClass.comparison == Comparison::withReference) {
        compareWithReference(state, subject, queries);
    }
}

/// Of an index, without the emoji it refers to.
std::size_t indexBytes(const Subject& subject)
{
    const AllocationCounter counter;
    const SearchIndex index(subject.emojis);
    return counter.bytes();
}

void buildIndex(benchmark::State& state, int factor)
{
    const Subject& subject = Subject::ofSize(factor);
    std::vector<double> seconds;
    for ([[maybe_unused]] auto _ : state) {
        std::optional<SearchIndex> index;
        seconds.push_back(secondsOf([&] { index.emplace(subject.emojis); }));
        state.SetIterationTime(seconds.back());
    }
    state.counters["emoji"] = static_cast<double>(subject.emojis->size());
    state.counters["words"] = static_cast<double>(subject.index.wordCount());
    state.counters["distinct"] = static_cast<double>(subject.samples.distinctWordCount());
    state.counters["best"] = std::ranges::min(seconds);
    state.counters["p50"] = percentile(seconds, 0.5);
    state.counters["p99"] = percentile(seconds, 0.99);
    state.counters["bytes"] = static_cast<double>(indexBytes(subject));
    reportGrowth(state, "build", factor, percentile(seconds, 0.5));
}

void registerBenchmarks()
{
    for (const int factor : {1, 10, 100}) {
        const std::string size = "/" + std::to_string(factor) + "x";
        const int rounds = factor == 1 ? 10 : factor == 10 ? 5 : 2;
        benchmark::RegisterBenchmark(("build" + size).c_str(), buildIndex, factor)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond)
            ->Iterations(factor == 1 ? 50 : rounds);
        for (const QueryClass& queryClass : queryClasses) {
            benchmark::RegisterBenchmark((queryClass.name + size).c_str(), search, queryClass, factor)
                ->UseManualTime()
                ->Unit(benchmark::kMicrosecond)
                ->Iterations(rounds);
        }
    }
}

} // namespace
} // namespace glimmerwick

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    glimmerwick::registerBenchmarks();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
