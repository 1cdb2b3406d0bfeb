#include "Views/Style.h"

#include <QGuiApplication>
#include <QPalette>

namespace glimmerwick::style {

namespace {

struct State {
    Appearance appearance = Appearance::automatic;
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

QColor text(double alphaOnLight, double alphaOnDark)
{
    return isDark() ? withAlpha(Qt::white, alphaOnDark) : withAlpha(Qt::black, alphaOnLight);
}

} // namespace

void setAppearance(Appearance appearance)
{
    state().appearance = appearance;
}

bool isDark()
{
    if (state().appearance == Appearance::automatic) {
        return QGuiApplication::palette().color(QPalette::Window).lightnessF() < 0.5F;
    }
    return state().appearance == Appearance::dark;
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
    return state().animationsEnabled;
}

QColor accent(double alpha)
{
    return withAlpha(QGuiApplication::palette().color(QPalette::Highlight), alpha);
}

QColor label()
{
    return text(0.85, 0.87);
}

QColor secondaryLabel()
{
    return text(0.55, 0.58);
}

QColor tertiaryLabel()
{
    return text(0.26, 0.26);
}

QColor separator()
{
    return text(0.12, 0.14);
}

QColor panelBackground()
{
    return isDark() ? QColor(40, 40, 42, 247) : QColor(246, 246, 246, 247);
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
