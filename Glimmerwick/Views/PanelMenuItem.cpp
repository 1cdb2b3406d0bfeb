#include "Views/PanelMenuItem.h"

#include "Views/Style.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QStyle>

#include <cmath>

namespace glimmerwick {

namespace {

constexpr int fontSize = 13;
constexpr int inset = 10;
constexpr int equivalentGap = 28;
constexpr double cornerRadius = 5;

} // namespace

PanelMenuItem::PanelMenuItem(const QString& title, const QString& keyEquivalent, QWidget* menu)
    : QWidget(menu), m_title(title), m_keyEquivalent(keyEquivalent)
{
    setAccessibleName(title);
    setFocusPolicy(Qt::NoFocus);
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void PanelMenuItem::setHighlighted(bool highlighted)
{
    m_isHighlighted = highlighted;
    update();
}

QColor PanelMenuItem::textColor() const
{
    return m_isHighlighted ? style::labelOnAccent() : style::label();
}

QSize PanelMenuItem::sizeHint() const
{
    const QFontMetricsF metrics(style::systemFont(fontSize));
    // A text that lacks a fraction of a point is shortened like one that lacks a word.
    const double equivalentWidth =
        m_keyEquivalent.isEmpty() ? 0 : equivalentGap + std::ceil(metrics.horizontalAdvance(m_keyEquivalent));
    const double width = std::ceil(metrics.horizontalAdvance(m_title)) + equivalentWidth + 2 * inset;
    return {static_cast<int>(width), lineHeight};
}

void PanelMenuItem::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (m_isHighlighted) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(style::accent());
        painter.drawRoundedRect(rect(), cornerRadius, cornerRadius);
    }
    painter.setFont(style::systemFont(fontSize));
    const QFontMetricsF metrics(painter.font());
    const QRect line = rect().adjusted(inset, 0, -inset, 0);
    const auto side = [this](Qt::AlignmentFlag alignment) {
        return static_cast<int>(QStyle::visualAlignment(layoutDirection(), alignment) | Qt::AlignAbsolute
                                | Qt::AlignVCenter)
            | Qt::TextSingleLine;
    };

    double titleWidth = line.width();
    if (!m_keyEquivalent.isEmpty()) {
        titleWidth -= equivalentGap + std::ceil(metrics.horizontalAdvance(m_keyEquivalent));
        painter.setPen(m_isHighlighted ? textColor() : style::secondaryLabel());
        painter.drawText(line, side(Qt::AlignRight), m_keyEquivalent);
    }
    painter.setPen(textColor());
    painter.drawText(line, side(Qt::AlignLeft), metrics.elidedText(m_title, Qt::ElideRight, titleWidth));
}

} // namespace glimmerwick
