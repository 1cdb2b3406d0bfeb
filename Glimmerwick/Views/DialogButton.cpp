#include "Views/DialogButton.h"

#include "Views/DevicePixels.h"
#include "Views/Style.h"

#include <QFontMetricsF>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace glimmerwick {

namespace {

constexpr int fontSize = 13;
constexpr int sideInset = 16;
constexpr int leastWidth = 84;
constexpr int usualHeight = 30;
constexpr double cornerRadius = 7;
constexpr double ringWidth = 2;
/// Between the edge and the ring of a filled button, which would else be lost in the fill's own edge.
constexpr double ringInset = 2;
constexpr float hoverAlpha = 0.07F;
constexpr float pressedAlpha = 0.16F;

QString withoutMnemonics(QString title)
{
    return title.replace(QLatin1Char('&'), QLatin1String("&&"));
}

QFont titleFont(DialogButton::Emphasis emphasis)
{
    return style::systemFont(fontSize,
                             emphasis == DialogButton::Emphasis::primary ? QFont::DemiBold : QFont::Normal);
}

} // namespace

DialogButton::DialogButton(const QString& title, Emphasis emphasis, QWidget* parent)
    : QPushButton(withoutMnemonics(title), parent), m_title(title), m_emphasis(emphasis)
{
    setAccessibleName(title);
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize DialogButton::sizeHint() const
{
    const double width = QFontMetricsF(titleFont(m_emphasis)).horizontalAdvance(m_title);
    return {std::max(leastWidth, static_cast<int>(std::ceil(width)) + 2 * sideInset), usualHeight};
}

QColor DialogButton::fillColor() const
{
    return m_emphasis == Emphasis::primary && isEnabled() ? style::accent() : style::controlBackground();
}

QColor DialogButton::titleColor() const
{
    if (!isEnabled()) {
        return style::tertiaryLabel();
    }
    return m_emphasis == Emphasis::primary ? style::labelOnAccent() : style::label();
}

/// Away from the title's colour, which so stays as readable.
QColor DialogButton::veilColor() const
{
    QColor veil = titleColor().lightnessF() > 0.5F ? Qt::black : Qt::white;
    if (m_emphasis == Emphasis::secondary) {
        veil = style::isDark() ? Qt::white : Qt::black;
    }
    veil.setAlphaF(isDown() ? pressedAlpha : underMouse() && isEnabled() ? hoverAlpha : 0);
    return veil;
}

/// Only for who goes about by keys: a ring from the start would be one more colour on every window.
bool DialogButton::showsFocus() const
{
    return hasFocus() && window()->testAttribute(Qt::WA_KeyboardFocusChange);
}

void DialogButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const bool isFilled = m_emphasis == Emphasis::primary && isEnabled();
    devicePixels::drawFramed(painter, rect(), cornerRadius, fillColor(),
                             isFilled ? Qt::transparent : style::panelBorder());
    painter.setPen(Qt::NoPen);
    painter.setBrush(veilColor());
    painter.drawRoundedRect(rect(), cornerRadius, cornerRadius);
    if (showsFocus()) {
        const double inset = ringWidth / 2 + (isFilled ? ringInset : 0);
        painter.setPen(QPen(isFilled ? titleColor() : style::accent(), ringWidth));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(rect()).adjusted(inset, inset, -inset, -inset), cornerRadius - inset,
                                cornerRadius - inset);
    }
    painter.setFont(titleFont(m_emphasis));
    painter.setPen(titleColor());
    painter.drawText(rect(), Qt::AlignCenter | Qt::TextSingleLine, m_title);
}

} // namespace glimmerwick
