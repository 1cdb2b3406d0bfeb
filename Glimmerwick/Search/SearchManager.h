#pragma once

#include "Models/Emoji.h"
#include "Models/Manifest.h"
#include "Platform/Lifetime.h"
#include "Platform/Registration.h"
#include "Search/MatchType.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick {

class Clock;
class DispatchQueues;
class Log;
class MainQueue;
class SerialQueue;
struct Platform;

/// Turns typed text into at most 50 emoji, best first. Made for one manifest; indexing starts at once, in the
/// background. Main thread, except `search`, which any thread may call.
class SearchManager {
public:
    using MatchType = glimmerwick::MatchType;

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

    /// Ranked search, synchronous. Before the index is there each call makes one of its own: the same
    /// results, some milliseconds later.
    std::vector<Emoji> search(const std::string& query) const;

    /// Searches after the debounce delay, unless another query comes first.
    void searchDebounced(const std::string& query);

    /// A search that has begun is not stopped and still delivers.
    void cancelPendingSearch();

    /// Runs a debounced search whose results have not been delivered yet at once, on this thread, and
    /// delivers them before returning. For Return pressed ahead of the results: what is picked is what was
    /// asked for.
    void flushPendingSearch();

    /// For owners of callbacks and views that refer to this manager without keeping it.
    Lifetime::Watch watch() const { return m_lifetime.watch(); }

private:
    struct Catalogue;

    void buildIndexInBackground(DispatchQueues& dispatchQueues, Clock& clock, Log& log);
    static void buildIndex(Catalogue& catalogue, Clock& clock, Log& log);
    std::function<void()> announceIndexing();
    void deliver(std::uint64_t searchNumber, std::vector<Emoji> results);

    MainQueue& m_mainQueue;
    std::shared_ptr<Catalogue> m_catalogue;
    std::unique_ptr<SerialQueue> m_searchQueue;
    std::chrono::milliseconds m_debounceDelay;

    Registration m_pendingSearchWorkItem;
    /// Of the latest debounced search, until its results are delivered or it is cancelled.
    std::optional<std::string> m_undeliveredQuery;
    std::uint64_t m_latestSearchNumber = 0;
    std::uint64_t m_flushedSearchNumber = 0;

    Lifetime m_lifetime;
};

} // namespace glimmerwick
