#include "AppDelegate.h"
#include "Fakes/FakePlatform.h"
#include "GlimmerwickWindow.h"
#include "Managers/EmojiDataManager.h"
#include "Managers/RecentEmojisManager.h"
#include "Models/SkinTone.h"
#include "Platform/Qt/Text.h"
#include "Views/CategoryHeaderView.h"
#include "Views/CategoryTabBar.h"
#include "Views/CollectionView.h"
#include "Views/EmojiCell.h"
#include "Views/NoResultsLabel.h"
#include "Views/SearchBarView.h"
#include "Views/SearchField.h"
#include "Views/SkinTonePopoverController.h"
#include "Views/Style.h"
#include "Views/ToastView.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCursor>
#include <QEnterEvent>
#include <QFontMetrics>
#include <QImage>
#include <QMouseEvent>
#include <QPainter>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

namespace glimmerwick {
namespace {

/// Three channels may each be off by their rounding, and those of translucent fills by a little more.
constexpr int nearlyEqual = 3;

std::string readFile(const char* path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool isNear(const QColor& one, const QColor& other)
{
    return std::abs(one.red() - other.red()) <= nearlyEqual
        && std::abs(one.green() - other.green()) <= nearlyEqual
        && std::abs(one.blue() - other.blue()) <= nearlyEqual
        && std::abs(one.alpha() - other.alpha()) <= nearlyEqual;
}

std::string text(const QColor& color)
{
    return color.name(QColor::HexArgb).toStdString();
}

std::string text(const QRect& rect)
{
    return std::to_string(rect.x()) + "," + std::to_string(rect.y()) + " " + std::to_string(rect.width())
        + "x" + std::to_string(rect.height());
}

/// What is drawn, in pixels of the device.
class Pixels {
public:
    explicit Pixels(QWidget& view) : m_ratio(view.devicePixelRatioF())
    {
        QImage drawn((QSizeF(view.size()) * m_ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
        drawn.setDevicePixelRatio(m_ratio);
        drawn.fill(Qt::transparent);
        view.render(&drawn, QPoint(), QRegion(), QWidget::DrawChildren);
        m_image = drawn.convertToFormat(QImage::Format_ARGB32);
    }

    double ratio() const { return m_ratio; }
    const QImage& image() const { return m_image; }
    QColor at(int x, int y) const { return m_image.pixelColor(x, y); }
    /// At a place in points, which is a whole number of pixels or between two.
    QColor atPoint(double x, double y) const
    {
        return at(static_cast<int>(x * m_ratio), static_cast<int>(y * m_ratio));
    }
    /// In pixels; the rectangle's edges fall on whole ones.
    QRect device(const QRect& points) const
    {
        return QRectF(points.x() * m_ratio, points.y() * m_ratio, points.width() * m_ratio,
                      points.height() * m_ratio)
            .toRect();
    }

private:
    QImage m_image;
    double m_ratio;
};

/// How much of a pixel a fill covers, from how far its colour is from the background's to the fill's.
double coverage(const QColor& seen, const QColor& background, const QColor& fill)
{
    const auto parts = [](const QColor& color) {
        return std::vector<int>{color.red(), color.green(), color.blue(), color.alpha()};
    };
    const auto from = parts(background);
    const auto to = parts(fill);
    const auto is = parts(seen);
    std::size_t clearest = 0;
    for (std::size_t part = 1; part < from.size(); ++part) {
        if (std::abs(to[part] - from[part]) > std::abs(to[clearest] - from[clearest])) {
            clearest = part;
        }
    }
    return static_cast<double>(is[clearest] - from[clearest]) / (to[clearest] - from[clearest]);
}

/// The radius, in pixels, of a corner that is round: what is missing of its square is 1 - pi / 4 of the
/// radius'.
double cornerRadius(const Pixels& pixels, QPoint corner, QPoint inwards, int reach, const QColor& background,
                    const QColor& fill)
{
    double missing = 0;
    for (int down = 0; down < reach; ++down) {
        for (int across = 0; across < reach; ++across) {
            const QPoint place = corner + QPoint(across * inwards.x(), down * inwards.y());
            missing += 1 - std::clamp(coverage(pixels.at(place.x(), place.y()), background, fill), 0.0, 1.0);
        }
    }
    return std::sqrt(std::max(0.0, missing) / (1 - std::numbers::pi / 4));
}

/// The same where nothing is drawn around, by how opaque the corner is. Edges that are softer than the fill
/// are no part of it.
double cornerRadius(const Pixels& pixels, QPoint corner, QPoint inwards, int reach, double opaque)
{
    const QPoint middle = pixels.image().rect().center();
    const auto covered = [&](int x, int y) {
        return std::min(1.0, static_cast<double>(pixels.at(x, y).alphaF()) / opaque);
    };
    double missing = 0;
    for (int down = 0; down < reach; ++down) {
        for (int across = 0; across < reach; ++across) {
            const QPoint place = corner + QPoint(across * inwards.x(), down * inwards.y());
            const double ofSquare = covered(place.x(), middle.y()) * covered(middle.x(), place.y());
            missing += ofSquare - covered(place.x(), place.y());
        }
    }
    return std::sqrt(std::max(0.0, missing) / (1 - std::numbers::pi / 4));
}

/// A rounded rectangle of one fill: its edges have no half-tones, its corners the radius.
void expectFill(const Pixels& pixels, const QRect& points, double radius, const QColor& background,
                const QColor& fill, const std::string& what)
{
    SCOPED_TRACE(what + " at " + std::to_string(pixels.ratio()));
    const QRect rect = pixels.device(points);
    const QPoint middle = rect.center();
    // Emoji and symbols may be in the middle, never a pixel within the edges.
    const struct {
        const char* name;
        QPoint outside;
        QPoint inside;
    } edges[] = {
        {"left", {rect.left() - 1, middle.y()}, {rect.left(), middle.y()}},
        {"right", {rect.right() + 1, middle.y()}, {rect.right(), middle.y()}},
        {"top", {middle.x(), rect.top() - 1}, {middle.x(), rect.top()}},
        {"bottom", {middle.x(), rect.bottom() + 1}, {middle.x(), rect.bottom()}},
    };
    for (const auto& edge : edges) {
        const QColor inside = pixels.at(edge.inside.x(), edge.inside.y());
        EXPECT_TRUE(isNear(inside, fill)) << edge.name << ": " << text(inside) << " is not " << text(fill);
        if (pixels.image().rect().contains(edge.outside)) {
            const QColor outside = pixels.at(edge.outside.x(), edge.outside.y());
            EXPECT_TRUE(isNear(outside, background))
                << "outside " << edge.name << ": " << text(outside) << " is not " << text(background);
        }
    }
    const int reach = static_cast<int>(std::ceil((radius + 1) * pixels.ratio()));
    const struct {
        QPoint corner;
        QPoint inwards;
    } corners[] = {
        {rect.topLeft(), {1, 1}},
        {rect.topRight(), {-1, 1}},
        {rect.bottomLeft(), {1, -1}},
        {rect.bottomRight(), {-1, -1}},
    };
    for (const auto& [corner, inwards] : corners) {
        EXPECT_NEAR(cornerRadius(pixels, corner, inwards, reach, background, fill) / pixels.ratio(), radius,
                    0.4)
            << "corner " << corner.x() << "," << corner.y();
    }
}

/// The whole picker as it runs, on fakes of what lies beneath. At whatever ratio the environment asks for.
class GeometryTests : public testing::Test {
protected:
    GeometryTests()
    {
        system.process.resourcesDirectory = GLIMMERWICK_SOURCE_DIR "/Resources";
        system.httpClient.respond = [](const HttpRequest& request) {
            const bool isManifest = request.url.find("manifest") != std::string::npos;
            return HttpResponse{isManifest ? 200 : 404, isManifest ? catalogue() : std::string()};
        };
        installed = std::make_unique<InstalledPlatform>(system.platform);
        delegate = std::make_unique<AppDelegate>(system.platform);
        delegate->applicationDidFinishLaunching();
        system.time.runUntilIdle();
        for (const char* codepoint : {"1f44d", "1f602", "2764-fe0f"}) {
            RecentEmojisManager::shared().addRecent(codepoint);
        }
        system.time.runUntilIdle();
        QCursor::setPos(0, 0);
        delegate->showPicker();
        system.time.runUntilIdle();
    }

    static const std::string& catalogue()
    {
        static const std::string document =
            readFile(GLIMMERWICK_SOURCE_DIR "/Resources/catalogue/manifest.json");
        return document;
    }

    static double ratio() { return qApp->devicePixelRatio(); }

    GlimmerwickWindow& window() { return *delegate->pickerWindow(); }
    CollectionView& grid() { return *delegate->emojiGridViewController()->internalCollectionView(); }
    QWidget& view(const char* identifier) { return *window().findChild<QWidget*>(identifier); }
    /// In the panel.
    QRect frame(const QWidget& view) { return {view.mapTo(&window(), QPoint()), view.size()}; }
    QRect cell(std::size_t section, std::size_t item) { return frame(*grid().item({section, item})); }

    QColor plain() { return Pixels(window()).atPoint(160, 49); }

    /// What the accent makes of the panel.
    QColor tinted(double alpha)
    {
        QImage pixel(1, 1, QImage::Format_ARGB32_Premultiplied);
        pixel.fill(plain());
        QPainter(&pixel).fillRect(0, 0, 1, 1, style::accent(alpha));
        return pixel.pixelColor(0, 0);
    }

    fakes::FakePlatform system;
    std::unique_ptr<InstalledPlatform> installed;
    std::unique_ptr<AppDelegate> delegate;
};

TEST_F(GeometryTests, ratioIsTheOneAskedFor)
{
    const QByteArray wanted = qgetenv("QT_SCALE_FACTOR");
    EXPECT_DOUBLE_EQ(ratio(), wanted.isEmpty() ? 1 : wanted.toDouble());
    EXPECT_EQ(Pixels(window()).image().size(), (QSizeF(320, 400) * ratio()).toSize());
}

TEST_F(GeometryTests, panel)
{
    EXPECT_EQ(window().size(), QSize(320, 400));
    EXPECT_EQ(frame(*window().contentContainerView()), QRect(0, 0, 320, 400));

    const Pixels pixels(window());
    const QRect rect = pixels.device({0, 0, 320, 400});
    const int reach = static_cast<int>(17 * ratio());
    const double fill = plain().alphaF();
    EXPECT_NEAR(cornerRadius(pixels, rect.topLeft(), {1, 1}, reach, fill) / ratio(), 16, 0.4);
    EXPECT_NEAR(cornerRadius(pixels, rect.topRight(), {-1, 1}, reach, fill) / ratio(), 16, 0.4);
    EXPECT_NEAR(cornerRadius(pixels, rect.bottomLeft(), {1, -1}, reach, fill) / ratio(), 16, 0.4);
    EXPECT_NEAR(cornerRadius(pixels, rect.bottomRight(), {-1, -1}, reach, fill) / ratio(), 16, 0.4);
    EXPECT_EQ(pixels.at(0, 0).alpha(), 0);
}

/// A border as wide as a point comes to, in whole pixels: then comes the fill.
TEST_F(GeometryTests, bordersHaveNoHalfTones)
{
    const Pixels pixels(window());
    const QColor fill = plain();
    const int y = static_cast<int>(240 * ratio());
    const int last = pixels.image().width() - 1;
    const QColor border = pixels.at(0, y);
    EXPECT_FALSE(isNear(border, fill));
    EXPECT_GE(border.alpha(), fill.alpha())
        << "the fill reaches the edge, beneath the border: " << text(border);
    for (int inset = 0; inset <= std::ceil(ratio()); ++inset) {
        for (const int x : {inset, last - inset}) {
            const QColor seen = pixels.at(x, y);
            EXPECT_TRUE(isNear(seen, border) || isNear(seen, fill))
                << "panel, " << inset << " pixels from its edge: " << text(seen) << " is neither "
                << text(border) << " nor " << text(fill);
        }
    }

    const QRect field = pixels.device(frame(view("emojiSearchField")));
    const int middle = field.center().x() + field.width() / 4;
    const QColor fieldBorder = pixels.at(middle, field.top());
    const QColor fieldFill = pixels.at(middle, field.top() + static_cast<int>(std::ceil(3 * ratio())));
    EXPECT_FALSE(isNear(fieldBorder, fill));
    EXPECT_TRUE(isNear(pixels.at(middle, field.top() - 1), fill));
    EXPECT_TRUE(isNear(pixels.at(middle, field.bottom() + 1), fill));
    for (int inset = 0; inset <= std::ceil(ratio()); ++inset) {
        for (const int row : {field.top() + inset, field.bottom() - inset}) {
            const QColor seen = pixels.at(middle, row);
            EXPECT_TRUE(isNear(seen, fieldBorder) || isNear(seen, fieldFill))
                << "field, " << inset << " pixels from its edge: " << text(seen) << " is neither "
                << text(fieldBorder) << " nor " << text(fieldFill);
        }
    }

    const int top = pixels.device(frame(*delegate->categoryTabBar())).top();
    const int x = static_cast<int>(312 * ratio());
    const QColor line = pixels.at(x, top);
    EXPECT_FALSE(isNear(line, fill));
    EXPECT_TRUE(isNear(pixels.at(x, top - 1), fill)) << text(pixels.at(x, top - 1));
    for (int row = top; row <= top + std::ceil(ratio()); ++row) {
        EXPECT_TRUE(isNear(pixels.at(x, row), line) || isNear(pixels.at(x, row), fill));
    }
}

TEST_F(GeometryTests, searchBar)
{
    const QRect bar = frame(*delegate->searchBarView());
    const QRect field = frame(view("emojiSearchField"));
    const QRect button = frame(view("menuButton"));

    EXPECT_EQ(field.height(), 28);
    EXPECT_EQ(field.topLeft() - bar.topLeft(), QPoint(8, 4));
    EXPECT_EQ(bar.bottom() - field.bottom(), 4);
    EXPECT_EQ(button.size(), QSize(24, 24));
    EXPECT_EQ(button.left() - field.right() - 1, 4);
    EXPECT_EQ(bar.right() - button.right(), 8);
    EXPECT_EQ(button.center().y(), field.center().y());
    EXPECT_EQ(bar, QRect(8, 8, 304, 36));
    EXPECT_EQ(view("emojiSearchField").font().pixelSize(), 14);
    EXPECT_EQ(view("emojiSearchField").font().weight(), QFont::Normal);
}

TEST_F(GeometryTests, tabBar)
{
    CategoryTabBar& bar = *delegate->categoryTabBar();
    EXPECT_EQ(frame(bar), QRect(0, 364, 320, 36));

    int left = 8;
    for (const EmojiCategory& category : EmojiDataManager::shared().manifest()->categories()) {
        EXPECT_EQ(frame(*bar.button(category.id)), QRect(left, 364 + 4, 28, 28)) << category.id;
        left += 28 + 4;
    }
    const EmojiCategory first = EmojiDataManager::shared().manifest()->categories().front();
    expectFill(Pixels(window()), frame(*bar.button(first.id)), 6, plain(), tinted(0.2), "the selected tab");
}

TEST_F(GeometryTests, grid)
{
    EXPECT_EQ(frame(grid()), QRect(0, 52, 320, 312));

    EXPECT_EQ(frame(*grid().header(0)), QRect(0, 52, 320, 28));
    for (int item = 0; item < 3; ++item) {
        EXPECT_EQ(cell(0, static_cast<std::size_t>(item)), QRect(8 + 44 * item, 52 + 28 + 8, 40, 40));
    }
    const int second = 52 + 28 + 8 + 40 + 8;
    EXPECT_EQ(frame(*grid().header(1)), QRect(0, second, 320, 28));
    for (int item = 0; item < 21; ++item) {
        EXPECT_EQ(cell(1, static_cast<std::size_t>(item)),
                  QRect(8 + 44 * (item % 7), second + 28 + 8 + 44 * (item / 7), 40, 40));
    }
}

TEST_F(GeometryTests, sectionHeader)
{
    QWidget& header = *grid().header(1);
    const Pixels pixels(window());
    const QColor panel = plain();
    const QRect area = pixels.device(frame(header));
    QRect ink;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left() + static_cast<int>(std::ceil(2 * ratio())); x < area.right() / 2; ++x) {
            if (!isNear(pixels.at(x, y), panel)) {
                ink |= QRect(x, y, 1, 1);
            }
        }
    }
    const QFontMetrics metrics(style::systemFont(12, QFont::DemiBold));
    const auto& title = dynamic_cast<CategoryHeaderView&>(header).title();
    // The letter's own bearing is less than a point and a half.
    EXPECT_NEAR(ink.left() / ratio(), 8, 1.5) << "8 from the leading edge";
    EXPECT_NEAR(ink.width() / ratio(), metrics.horizontalAdvance(toQString(title)), 3)
        << "12 points, semi-bold";
    EXPECT_NEAR(ink.center().y() / ratio(), frame(header).center().y(), 3) << "centred";
}

TEST_F(GeometryTests, cellOfEachState)
{
    const QRect selected = cell(1, 9);
    grid().selectItem({1, 9}, ScrollPosition::none);
    expectFill(Pixels(window()), selected, 6, plain(), tinted(0.25), "selected");

    auto& hovered = *grid().item({1, 11});
    QEnterEvent enter({20, 20}, {20, 20}, {20, 20});
    QApplication::sendEvent(&hovered, &enter);
    expectFill(Pixels(window()), frame(hovered), 6, plain(), tinted(0.15), "hovered");

    QMouseEvent press(QEvent::MouseButtonPress, {20, 20}, {20, 20}, Qt::LeftButton, Qt::LeftButton, {});
    QApplication::sendEvent(&hovered, &press);
    expectFill(Pixels(window()), frame(hovered), 6, plain(), tinted(0.3), "pressed");
}

TEST_F(GeometryTests, placeholder)
{
    const std::string unknown = "1f1f4-1f1f4";
    const std::string shown = SkinTone::codepointToChar(unknown).value();
    system.textLayout.runs[shown] = {GlyphRun{{0}}};
    const Emoji flag{unknown, shown, "a flag of no country", {}, "flags", false};
    // Nobody answers.
    system.httpClient.respond = nullptr;
    delegate->emojiGridViewController()->showSearchResults({flag});
    system.time.runUntilIdle();

    const QRect place = cell(0, 0);
    QImage pixel(1, 1, QImage::Format_ARGB32_Premultiplied);
    pixel.fill(plain());
    QPainter(&pixel).fillRect(0, 0, 1, 1, style::tertiaryLabel());
    expectFill(Pixels(window()), place.adjusted(4, 4, -4, -4), 4, plain(), pixel.pixelColor(0, 0),
               "placeholder");
}

TEST_F(GeometryTests, skinTones)
{
    grid().selectItem({0, 2}, ScrollPosition::none);
    SkinTonePopoverController& popover = SkinTonePopoverController::shared();
    const Emoji thumb = EmojiDataManager::shared().manifest()->emoji("1f44d").value();
    popover.show(thumb, *grid().item({1, 8}), RectEdge::maxY);
    ASSERT_TRUE(popover.isShown());

    SkinToneSelectorView& selector = *popover.selectorView();
    EXPECT_EQ(selector.size(), QSize(252, 52));
    int left = 8;
    for (const SkinToneButton* button : selector.skinToneButtons()) {
        EXPECT_EQ(button->geometry(), QRect(left, 8, 36, 36));
        left += 36 + 4;
    }
    EXPECT_EQ(left - 4 + 8, 252);

    const Pixels alone(selector);
    const QColor ground = style::controlBackground();
    QImage pixel(1, 1, QImage::Format_ARGB32_Premultiplied);
    pixel.fill(ground);
    QPainter(&pixel).fillRect(0, 0, 1, 1, style::accent(0.2));
    expectFill(alone, QRect(8, 8, 36, 36), 6, ground, pixel.pixelColor(0, 0), "the preferred tone");
    EXPECT_NEAR(cornerRadius(alone, {0, 0}, {1, 1}, static_cast<int>(12 * ratio()), 1) / ratio(), 10, 0.4);
    popover.dismiss();
}

TEST_F(GeometryTests, toast)
{
    QWidget host;
    host.resize(320, 400);
    host.show();
    auto* toast = new ToastView("Copied!", system.time);
    toast->show(host, std::nullopt);

    const QFontMetrics metrics(style::systemFont(13, QFont::Medium));
    const QSize label = metrics.size(Qt::TextSingleLine, QStringLiteral("Copied!"));
    EXPECT_EQ(toast->size(), label + QSize(24, 12));
    EXPECT_NEAR(toast->geometry().center().x(), 159.5, 0.5);
    EXPECT_NEAR(toast->geometry().center().y(), 199.5, 0.5);
    EXPECT_DOUBLE_EQ(toast->alpha(), 1);

    const QImage image = Pixels(*toast).image();
    const QColor seen = image.pixelColor(static_cast<int>(4 * ratio()), image.height() / 2);
    EXPECT_TRUE(isNear(seen, QColor(26, 26, 26, 230))) << text(seen);
    EXPECT_NEAR(cornerRadius(Pixels(*toast), {0, 0}, {1, 1}, static_cast<int>(9 * ratio()), 0.9) / ratio(), 8,
                0.4);
}

TEST_F(GeometryTests, noResults)
{
    delegate->emojiGridViewController()->showSearchResults({});
    system.time.runUntilIdle();

    const auto* label = window().findChild<NoResultsLabel*>();
    ASSERT_TRUE(label && label->isVisible());
    EXPECT_EQ(label->font().pixelSize(), 14);
    EXPECT_EQ(label->font().weight(), QFont::Medium);
    EXPECT_NEAR(frame(*label).center().x(), 159.5, 0.5);
    EXPECT_NEAR(frame(*label).center().y(), 52 + 156, 1);
}

/// Rectangles that stand on whole points stand on whole pixels at every ratio that is a multiple of a
/// quarter.
TEST_F(GeometryTests, nothingStandsBetweenPixels)
{
    std::vector<const QWidget*> views{&view("emojiSearchField"), delegate->categoryTabBar(), &grid()};
    for (const CollectionViewItem* item : grid().visibleItems()) {
        views.push_back(item);
    }
    for (const EmojiCategory& category : EmojiDataManager::shared().manifest()->categories()) {
        views.push_back(delegate->categoryTabBar()->button(category.id));
    }
    for (const QWidget* one : views) {
        const QRect place = frame(*one);
        for (const int edge :
             {place.left(), place.top(), place.left() + place.width(), place.top() + place.height()}) {
            EXPECT_DOUBLE_EQ(edge * ratio(), std::round(edge * ratio()))
                << one->objectName().toStdString() << " at " << text(place);
        }
    }
}

} // namespace
} // namespace glimmerwick
