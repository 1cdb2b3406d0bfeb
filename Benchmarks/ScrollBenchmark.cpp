// What scrolling through the whole catalogue costs, step by step, at a device pixel ratio of 2.
//
// A step moves the grid, makes and places the cells that come into sight, and paints the grid anew; it has
// half of a sixtieth of a second, 8 ms, if nothing is to stutter. Pictures are stored on disk before, as they
// are some minutes after the first login. Times are in milliseconds.
//   wheel      ten times down and up again, a step as far as 1,440 points a second go: a wheel turned quickly
//   fling      the same at 7,200 points a second: as fast as anybody still sees anything
//   p50, p99, worst, over_8   of the steps by the clock; the last is how many took longer than that. Other
//              programs at work on the machine are in them
//   cpu_p50, cpu_p99, cpu_worst, cpu_over_8   the same by the time that the processor worked on them
//   draws      emoji drawn because no picture of them was stored, of all steps
//   cells      that exist after the first time and after the last
//   cache_mib  of kept pictures after the first time and after the last
//   rss_mib    memory of the process, likewise
// It fails when cells, pictures or memory have grown after the first time.

#include "Fakes/FakePlatform.h"
#include "Managers/EmojiDataManager.h"
#include "Managers/EmojiRenderer.h"
#include "Managers/RecentEmojisManager.h"
#include "Managers/SkinTonePreferences.h"
#include "Platform/HarfBuzz/HarfBuzzTextLayout.h"
#include "Platform/Linux/DispatchQueues.h"
#include "Platform/Linux/PictureFiles.h"
#include "Platform/Qt/QtImageCodec.h"
#include "Platform/Qt/Text.h"
#include "Views/CollectionView.h"
#include "Views/EmojiCell.h"
#include "Views/EmojiGridViewController.h"
#include "Views/EmojiPixmapCache.h"
#include "Views/SkinTonePopoverController.h"
#include "Views/Style.h"

#include <QApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick {
namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr QSize gridSize(320, 312);
constexpr int ratio = 2;
constexpr int scrolls = 10;
constexpr int stepsPerSecond = 60;
constexpr double budget = 8;
constexpr double mebibyte = 1024 * 1024;
/// What an allocator may keep for itself from one time to the next.
constexpr double tolerance = 2;

std::string manifestDocument()
{
    std::ifstream file(GLIMMERWICK_SOURCE_DIR "/Resources/catalogue/manifest.json", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

double residentMebibytes()
{
    std::ifstream file("/proc/self/statm");
    double all = 0;
    double resident = 0;
    file >> all >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / mebibyte;
}

double threadMilliseconds()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1000 + static_cast<double>(time.tv_nsec) / 1e6;
}

/// What each step took.
struct Steps {
    std::vector<double> clock;
    std::vector<double> processor;
};

/// The grid in a window of its own, on a real font and fakes of everything else.
class Grid {
public:
    Grid()
    {
        if (const auto family = m_textLayout.colourEmojiFontFamily()) {
            style::setEmojiFontFamily(toQString(*family));
        }
        EmojiPixmapCache::shared().setGlyphPictures(&m_textLayout);
        m_window.resize(gridSize);
        m_grid.view()->setParent(&m_window);
        m_grid.view()->setGeometry(QRect(QPoint(), gridSize));
        m_fakes.fileSystem.files[m_dataManager.cacheDirectory() / "manifest.json"] = {manifestDocument(),
                                                                                      m_fakes.fileClock.time};
        m_load = m_dataManager.fetchManifest(false);
        m_load.start();
        m_fakes.time.runUntilIdle();
        m_grid.reloadData();
        m_fakes.time.runUntilIdle();
        m_window.show();
        QCoreApplication::processEvents();
    }
    ~Grid() { EmojiPixmapCache::shared().setGlyphPictures(nullptr); }
    Grid(const Grid&) = delete;
    Grid& operator=(const Grid&) = delete;

    bool isReady() const
    {
        return m_window.devicePixelRatioF() == ratio && view().maximumVisibleTop() > 10 * gridSize.height();
    }

    /// Down to the end and up again. Adds what each step took.
    void scrollThrough(double pointsPerStep, Steps& steps)
    {
        const double end = view().maximumVisibleTop();
        for (double top = 0; top < end; top += pointsPerStep) {
            step(top, steps);
        }
        for (double top = end; top > 0; top -= pointsPerStep) {
            step(top, steps);
        }
        step(0, steps);
    }

    double cells() const { return static_cast<double>(m_window.findChildren<EmojiCell*>().size()); }

private:
    CollectionView& view() const { return *m_grid.internalCollectionView(); }

    void step(double top, Steps& steps)
    {
        const auto begin = Clock::now();
        const double workedBefore = threadMilliseconds();
        view().scrollTo(top);
        QCoreApplication::sendPostedEvents();
        m_window.repaint();
        steps.processor.push_back(threadMilliseconds() - workedBefore);
        steps.clock.push_back(Milliseconds(Clock::now() - begin).count());
        // What asks for pictures of emoji that the font lacks.
        m_fakes.time.runUntilIdle();
    }

    fakes::FakePlatform m_fakes;
    HarfBuzzTextLayout m_textLayout;
    QtImageCodec m_imageCodec{m_textLayout.colourEmojiFontFamily()};
    EmojiDataManager m_dataManager{m_fakes.process, m_fakes.log,        m_fakes.fileSystem, m_fakes.fileClock,
                                   m_fakes.time,    m_fakes.httpClient, m_textLayout,       m_imageCodec};
    RecentEmojisManager m_recents{m_fakes.userDefaults, m_fakes.notificationCenter, m_fakes.log,
                                  m_dataManager};
    SkinTonePreferences m_preferences{m_fakes.userDefaults, m_fakes.notificationCenter};
    EmojiRenderer m_renderer{m_imageCodec};
    SkinTonePopoverController m_popover{m_preferences};
    QWidget m_window;
    mutable EmojiGridViewController m_grid{m_fakes.platform, m_dataManager, m_recents,
                                           m_preferences,    m_renderer,    m_popover};
    Task<Result<Success, EmojiDataManager::ManifestError>> m_load;
};

/// What is held at one moment.
struct Held {
    double cells = 0;
    double cache = 0;
    double memory = 0;
};

Held held(const Grid& grid)
{
    return {grid.cells(), static_cast<double>(EmojiPixmapCache::shared().bytes()) / mebibyte,
            residentMebibytes()};
}

void report(benchmark::State& state, const std::string& prefix, std::vector<double> steps)
{
    const auto over = std::count_if(steps.begin(), steps.end(), [](double step) { return step > budget; });
    std::sort(steps.begin(), steps.end());
    state.counters[prefix + "p50"] = steps[steps.size() / 2];
    state.counters[prefix + "p99"] = steps[steps.size() * 99 / 100];
    state.counters[prefix + "worst"] = steps.back();
    state.counters[prefix + "over_8"] = static_cast<double>(over);
}

/// A store drops what it cannot write fast enough.
void storePictures(Grid& grid)
{
    constexpr double pointsPerSecond = 7200;
    std::size_t drawsBefore = 0;
    do {
        drawsBefore = EmojiPixmapCache::shared().drawCount();
        Steps ignored;
        grid.scrollThrough(pointsPerSecond / stepsPerSecond, ignored);
        EmojiPixmapCache::shared().clear();
    } while (EmojiPixmapCache::shared().drawCount() > drawsBefore);
}

void scroll(benchmark::State& state, double pointsPerSecond)
{
    EmojiPixmapCache::shared().clear();
    Grid grid;
    if (!grid.isReady()) {
        state.SkipWithError("the grid is not shown at the ratio, or has nothing to scroll");
        return;
    }
    storePictures(grid);
    Steps steps;
    const std::size_t drawsBefore = EmojiPixmapCache::shared().drawCount();
    Held first;
    Held last;
    for ([[maybe_unused]] auto _ : state) {
        const std::size_t before = steps.clock.size();
        grid.scrollThrough(pointsPerSecond / stepsPerSecond, steps);
        double took = 0;
        std::for_each(steps.clock.begin() + static_cast<std::ptrdiff_t>(before), steps.clock.end(),
                      [&](double step) { took += step; });
        state.SetIterationTime(took / 1000);
        last = held(grid);
        if (before == 0) {
            first = last;
        }
    }
    state.counters["steps"] = static_cast<double>(steps.clock.size());
    report(state, "", steps.clock);
    report(state, "cpu_", steps.processor);
    state.counters["draws"] = static_cast<double>(EmojiPixmapCache::shared().drawCount() - drawsBefore);
    state.counters["cells"] = first.cells;
    state.counters["cells_last"] = last.cells;
    state.counters["cache_mib"] = first.cache;
    state.counters["cache_mib_last"] = last.cache;
    state.counters["rss_mib"] = first.memory;
    state.counters["rss_mib_last"] = last.memory;
    if (last.cells > first.cells || last.cache > first.cache + tolerance
        || last.memory > first.memory + tolerance) {
        state.SkipWithError("more is held after the last time than after the first");
    }
}

void registerBenchmarks()
{
    const auto add = [](const char* name, double pointsPerSecond) {
        benchmark::RegisterBenchmark(name, [=](benchmark::State& state) { scroll(state, pointsPerSecond); })
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond)
            ->Iterations(scrolls);
    };
    add("wheel", 1440);
    add("fling", 7200);
}

} // namespace
} // namespace glimmerwick

int main(int argc, char** argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    qputenv("QT_SCALE_FACTOR", QByteArray::number(glimmerwick::ratio));
    benchmark::Initialize(&argc, argv);
    const QApplication application(argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    const QTemporaryDir folder;
    glimmerwick::ThreadDispatchQueues queues;
    glimmerwick::PictureFiles store(folder.path().toStdString(), queues, [](std::string_view problem) {
        std::cerr << "scroll-benchmark: " << problem << '\n';
    });
    glimmerwick::EmojiPixmapCache::shared().setStore(&store, "scroll-benchmark");
    glimmerwick::registerBenchmarks();
    benchmark::RunSpecifiedBenchmarks();
    glimmerwick::EmojiPixmapCache::shared().setStore(nullptr, {});
    benchmark::Shutdown();
    return 0;
}
