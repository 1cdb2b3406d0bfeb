#include "Views/SkinToneButton.h"

#include "Platform/Qt/Text.h"
#include "Views/Accessibility.h"
#include "Views/EmojiPixmapCache.h"
#include "Views/SkinToneSelectorView.h"
#include "Views/Style.h"

#include <QCoreApplication>
#include <QMouseEvent>
#include <QPainter>

#include <string_view>
#include <utility>

namespace glimmerwick {

namespace {

constexpr int side = 36;
constexpr int emojiSize = 24;
constexpr double cornerRadius = 6;
constexpr double pressedAlpha = 0.3;
constexpr double selectedAlpha = 0.2;
constexpr double markWidth = 1.5;
constexpr std::string_view wavingHand = "1f44b";

QString identifier(SkinTone tone)
{
    const std::string_view modifier = tone.rawValue();
    return QStringLiteral("skinToneButton_") + toQString(modifier.empty() ? "default" : modifier);
}

QString description(SkinTone tone)
{
    const auto text = [](const char* source) {
        return QCoreApplication::translate("SkinToneButton", source);
    };
    switch (tone) {
    case SkinTone::default_:
        return text(QT_TRANSLATE_NOOP("SkinToneButton", "default skin tone"));
    case SkinTone::light:
        return text(QT_TRANSLATE_NOOP("SkinToneButton", "light skin tone"));
    case SkinTone::mediumLight:
        return text(QT_TRANSLATE_NOOP("SkinToneButton", "medium-light skin tone"));
    case SkinTone::medium:
        return text(QT_TRANSLATE_NOOP("SkinToneButton", "medium skin tone"));
    case SkinTone::mediumDark:
        return text(QT_TRANSLATE_NOOP("SkinToneButton", "medium-dark skin tone"));
    case SkinTone::dark:
        return text(QT_TRANSLATE_NOOP("SkinToneButton", "dark skin tone"));
    }
    return {};
}

} // namespace

SkinToneButton::SkinToneButton(SkinTone tone, QWidget* parent) : QWidget(parent), m_skinTone(tone)
{
    accessibility::install();
    accessibility::identify(*this, identifier(tone));
    setAccessibleDescription(description(tone));
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
    if (std::exchange(m_isMarked, marked) == marked) {
        return;
    }
    update();
    if (marked) {
        accessibility::announceFocus(*this);
    }
}

void SkinToneButton::updateAppearance(Pressed pressed)
{
    m_pressed = pressed;
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
    if (event->button() != Qt::LeftButton || m_pressed == Pressed::no) {
        return;
    }
    updateAppearance(Pressed::no);
    if (rect().contains(event->position().toPoint())) {
        performClick();
    }
}

void SkinToneButton::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        updateAppearance(m_pressed);
    }
}

void SkinToneButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(m_backgroundColor);
    painter.drawRoundedRect(rect(), cornerRadius, cornerRadius);
    if (m_isMarked) {
        constexpr double inset = markWidth / 2;
        painter.setPen(QPen(style::accent(), markWidth));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(rect()).adjusted(inset, inset, -inset, -inset), cornerRadius - inset,
                                cornerRadius - inset);
    }
    painter.drawPixmap(0, 0,
                       EmojiPixmapCache::shared().pixmap(m_emojiText, emojiSize, side, devicePixelRatioF()));
}

} // namespace glimmerwick
