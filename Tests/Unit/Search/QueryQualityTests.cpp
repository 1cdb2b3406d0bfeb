#include "Search/SearchManager.h"

#include "Fakes/FakePlatform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace glimmerwick {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Below this, people have to look for what they typed. Raised as the search and its words improve.
constexpr double leastMeanReciprocalRank = 0.88;
/// Fewer would let a handful of lucky queries carry the figures.
constexpr std::size_t leastQueryCount = 80;

struct ExpectedEmoji {
    std::string query;
    std::string emoji;
};

/// Lines of `query<TAB>emoji`; empty lines and those that begin with "#" are for the reader.
struct QueryList {
    std::vector<ExpectedEmoji> entries;
    /// One for each line refused, with its number.
    std::vector<std::string> problems;
};

std::optional<ExpectedEmoji> parse(const std::string& line)
{
    const std::size_t tab = line.find('\t');
    if (tab == std::string::npos || line.find('\t', tab + 1) != std::string::npos) {
        return std::nullopt;
    }
    ExpectedEmoji entry{line.substr(0, tab), line.substr(tab + 1)};
    const auto isBlankAtAnEnd = [](const std::string& text) {
        return text.empty() || text.find_first_of(" \r") == 0 || text.find_last_of(" \r") == text.size() - 1;
    };
    if (isBlankAtAnEnd(entry.query) || isBlankAtAnEnd(entry.emoji)) {
        return std::nullopt;
    }
    return entry;
}

QueryList readQueries(std::istream& input)
{
    QueryList list;
    std::set<std::string> seen;
    int number = 0;
    for (std::string line; std::getline(input, line);) {
        ++number;
        if (line.empty() || line.front() == '#') {
            continue;
        }
        auto entry = parse(line);
        if (!entry) {
            list.problems.push_back("line " + std::to_string(number)
                                    + " is not a query, a tab, an emoji: " + line);
        } else if (!seen.insert(entry->query).second) {
            list.problems.push_back("line " + std::to_string(number) + " repeats " + entry->query);
        } else {
            list.entries.push_back(std::move(*entry));
        }
    }
    return list;
}

/// Where the expected emoji stands among what a query finds.
struct Outcome {
    ExpectedEmoji expected;
    /// From 1; none when it is not among the results.
    std::optional<std::size_t> rank;
    /// The best result; empty when there is none.
    std::string first;
};

struct Quality {
    double meanReciprocalRank = 0;
    double shareFirst = 0;
    double shareInFirstFive = 0;
};

/// What is not found counts as rank infinity. There must be outcomes.
Quality qualityOf(const std::vector<Outcome>& outcomes)
{
    Quality sum;
    for (const Outcome& outcome : outcomes) {
        if (outcome.rank) {
            sum.meanReciprocalRank += 1.0 / static_cast<double>(*outcome.rank);
            sum.shareFirst += *outcome.rank == 1 ? 1 : 0;
            sum.shareInFirstFive += *outcome.rank <= 5 ? 1 : 0;
        }
    }
    const auto count = static_cast<double>(outcomes.size());
    return {sum.meanReciprocalRank / count, sum.shareFirst / count, sum.shareInFirstFive / count};
}

void print(const std::vector<Outcome>& outcomes, const Quality& quality)
{
    std::cout << std::fixed << std::setprecision(3) << outcomes.size() << " queries: mean reciprocal rank "
              << quality.meanReciprocalRank << ", found first " << quality.shareFirst
              << ", within the first 5 " << quality.shareInFirstFive << "\n";
    for (const Outcome& outcome : outcomes) {
        if (outcome.rank != 1u) {
            std::cout << "  " << outcome.expected.query << ": " << outcome.expected.emoji << " is "
                      << (outcome.rank ? "number " + std::to_string(*outcome.rank) : "not found")
                      << ", first is " << (outcome.first.empty() ? "nothing" : outcome.first) << "\n";
        }
    }
}

// The list's reader and the figures

TEST(QueryListTests, ReadsEntriesBetweenCommentsAndEmptyLines)
{
    std::istringstream input("# feelings\nlol\t😂\n\n:)\t🙂\n");

    const QueryList list = readQueries(input);

    ASSERT_EQ(list.entries.size(), 2u);
    EXPECT_EQ(list.entries[0].query, "lol");
    EXPECT_EQ(list.entries[0].emoji, "😂");
    EXPECT_EQ(list.entries[1].query, ":)");
    EXPECT_THAT(list.problems, IsEmpty());
}

TEST(QueryListTests, RefusesLinesThatAreNoQueryAndEmoji)
{
    for (const std::string line :
         {"lol 😂", "lol\t", "\t😂", "lol\t\t😂", "lol\t😂\t", "lol \t😂", " lol\t😂", "lol\t😂 ", "lol\t😂\r"}) {
        std::istringstream input(line + "\n");

        const QueryList list = readQueries(input);

        EXPECT_THAT(list.entries, IsEmpty()) << line;
        EXPECT_THAT(list.problems, ElementsAre("line 1 is not a query, a tab, an emoji: " + line));
    }
}

TEST(QueryListTests, RefusesARepeatedQuery)
{
    std::istringstream input("lol\t😂\nhaha\t😂\nlol\t🤣\n");

    const QueryList list = readQueries(input);

    EXPECT_EQ(list.entries.size(), 2u);
    EXPECT_THAT(list.problems, ElementsAre("line 3 repeats lol"));
}

TEST(QueryListTests, CountsWhatIsNotFoundAsNothing)
{
    const Quality quality = qualityOf({{{}, 1, {}}, {{}, 4, {}}, {{}, 10, {}}, {{}, std::nullopt, {}}});

    EXPECT_DOUBLE_EQ(quality.meanReciprocalRank, (1 + 0.25 + 0.1) / 4);
    EXPECT_DOUBLE_EQ(quality.shareFirst, 0.25);
    EXPECT_DOUBLE_EQ(quality.shareInFirstFive, 0.5);
}

// The bundled catalogue against the list

class QueryQualityTests : public testing::Test {
protected:
    void SetUp() override
    {
        std::ifstream file(GLIMMERWICK_SOURCE_DIR "/Tests/Data/queries.txt");
        ASSERT_TRUE(file.is_open());
        list = readQueries(file);
        ASSERT_GE(list.entries.size(), leastQueryCount);

        std::ifstream manifestFile(GLIMMERWICK_SOURCE_DIR "/Resources/catalogue/manifest.json");
        std::stringstream json;
        json << manifestFile.rdbuf();
        auto decoded = Manifest::decode(json.str());
        ASSERT_TRUE(decoded.isSuccess());
        manifest.emplace(std::move(decoded).value());
        manager = std::make_unique<SearchManager>(*manifest, SearchManager::IndexBuild::synchronous, 50,
                                                  fakes.platform);
    }

    std::vector<Outcome> searchAll() const
    {
        std::vector<Outcome> outcomes;
        for (const ExpectedEmoji& entry : list.entries) {
            outcomes.push_back(outcomeOf(entry));
        }
        return outcomes;
    }

    Outcome outcomeOf(const ExpectedEmoji& entry) const
    {
        const std::vector<Emoji> results = manager->search(entry.query);
        const auto match = std::find_if(results.begin(), results.end(),
                                        [&entry](const Emoji& emoji) { return emoji.char_ == entry.emoji; });
        Outcome outcome{entry, std::nullopt, results.empty() ? "" : results.front().char_};
        if (match != results.end()) {
            outcome.rank = static_cast<std::size_t>(match - results.begin()) + 1;
        }
        return outcome;
    }

    fakes::FakePlatform fakes;
    QueryList list;
    std::optional<Manifest> manifest;
    std::unique_ptr<SearchManager> manager;
};

TEST_F(QueryQualityTests, TheListHoldsNothingButQueriesOfItsOwn)
{
    EXPECT_THAT(list.problems, IsEmpty());
}

TEST_F(QueryQualityTests, TheCatalogueHasEveryExpectedEmoji)
{
    std::set<std::string> known;
    for (const Emoji& emoji : manifest->allEmojis()) {
        known.insert(emoji.char_);
    }

    for (const ExpectedEmoji& entry : list.entries) {
        EXPECT_EQ(known.count(entry.emoji), 1u)
            << entry.query << ": " << entry.emoji << " is no emoji of ours";
    }
}

TEST_F(QueryQualityTests, EveryQueryFindsItsEmoji)
{
    for (const Outcome& outcome : searchAll()) {
        EXPECT_TRUE(outcome.rank.has_value())
            << outcome.expected.query << " does not find " << outcome.expected.emoji;
    }
}

TEST_F(QueryQualityTests, TheExpectedEmojiStandsNearTheFront)
{
    const std::vector<Outcome> outcomes = searchAll();

    const Quality quality = qualityOf(outcomes);

    print(outcomes, quality);
    EXPECT_GE(quality.meanReciprocalRank, leastMeanReciprocalRank);
}

} // namespace
} // namespace glimmerwick
