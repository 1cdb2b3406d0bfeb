#include "Views/Style.h"

#include <QApplication>
#include <QEvent>
#include <QPalette>
#include <QPointF>
#include <QWidget>

#include <cmath>

namespace glimmerwick::style {

namespace {

constexpr QColor lightPanel(246, 246, 246);
constexpr QColor darkPanel(40, 40, 42);
/// What the toolkit has where nobody names an accent; hard to see on a tint of itself.
constexpr QColor toolkitAccent(48, 140, 198);
/// Taken in its stead. As text and symbols on the panel they are told from it, on a tint of
/// themselves, too, and a text stands out on them.
constexpr QColor lightAccent(31, 116, 204);
constexpr QColor darkAccent(74, 158, 228);

/// Labels stay readable over black and over white.
constexpr double blurredAlpha = 0.85;

struct State {
    DesktopAppearance appearance;
    QString emojiFontFamily = QStringLiteral("Noto Color Emoji");
    bool animationsEnabled = true;
};

State& state()
{
    static State instance;
    return instance;
}

QColor withAlpha(QColor color, double alpha)
{
    color.setAlphaF(static_cast<float>(alpha));
    return color;
}

/// By the definition of the web's accessibility guidelines.
double relativeLuminance(const QColor& color)
{
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

void tellOfChange(QWidget& widget)
{
    QEvent change(QEvent::PaletteChange);
    QCoreApplication::sendEvent(&widget, &change);
    widget.update();
    for (QObject* child : widget.children()) {
        if (auto* childWidget = qobject_cast<QWidget*>(child)) {
            tellOfChange(*childWidget);
        }
    }
}

QEasingCurve spline(QPointF first, QPointF second)
{
    QEasingCurve curve(QEasingCurve::BezierSpline);
    curve.addCubicBezierSegment(first, second, {1, 1});
    return curve;
}

bool isHighContrast()
{
    return state().appearance.contrast == DesktopAppearance::Contrast::high;
}

/// The colour of text at an alpha; with high contrast nearer to full.
QColor text(double alphaOnLight, double alphaOnDark)
{
    const double alpha = isDark() ? alphaOnDark : alphaOnLight;
    return withAlpha(isDark() ? Qt::white : Qt::black, isHighContrast() ? std::sqrt(alpha) : alpha);
}

QPalette palette(DesktopAppearance::ColorScheme scheme)
{
    QPalette palette;
    if (scheme == DesktopAppearance::ColorScheme::noPreference) {
        return palette;
    }
    const bool dark = scheme == DesktopAppearance::ColorScheme::dark;
    const QColor window = dark ? darkPanel : lightPanel;
    const QColor base = dark ? QColor(30, 30, 32) : QColor(Qt::white);
    const QColor ink = dark ? QColor(Qt::white) : QColor(Qt::black);
    const QColor faint = withAlpha(ink, 0.5);
    for (const QPalette::ColorRole role : {QPalette::Window, QPalette::Button, QPalette::ToolTipBase}) {
        palette.setColor(role, window);
    }
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, window);
    for (const QPalette::ColorRole role :
         {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::ToolTipText}) {
        palette.setColor(role, ink);
        palette.setColor(QPalette::Disabled, role, faint);
    }
    palette.setColor(QPalette::PlaceholderText, faint);
    return palette;
}

/// Black or white, whichever is read better on the colour.
QColor inkOn(const QColor& color)
{
    constexpr double equallyReadable = 0.179;
    return relativeLuminance(color) > equallyReadable ? Qt::black : Qt::white;
}

} // namespace

void setDesktopAppearance(const DesktopAppearance& appearance)
{
    state().appearance = appearance;
    QPalette wanted = palette(appearance.colorScheme);
    if (const auto& accent = appearance.accentColor) {
        const QColor color =
            QColor::fromRgbF(static_cast<float>(accent->red), static_cast<float>(accent->green),
                             static_cast<float>(accent->blue));
        wanted.setColor(QPalette::Highlight, color);
        wanted.setColor(QPalette::HighlightedText, inkOn(color));
    }
    QApplication::setPalette(wanted);
    // Contrast is no part of the palette, which may be the same as before.
    for (QWidget* window : QApplication::topLevelWidgets()) {
        tellOfChange(*window);
    }
}

bool isDark()
{
    return QGuiApplication::palette().color(QPalette::Window).lightnessF() < 0.5F;
}

void setEmojiFontFamily(const QString& family)
{
    state().emojiFontFamily = family;
}

QFont emojiFont(int pixelSize)
{
    QFont font(state().emojiFontFamily);
    font.setStyleStrategy(QFont::NoFontMerging);
    font.setPixelSize(pixelSize);
    return font;
}

QFont systemFont(int pixelSize, QFont::Weight weight)
{
    QFont font = QGuiApplication::font();
    font.setPixelSize(pixelSize);
    font.setWeight(weight);
    return font;
}

void setAnimationsEnabled(bool enabled)
{
    state().animationsEnabled = enabled;
}

bool animationsEnabled()
{
    return state().animationsEnabled && state().appearance.motion == DesktopAppearance::Motion::full;
}

QEasingCurve easeOut()
{
    return spline({0, 0}, {0.58, 1});
}

QEasingCurve easeInEaseOut()
{
    return spline({0.42, 0}, {0.58, 1});
}

QColor accent(double alpha)
{
    const QColor named = QGuiApplication::palette().color(QPalette::Highlight);
    const QColor own = isDark() ? darkAccent : lightAccent;
    return withAlpha(named == toolkitAccent ? own : named, alpha);
}

QColor labelOnAccent()
{
    return inkOn(accent());
}

QColor label()
{
    return text(0.85, 0.87);
}

QColor secondaryLabel()
{
    return text(0.60, 0.62);
}

QColor tertiaryLabel()
{
    return text(0.26, 0.26);
}

QColor separator()
{
    return text(0.12, 0.14);
}

QColor panelBackground(Backdrop backdrop)
{
    const QColor fill = isDark() ? darkPanel : lightPanel;
    // Sharp things behind would be read along with the text, and look like dirt; blurred ones are mere
    // colour.
    return backdrop == Backdrop::blurred && !isHighContrast() ? withAlpha(fill, blurredAlpha) : fill;
}

QColor panelBorder()
{
    return text(0.14, 0.16);
}

QColor fieldBackground()
{
    return text(0.06, 0.09);
}

QColor controlBackground()
{
    return isDark() ? QColor(58, 58, 61) : QColor(255, 255, 255);
}

} // namespace glimmerwick::style
