#include "Views/SkinToneButton.h"

#include "Platform/Qt/Text.h"
#include "Views/Accessibility.h"
#include "Views/EmojiPixmapCache.h"
#include "Views/SkinToneSelectorView.h"
#include "Views/Style.h"

#include <QMouseEvent>
#include <QPainter>

#include <string_view>

namespace glimmerwick {

namespace {

constexpr int side = 36;
constexpr int emojiSize = 24;
constexpr double cornerRadius = 6;
constexpr double pressedAlpha = 0.3;
constexpr double selectedAlpha = 0.2;
constexpr std::string_view wavingHand = "1f44b";

QString identifier(SkinTone tone)
{
    const std::string_view modifier = tone.rawValue();
    return QStringLiteral("skinToneButton_") + toQString(modifier.empty() ? "default" : modifier);
}

} // namespace

SkinToneButton::SkinToneButton(SkinTone tone, QWidget* parent) : QWidget(parent), m_skinTone(tone)
{
    accessibility::install();
    accessibility::identify(*this, identifier(tone));
    setFocusPolicy(Qt::NoFocus);
    setFixedSize(side, side);
    setEmojiText(SkinTone::codepointToChar(tone.apply(wavingHand)).value_or(""));
}

void SkinToneButton::setEmojiText(const std::string& text)
{
    m_emojiText = text;
    setAccessibleName(toQString(text));
    update();
}

void SkinToneButton::setSelected(bool selected)
{
    m_isSelected = selected;
    updateAppearance(Pressed::no);
}

void SkinToneButton::setMarked(bool marked)
{
    m_isMarked = marked;
    update();
}

void SkinToneButton::updateAppearance(Pressed pressed)
{
    if (pressed == Pressed::yes) {
        m_backgroundColor = style::accent(pressedAlpha);
    } else if (m_isSelected) {
        m_backgroundColor = style::accent(selectedAlpha);
    } else if (m_isMouseInside) {
        m_backgroundColor = SkinToneSelectorView::hoverBackgroundColor();
    } else {
        m_backgroundColor = Qt::transparent;
    }
    update();
}

void SkinToneButton::performClick()
{
    if (action) {
        action(*this);
    }
}

QSize SkinToneButton::sizeHint() const
{
    return {side, side};
}

void SkinToneButton::enterEvent(QEnterEvent*)
{
    m_isMouseInside = true;
    updateAppearance(Pressed::no);
}

void SkinToneButton::leaveEvent(QEvent*)
{
    m_isMouseInside = false;
    updateAppearance(Pressed::no);
}

void SkinToneButton::mousePressEvent(QMouseEvent* event)
{
    event->accept();
    if (event->button() == Qt::LeftButton) {
        updateAppearance(Pressed::yes);
    }
}

void SkinToneButton::mouseReleaseEvent(QMouseEvent* event)
{
    event->accept();
    if (event->button() != Qt::LeftButton) {
        return;
    }
    updateAppearance(Pressed::no);
    if (rect().contains(event->position().toPoint())) {
        performClick();
    }
}

void SkinToneButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(m_isMarked ? QPen(style::accent(), 1.5) : QPen(Qt::NoPen));
    painter.setBrush(m_backgroundColor);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.75, 0.75, -0.75, -0.75), cornerRadius, cornerRadius);
    painter.drawPixmap(0, 0,
                       EmojiPixmapCache::shared().pixmap(m_emojiText, emojiSize, side, devicePixelRatioF()));
}

} // namespace glimmerwick
