#include "Views/AboutWindow.h"
#include "Views/AlertWindow.h"
#include "Views/DialogsFixture.h"
#include "Views/PlainTextView.h"
#include "Views/ProgressBar.h"
#include "Views/Style.h"
#include "Views/UpdateWindow.h"

#include <QFontMetricsF>
#include <QImage>
#include <QScreen>
#include <QTextDocument>
#include <QTranslator>

#include <cmath>
#include <functional>
#include <optional>
#include <string_view>
#include <utility>

namespace glimmerwick {
namespace {

constexpr double readable = 4.5;
constexpr int leastMargin = 20;

const std::string longSentence =
    "The answer of https://updates.example.invalid/with/an/address/that/goes/on/and/on/and/on is no update "
    "feed, "
    "and this sentence is longer than a line, too.";
const std::string longHeading = "A message that is so long that it needs two lines";
const QString mark = QStringLiteral("\u2042");

/// A language in which every text is the English one behind a mark.
class MarkingTranslator : public QTranslator {
public:
    MarkingTranslator() { QCoreApplication::installTranslator(this); }

    bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* source, const char*, int) const override
    {
        const bool isOurs = std::string_view(context).ends_with("Window");
        return isOurs ? mark + QString::fromUtf8(source) : QString();
    }
};

/// By the definition of the web's accessibility guidelines.
double luminance(const QColor& color)
{
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

QColor over(const QColor& color, const QColor& background)
{
    const float alpha = color.alphaF();
    const auto mixed = [&](float part, float behind) { return part * alpha + behind * (1 - alpha); };
    return QColor::fromRgbF(mixed(color.redF(), background.redF()),
                            mixed(color.greenF(), background.greenF()),
                            mixed(color.blueF(), background.blueF()));
}

double contrast(const QColor& text, const QColor& background)
{
    const double one = luminance(over(text, background));
    const double other = luminance(background);
    return (std::max(one, other) + 0.05) / (std::min(one, other) + 0.05);
}

DesktopAppearance appearance(DesktopAppearance::ColorScheme scheme,
                             DesktopAppearance::Contrast strength = DesktopAppearance::Contrast::normal,
                             std::optional<DesktopAppearance::Color> accent = std::nullopt)
{
    return {scheme, strength, DesktopAppearance::Motion::full, accent};
}

QImage rendered(QWidget& view)
{
    QImage image((QSizeF(view.size()) * view.devicePixelRatioF()).toSize(), QImage::Format_RGB32);
    image.setDevicePixelRatio(view.devicePixelRatioF());
    view.render(&image);
    return image;
}

/// The three windows with everything that they can show, at whatever ratio the environment asks for.
class DialogGeometryTests : public tests::DialogsFixture {
protected:
    ~DialogGeometryTests() override { style::setDesktopAppearance({}); }

    void forEachWindow(const std::function<void(DialogWindow&)>& check)
    {
        const UpdateOffer offer{"0.1.0", "0.2.0-rc.1", longSentence + '\n' + longSentence, 123456789};
        const std::pair<const char*, std::function<void()>> steps[] = {
            {"alert",
             [&] {
                 alert.show({longHeading, longSentence, {"Yes", "No"}}, nullptr);
             }},
            {"about", [&] { about.show(); }},
            {"licences",
             [&] {
                 about.show();
                 shownWindow()->buttons()[1]->click();
             }},
            {"checking", [&] { update.showChecking(nullptr); }},
            {"up to date", [&] { update.showUpToDate("0.1.0"); }},
            {"offer", [&] { update.showOffer(offer, Attention::asked, nullptr); }},
            {"downloading",
             [&] {
                 update.showDownloading("0.2.0", nullptr);
                 update.setProgress(1234567, 123456789);
             }},
            {"handed over", [&] { update.showHandedOver("0.2.0"); }},
            {"failure", [&] { update.showFailure(longSentence); }},
            {"message", [&] { update.showMessage(longSentence); }},
        };
        for (const auto& [name, show] : steps) {
            SCOPED_TRACE(name);
            show();
            ASSERT_NE(shownWindow(), nullptr);
            check(*shownWindow());
            shownWindow()->withdraw();
            QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        }
    }

    template <typename View> static std::vector<View*> shownParts(const DialogWindow& window)
    {
        std::vector<View*> parts;
        for (QWidget* widget : window.findChildren<QWidget*>()) {
            if (auto* part = dynamic_cast<View*>(widget); part && part->isVisible()) {
                parts.push_back(part);
            }
        }
        return parts;
    }

    AlertWindow alert{time};
    AboutWindow about{
        {"0.1.0", [] { return "17.1.0"; }, GLIMMERWICK_SOURCE_DIR "/Resources/catalogue/LICENSES.txt"}};
    UpdateWindow update{time};
};

TEST_F(DialogGeometryTests, noTextIsCut)
{
    forEachWindow([](DialogWindow& window) {
        for (const DialogLabel* label : shownParts<DialogLabel>(window)) {
            SCOPED_TRACE(label->plainText().toStdString());
            const int flags = label->wordWrap() ? Qt::TextWordWrap : 0;
            const QRectF needed =
                QFontMetricsF(label->font())
                    .boundingRect(QRectF(0, 0, label->wordWrap() ? label->width() : 10000, 10000), flags,
                                  label->text());
            EXPECT_LE(needed.width(), label->width());
            EXPECT_LE(needed.height(), label->height() + 0.5);
        }
        for (DialogButton* button : shownParts<DialogButton>(window)) {
            SCOPED_TRACE(button->title().toStdString());
            const bool isPrimary = button->emphasis() == DialogButton::Emphasis::primary;
            const QFontMetricsF metrics(style::systemFont(13, isPrimary ? QFont::DemiBold : QFont::Normal));
            EXPECT_LE(metrics.horizontalAdvance(button->title()) + 2 * 10, button->width());
            EXPECT_GE(button->height(), 28);
            EXPECT_LE(metrics.height(), button->height());
        }
    });
}

TEST_F(DialogGeometryTests, aWordLongerThanALineIsBroken)
{
    update.showFailure(std::string(200, 'x'));

    const DialogLabel* label = shownParts<DialogLabel>(*shownWindow()).back();
    const double lineHeight = QFontMetricsF(label->font()).lineSpacing();
    EXPECT_GE(label->height(), 3 * lineHeight);
    EXPECT_EQ(label->plainText().toStdString(), std::string(200, 'x'));
}

TEST_F(DialogGeometryTests, everythingStandsInsideTheMarginsAndNothingOverlaps)
{
    forEachWindow([](DialogWindow& window) {
        std::vector<QWidget*> parts;
        for (QWidget* label : shownParts<DialogLabel>(window)) {
            parts.push_back(label);
        }
        for (QWidget* button : shownParts<DialogButton>(window)) {
            parts.push_back(button);
        }
        for (QWidget* view : shownParts<PlainTextView>(window)) {
            parts.push_back(view);
        }
        for (QWidget* bar : shownParts<ProgressBar>(window)) {
            parts.push_back(bar);
        }
        ASSERT_GE(parts.size(), 2U);
        const QRect inside = window.rect().adjusted(leastMargin, leastMargin, -leastMargin, -leastMargin);
        std::vector<QRect> places;
        for (const QWidget* part : parts) {
            const QRect place(part->mapTo(&window, QPoint()), part->size());
            EXPECT_TRUE(inside.contains(place)) << part->accessibleName().toStdString();
            for (const QRect& other : places) {
                EXPECT_FALSE(place.intersects(other)) << part->accessibleName().toStdString();
            }
            places.push_back(place);
        }
        EXPECT_EQ(window.minimumSize(), window.maximumSize()) << "as large as its contents";
    });
}

TEST_F(DialogGeometryTests, everyTextIsReadableInEveryAppearance)
{
    using Color = DesktopAppearance::Color;
    const std::optional<Color> accents[] = {std::nullopt, Color{0.93, 0.45, 0.1}, Color{1, 0.95, 0.2},
                                            Color{0.2, 0, 0.35}, Color{0.5, 0.5, 0.5}};
    const auto check = [](DialogWindow& window) {
        const QColor panel = window.palette().color(QPalette::Window);
        EXPECT_EQ(rendered(window).pixelColor(2, 2), panel);
        for (const DialogLabel* label : shownParts<DialogLabel>(window)) {
            EXPECT_GE(contrast(label->palette().color(QPalette::WindowText), panel), readable)
                << label->plainText().toStdString();
        }
        for (const DialogButton* button : shownParts<DialogButton>(window)) {
            EXPECT_GE(contrast(button->titleColor(), button->fillColor()), readable)
                << button->title().toStdString();
        }
        for (const PlainTextView* view : shownParts<PlainTextView>(window)) {
            EXPECT_GE(contrast(view->palette().color(QPalette::Text), view->backgroundColor()), readable);
            EXPECT_GE(contrast(view->palette().color(QPalette::HighlightedText),
                               view->palette().color(QPalette::Highlight)),
                      readable);
        }
    };
    for (const auto scheme : {DesktopAppearance::ColorScheme::noPreference,
                              DesktopAppearance::ColorScheme::light, DesktopAppearance::ColorScheme::dark}) {
        for (const auto strength : {DesktopAppearance::Contrast::normal, DesktopAppearance::Contrast::high}) {
            for (const auto& accent : accents) {
                style::setDesktopAppearance(appearance(scheme, strength, accent));
                SCOPED_TRACE("scheme " + std::to_string(static_cast<int>(scheme)));
                forEachWindow(check);
            }
        }
    }
}

TEST_F(DialogGeometryTests, aShownWindowFollowsTheDesktop)
{
    const UpdateOffer offer{"0.1.0", "0.2.0", "Notes", 1};
    using Scheme = DesktopAppearance::ColorScheme;
    style::setDesktopAppearance(appearance(Scheme::light));
    update.showOffer(offer, Attention::asked, nullptr);
    DialogWindow& window = *shownWindow();
    const QImage light = rendered(window);

    style::setDesktopAppearance(appearance(Scheme::dark));
    const QImage dark = rendered(window);
    style::setDesktopAppearance(appearance(Scheme::dark, DesktopAppearance::Contrast::normal,
                                           DesktopAppearance::Color{0.1, 0.6, 0.2}));
    const QImage green = rendered(window);
    style::setDesktopAppearance(appearance(Scheme::dark, DesktopAppearance::Contrast::high));
    const QImage strong = rendered(window);
    update.close();
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    style::setDesktopAppearance(appearance(Scheme::dark));
    update.showOffer(offer, Attention::asked, nullptr);

    EXPECT_GT(light.pixelColor(2, 2).lightness(), 200);
    EXPECT_LT(dark.pixelColor(2, 2).lightness(), 80);
    EXPECT_NE(green, dark);
    EXPECT_NE(strong, dark);
    EXPECT_EQ(rendered(*shownWindow()), dark) << "as if it had been dark from the start";
}

TEST_F(DialogGeometryTests, everyTextOfTheirOwnCanBeTranslated)
{
    const MarkingTranslator translator;
    const QStringList ofOthers{QString::fromStdString(longHeading), QString::fromStdString(longSentence),
                               QStringLiteral("Glimmerwick")};

    forEachWindow([&](DialogWindow& window) {
        const bool isAlert = window.windowTitle() == "Glimmerwick";
        QStringList texts{window.windowTitle()};
        for (const DialogLabel* label : shownParts<DialogLabel>(window)) {
            texts << label->plainText();
        }
        for (const DialogButton* button : shownParts<DialogButton>(window)) {
            texts << (isAlert ? ofOthers.front() : button->title());
        }
        for (const PlainTextView* view : shownParts<PlainTextView>(window)) {
            texts << view->accessibleName();
        }
        ASSERT_GE(texts.size(), 3);
        for (const QString& text : texts) {
            EXPECT_TRUE(text.startsWith(mark) || ofOthers.contains(text)) << text.toStdString();
        }
    });
}

TEST_F(DialogGeometryTests, theRingOfTheFocusIsForThoseWhoUseKeys)
{
    alert.show({"Text", "", {"Yes", "No"}}, nullptr);
    DialogWindow& window = *shownWindow();
    window.activateWindow();
    QApplication::processEvents();
    window.setAttribute(Qt::WA_KeyboardFocusChange, false);
    const QImage before = rendered(*window.buttons()[1]);

    QKeyEvent tab(QEvent::KeyPress, Qt::Key_Tab, Qt::NoModifier);
    QApplication::sendEvent(window.focusWidget(), &tab);

    ASSERT_TRUE(window.buttons()[1]->hasFocus());
    EXPECT_NE(rendered(*window.buttons()[1]), before);
}

TEST_F(DialogGeometryTests, contentsThatGrowStayOnTheScreen)
{
    update.showChecking(nullptr);
    DialogWindow& window = *shownWindow();
    const QRect area = window.screen()->availableGeometry();
    window.move(area.center().x(), area.bottom() - window.frameGeometry().height());
    const int centre = window.geometry().center().x();

    update.showOffer({"0.1.0", "0.2.0", "Notes", 1}, Attention::asked, nullptr);

    EXPECT_LE(window.frameGeometry().bottom(), area.bottom());
    EXPECT_NEAR(window.geometry().center().x(), centre, 1);
}

} // namespace
} // namespace glimmerwick
