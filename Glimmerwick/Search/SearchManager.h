#pragma once

#include "Models/Emoji.h"
#include "Models/Manifest.h"

#include <compare>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace glimmerwick {

class Clock;
class DispatchQueues;
class Log;
class MainQueue;
struct Platform;

/// Turns typed text into at most 50 emoji, best first. Made for one manifest; indexing starts at once, in the
/// background. Main thread, except `search`, which any thread may call.
class SearchManager {
public:
    /// How an emoji matches a query. Ordered by `priority` alone, lower first.
    struct MatchType {
        enum class Kind { exactName, exactKeyword, prefixName, prefixKeyword, fuzzyName, fuzzyKeyword };

        Kind kind = Kind::exactName;
        /// Of the fuzzy kinds.
        int distance = 0;

        int priority() const;

        friend bool operator==(const MatchType&, const MatchType&) = default;
    };

    enum class IndexBuild { inBackground, synchronous };

    SearchManager(Manifest manifest, int debounceDelayMs, const Platform& platform);
    SearchManager(Manifest manifest, IndexBuild build, int debounceDelayMs, const Platform& platform);
    ~SearchManager();

    /// Set when the index build has finished.
    bool isIndexed() const;

    /// Runs on the main thread after the index build.
    std::function<void()> onIndexingComplete;
    /// Receives each debounced search's results on the main thread.
    std::function<void(std::vector<Emoji>)> onSearchResults;

    /// Ranked search, synchronous.
    std::vector<Emoji> search(const std::string& query) const;

    /// Searches after the debounce delay, unless another query comes first.
    void searchDebounced(const std::string& query);

    void cancelPendingSearch();

    /// Runs a debounced search whose results have not been delivered yet at once, on this thread, and delivers
    /// them before returning. For Return pressed ahead of the results: what is picked is what was asked for.
    void flushPendingSearch();
};

} // namespace glimmerwick
