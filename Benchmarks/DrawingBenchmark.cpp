// What drawing a screen of emoji costs, and what warming spares the first show of the picker.
//
// Times are in milliseconds. Everything is measured at device pixel ratios of 1 and 2, on the platform that
// QT_QPA_PLATFORM names.
//   cached          60 emoji from the cache of their pictures
//   text            the same, as text each time
//   uncached        the same through an empty cache, from the font's pictures as the program draws them
//   new-process     the same through an empty cache, in a process that has drawn nothing
//   first-show      the grid with the bundled catalogue, from its first show until it is painted, each time
//   in a
//                   new process; warm: after what the grid draws ahead, cold: without
//   by_cached       how many times longer than cached
//   cells, draws    of a first show: cells painted, and texts that had to be drawn because no picture was
//   there by_warm         of a cold first show: how many times longer than a warm one warming         all
//   that is drawn ahead; longest_turn: the most of it between two other pieces of work

#include "Fakes/FakePlatform.h"
#include "Managers/EmojiDataManager.h"
#include "Managers/EmojiRenderer.h"
#include "Managers/RecentEmojisManager.h"
#include "Managers/SkinTonePreferences.h"
#include "Models/Manifest.h"
#include "Platform/HarfBuzz/HarfBuzzTextLayout.h"
#include "Platform/Qt/QtImageCodec.h"
#include "Platform/Qt/Text.h"
#include "Views/EmojiCell.h"
#include "Views/EmojiGridViewController.h"
#include "Views/EmojiPixmapCache.h"
#include "Views/SkinTonePopoverController.h"
#include "Views/Style.h"

#include <QApplication>
#include <QPainter>
#include <QPixmap>
#include <QProcess>
#include <QTextStream>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;
using Texts = std::vector<std::string>;

constexpr std::size_t screenCount = 60;
constexpr int columns = 10;
constexpr int side = 40;
constexpr int fontSize = 28;
constexpr QSize gridSize(320, 312);
constexpr std::chrono::seconds paintDeadline(30);
constexpr double milliseconds = 1000;
constexpr std::size_t roomForAll = 64 * 1024 * 1024;

const char* const measureOption = "--measure";

double secondsOf(const std::function<void()>& work)
{
    const auto begin = Clock::now();
    work();
    return Seconds(Clock::now() - begin).count();
}

double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

std::string manifestDocument()
{
    std::ifstream file(GLIMMERWICK_SOURCE_DIR "/Resources/catalogue/manifest.json", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// What the catalogue begins with.
Texts screenOfTexts()
{
    Texts texts;
    for (const Emoji& emoji : Manifest::decode(manifestDocument()).value().allEmojis()) {
        if (texts.size() == screenCount) {
            break;
        }
        texts.push_back(emoji.char_);
    }
    return texts;
}

// Painting a screen

/// What a widget paints into.
QPixmap canvas(double ratio)
{
    const int rows = static_cast<int>(screenCount) / columns;
    QPixmap pixmap(QSize(columns * side, rows * side) * ratio);
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::white);
    return pixmap;
}

QPoint corner(std::size_t number)
{
    const auto place = static_cast<int>(number);
    return {place % columns * side, place / columns * side};
}

void paintFromCache(QPixmap& target, const Texts& texts, EmojiPixmapCache& cache, double ratio)
{
    QPainter painter(&target);
    for (std::size_t number = 0; number < texts.size(); ++number) {
        painter.drawPixmap(corner(number), cache.pixmap(texts[number], fontSize, side, ratio));
    }
}

void paintAsText(QPixmap& target, const Texts& texts)
{
    QPainter painter(&target);
    painter.setRenderHints(QPainter::TextAntialiasing | QPainter::SmoothPixmapTransform);
    painter.setPen(style::label());
    for (std::size_t number = 0; number < texts.size(); ++number) {
        painter.setFont(style::emojiFont(fontSize));
        painter.drawText(QRect(corner(number), QSize(side, side)), Qt::AlignCenter | Qt::TextSingleLine,
                         toQString(texts[number]));
    }
}

/// Medians that later benchmarks compare with, by name.
std::map<std::string, double>& medians()
{
    static std::map<std::string, double> values;
    return values;
}

void compare(benchmark::State& state, const char* counter, double seconds, const std::string& other)
{
    if (const auto known = medians().find(other); known != medians().end()) {
        state.counters[counter] = seconds / known->second;
    }
}

void report(benchmark::State& state, const std::string& name, const std::vector<double>& seconds)
{
    medians()[name] = median(seconds);
    state.counters["p50"] = milliseconds * median(seconds);
    state.counters["worst"] = milliseconds * *std::max_element(seconds.begin(), seconds.end());
}

std::string nameOf(const std::string& kind, int ratio)
{
    return kind + "/" + std::to_string(ratio) + "x";
}

/// Runs `paint` for the time; `prepare` before each, not counted.
void paintScreen(benchmark::State& state, const std::string& kind, int ratio,
                 const std::function<void()>& prepare, const std::function<void()>& paint)
{
    prepare();
    paint();
    std::vector<double> seconds;
    for ([[maybe_unused]] auto _ : state) {
        prepare();
        seconds.push_back(secondsOf(paint));
        state.SetIterationTime(seconds.back());
    }
    report(state, nameOf(kind, ratio), seconds);
    if (kind != "cached") {
        compare(state, "by_cached", median(seconds), nameOf("cached", ratio));
    }
}

void cached(benchmark::State& state, int ratio)
{
    const Texts texts = screenOfTexts();
    EmojiPixmapCache cache(roomForAll);
    QPixmap target = canvas(ratio);
    paintScreen(
        state, "cached", ratio, [] {}, [&] { paintFromCache(target, texts, cache, ratio); });
    state.counters["draws"] = static_cast<double>(cache.drawCount());
}

void text(benchmark::State& state, int ratio)
{
    const Texts texts = screenOfTexts();
    QPixmap target = canvas(ratio);
    paintScreen(
        state, "text", ratio, [] {}, [&] { paintAsText(target, texts); });
}

void uncached(benchmark::State& state, int ratio)
{
    const Texts texts = screenOfTexts();
    HarfBuzzTextLayout font;
    EmojiPixmapCache cache(roomForAll);
    cache.setGlyphPictures(&font);
    QPixmap target = canvas(ratio);
    paintScreen(
        state, "uncached", ratio, [&] { cache.clear(); },
        [&] { paintFromCache(target, texts, cache, ratio); });
}

// Measured in a process of its own

/// What such a process prints, one word each.
struct Measured {
    double seconds = 0;
    double ratio = 0;
    std::size_t cells = 0;
    std::size_t draws = 0;
    double warming = 0;
    double longestTurn = 0;
};

Measured measureNewProcess()
{
    const Texts texts = screenOfTexts();
    Measured result;
    result.ratio = qApp->devicePixelRatio();
    HarfBuzzTextLayout font;
    EmojiPixmapCache cache(roomForAll);
    cache.setGlyphPictures(&font);
    QPixmap target = canvas(result.ratio);
    result.seconds = secondsOf([&] { paintFromCache(target, texts, cache, result.ratio); });
    result.cells = texts.size();
    result.draws = cache.drawCount();
    return result;
}

/// Counts the cells that are painted while it lives.
class PaintedCells : public QObject {
public:
    PaintedCells() { qApp->installEventFilter(this); }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Paint && dynamic_cast<EmojiCell*>(watched)) {
            ++count;
        }
        return false;
    }

    std::size_t count = 0;
};

/// The grid in a window that has not been shown, on a real font and fakes of everything else.
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
    }
    ~Grid() { EmojiPixmapCache::shared().setGlyphPictures(nullptr); }
    Grid(const Grid&) = delete;
    Grid& operator=(const Grid&) = delete;

    /// Gives the main queue its turns, with other work between them.
    void warm(Measured& result)
    {
        auto turnBegan = Clock::now();
        // What is queued here stands behind the next turn of warming; once alone, warming is done.
        std::function<void()> between = [&] {
            result.longestTurn = std::max(result.longestTurn, Seconds(Clock::now() - turnBegan).count());
            if (m_fakes.time.pendingCount() > 0) {
                turnBegan = Clock::now();
                m_fakes.time.async(between);
            }
        };
        m_fakes.time.async(between);
        result.warming = secondsOf([&] { m_fakes.time.runUntilIdle(); });
    }

    void showFirst(Measured& result)
    {
        const std::size_t drawsBefore = EmojiPixmapCache::shared().drawCount();
        const PaintedCells painted;
        const auto begin = Clock::now();
        m_window.show();
        while (painted.count == 0 && Clock::now() - begin < paintDeadline) {
            QCoreApplication::processEvents();
        }
        result.seconds = Seconds(Clock::now() - begin).count();
        result.cells = painted.count;
        result.draws = EmojiPixmapCache::shared().drawCount() - drawsBefore;
        result.ratio = m_window.devicePixelRatioF();
    }

private:
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
    EmojiGridViewController m_grid{m_fakes.platform, m_dataManager, m_recents,
                                   m_preferences,    m_renderer,    m_popover};
    Task<Result<Success, EmojiDataManager::ManifestError>> m_load;
};

Measured measureFirstShow(bool isWarm)
{
    Measured result;
    Grid grid;
    if (isWarm) {
        grid.warm(result);
    }
    grid.showFirst(result);
    return result;
}

/// Prints what the process was started to measure.
int measure(const QString& what)
{
    const Measured result =
        what == "new-process" ? measureNewProcess() : measureFirstShow(what == "first-show-warm");
    std::printf("%.9f %.3f %zu %zu %.9f %.9f\n", result.seconds, result.ratio, result.cells, result.draws,
                result.warming, result.longestTurn);
    return 0;
}

std::optional<Measured> measureElsewhere(const std::string& what, int ratio)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("QT_SCALE_FACTOR", QString::number(ratio));
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QCoreApplication::applicationFilePath(), {measureOption, QString::fromStdString(what)});
    if (!process.waitForFinished() || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() != 0) {
        return std::nullopt;
    }
    Measured result;
    QTextStream words(process.readAllStandardOutput());
    words >> result.seconds >> result.ratio >> result.cells >> result.draws >> result.warming
        >> result.longestTurn;
    return words.status() == QTextStream::Ok ? std::optional(result) : std::nullopt;
}

void elsewhere(benchmark::State& state, const std::string& what, int ratio)
{
    std::vector<double> seconds;
    std::vector<double> warming;
    std::vector<double> longestTurns;
    Measured last;
    for ([[maybe_unused]] auto _ : state) {
        const auto measured = measureElsewhere(what, ratio);
        if (!measured || measured->cells == 0 || measured->ratio != ratio) {
            state.SkipWithError("the process that measures painted nothing, or at another ratio");
            return;
        }
        last = *measured;
        seconds.push_back(last.seconds);
        warming.push_back(last.warming);
        longestTurns.push_back(last.longestTurn);
        state.SetIterationTime(last.seconds);
    }
    report(state, nameOf(what, ratio), seconds);
    state.counters["cells"] = static_cast<double>(last.cells);
    state.counters["draws"] = static_cast<double>(last.draws);
    if (what == "new-process") {
        compare(state, "by_cached", median(seconds), nameOf("cached", ratio));
    } else if (what == "first-show-cold") {
        compare(state, "by_warm", median(seconds), nameOf("first-show-warm", ratio));
    } else {
        state.counters["warming"] = milliseconds * median(warming);
        state.counters["longest_turn"] = milliseconds * median(longestTurns);
    }
}

void registerBenchmarks()
{
    constexpr int rounds = 200;
    constexpr int processes = 15;
    for (const int ratio : {1, 2}) {
        const auto add = [ratio](const std::string& kind, auto run, int iterations) {
            benchmark::RegisterBenchmark(nameOf(kind, ratio).c_str(), run)
                ->UseManualTime()
                ->Unit(benchmark::kMillisecond)
                ->Iterations(iterations);
        };
        const auto in = [ratio](void (*run)(benchmark::State&, int)) {
            return [=](benchmark::State& state) { run(state, ratio); };
        };
        add("cached", in(cached), rounds);
        add("text", in(text), rounds);
        add("uncached", in(uncached), rounds);
        for (const std::string what : {"new-process", "first-show-warm", "first-show-cold"}) {
            add(
                what, [=](benchmark::State& state) { elsewhere(state, what, ratio); }, processes);
        }
    }
}

} // namespace
} // namespace glimmerwick

int main(int argc, char** argv)
{
    // Fades would be part of a first show.
    glimmerwick::style::setAnimationsEnabled(false);
    if (argc == 3 && std::string(argv[1]) == glimmerwick::measureOption) {
        const QApplication application(argc, argv);
        return glimmerwick::measure(QString::fromLocal8Bit(argv[2]));
    }
    benchmark::Initialize(&argc, argv);
    const QApplication application(argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    glimmerwick::registerBenchmarks();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
