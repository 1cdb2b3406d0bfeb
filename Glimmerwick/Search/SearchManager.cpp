#include "Search/SearchManager.h"

#include "Platform/Clock.h"
#include "Platform/DispatchQueues.h"
#include "Platform/Log.h"
#include "Platform/MainQueue.h"
#include "Platform/Platform.h"
#include "Search/SearchIndex.h"

#include <array>
#include <atomic>
#include <charconv>
#include <utility>

namespace glimmerwick {

namespace {

// Two decimals after a point in every locale.
std::string inMilliseconds(std::chrono::duration<double, std::milli> duration)
{
    std::array<char, 64> text{};
    const auto end =
        std::to_chars(text.data(), text.data() + text.size(), duration.count(), std::chars_format::fixed, 2);
    return std::string(text.data(), end.ptr) + "ms";
}

} // namespace

/// What the manager shares with jobs that may outlive it. They hold it weakly.
struct SearchManager::Catalogue {
    explicit Catalogue(const Manifest& manifest) : allEmojis(manifest.sharedEmojis()) { }

    std::vector<Emoji> search(const std::string& query) const
    {
        if (const SearchIndex* ready = index.load(std::memory_order_acquire)) {
            return emojis(ready->search(query));
        }
        // The build takes a moment after each new catalogue. Whoever types that early gets an index of their
        // own: it costs some ten milliseconds, finds everything, and shares nothing with the build.
        return emojis(SearchIndex(allEmojis).search(query));
    }

    /// Called once.
    void publish(std::unique_ptr<const SearchIndex> built)
    {
        m_owner = std::move(built);
        index.store(m_owner.get(), std::memory_order_release);
    }

    const std::shared_ptr<const SearchIndex::Emojis> allEmojis;
    /// Null until the build has ended. Readers need no lock: it is complete when they see it, and stays.
    std::atomic<const SearchIndex*> index = nullptr;

private:
    static std::vector<Emoji> emojis(const std::vector<SearchIndex::ScoredEmoji>& matches)
    {
        std::vector<Emoji> emojis;
        emojis.reserve(matches.size());
        for (const SearchIndex::ScoredEmoji& match : matches) {
            emojis.push_back(*match.emoji);
        }
        return emojis;
    }

    std::unique_ptr<const SearchIndex> m_owner;
};

SearchManager::SearchManager(Manifest manifest, int debounceDelayMs, const Platform& platform)
    : SearchManager(std::move(manifest), IndexBuild::inBackground, debounceDelayMs, platform)
{
}

SearchManager::SearchManager(Manifest manifest, IndexBuild build, int debounceDelayMs,
                             const Platform& platform)
    : m_mainQueue(platform.mainQueue), m_catalogue(std::make_shared<Catalogue>(manifest)),
      m_searchQueue(
          platform.dispatchQueues.makeSerialQueue("com.glimmerwick.search", QualityOfService::userInitiated)),
      m_debounceDelay(debounceDelayMs)
{
    if (build == IndexBuild::inBackground) {
        buildIndexInBackground(platform.dispatchQueues, platform.clock, platform.log);
    } else {
        buildIndex(*m_catalogue, platform.clock, platform.log);
        m_mainQueue.async(announceIndexing());
    }
}

SearchManager::~SearchManager() = default;

void SearchManager::buildIndexInBackground(DispatchQueues& dispatchQueues, Clock& clock, Log& log)
{
    dispatchQueues.globalQueue(QualityOfService::userInitiated)
        .async([weakCatalogue = std::weak_ptr(m_catalogue), announce = announceIndexing(),
                &mainQueue = m_mainQueue, &clock, &log] {
            if (const auto catalogue = weakCatalogue.lock()) {
                buildIndex(*catalogue, clock, log);
            }
            mainQueue.async(announce);
        });
}

void SearchManager::buildIndex(Catalogue& catalogue, Clock& clock, Log& log)
{
    const auto start = clock.now();
    auto index = std::make_unique<const SearchIndex>(catalogue.allEmojis);
    const auto elapsed = clock.now() - start;
    const std::size_t wordCount = index->wordCount();
    catalogue.publish(std::move(index));
    log.print("[SearchManager] Index built: " + std::to_string(catalogue.allEmojis->size()) + " emojis, "
              + std::to_string(wordCount) + " words indexed in " + inMilliseconds(elapsed));
}

std::function<void()> SearchManager::announceIndexing()
{
    return [this, alive = m_lifetime.watch()] {
        if (!alive) {
            return;
        }
        if (const auto callback = onIndexingComplete) {
            callback();
        }
    };
}

bool SearchManager::isIndexed() const
{
    return m_catalogue->index.load(std::memory_order_acquire) != nullptr;
}

std::vector<Emoji> SearchManager::search(const std::string& query) const
{
    return m_catalogue->search(query);
}

void SearchManager::searchDebounced(const std::string& query)
{
    m_undeliveredQuery = query;
    const std::uint64_t searchNumber = ++m_latestSearchNumber;
    m_pendingSearchWorkItem.reset();
    m_pendingSearchWorkItem = m_searchQueue->asyncAfter(
        m_debounceDelay,
        [this, alive = m_lifetime.watch(), weakCatalogue = std::weak_ptr<const Catalogue>(m_catalogue),
         &mainQueue = m_mainQueue, query, searchNumber] {
            const auto catalogue = weakCatalogue.lock();
            if (!catalogue) {
                return;
            }
            mainQueue.async([this, alive, searchNumber, results = catalogue->search(query)] {
                if (alive) {
                    deliver(searchNumber, results);
                }
            });
        });
}

void SearchManager::cancelPendingSearch()
{
    m_pendingSearchWorkItem.reset();
    m_undeliveredQuery.reset();
}

void SearchManager::flushPendingSearch()
{
    if (!m_undeliveredQuery) {
        return;
    }
    m_pendingSearchWorkItem.reset();
    m_flushedSearchNumber = m_latestSearchNumber;
    const std::string query = *std::exchange(m_undeliveredQuery, std::nullopt);
    if (const auto callback = onSearchResults) {
        callback(search(query));
    }
}

void SearchManager::deliver(std::uint64_t searchNumber, std::vector<Emoji> results)
{
    // The serial queue delivers older searches before newer ones; a flush overtakes it. What it overtook must
    // not replace the newer results, nor come back after the pick that the flush was for.
    if (searchNumber <= m_flushedSearchNumber) {
        return;
    }
    if (searchNumber == m_latestSearchNumber) {
        m_undeliveredQuery.reset();
    }
    if (const auto callback = onSearchResults) {
        callback(std::move(results));
    }
}

} // namespace glimmerwick
