#include "Views/SkinToneSelectorView.h"

#include "Views/Accessibility.h"
#include "Views/Style.h"

#include <QCoreApplication>
#include <QPainter>
#include <QStyle>

#include <algorithm>

namespace glimmerwick {

namespace {

constexpr int buttonSide = 36;
constexpr int spacing = 4;
constexpr int inset = 8;
constexpr double cornerRadius = 10;
constexpr double hoverAlpha = 0.15;

} // namespace

SkinToneSelectorView::SkinToneSelectorView(SkinTonePreferences& preferences, QWidget* parent)
    : QWidget(parent), m_preferences(preferences)
{
    accessibility::identify(*this, QStringLiteral("skinToneSelector"));
    accessibility::setRole(*this, QAccessible::Grouping);
    setAccessibleName(QCoreApplication::translate("SkinToneSelectorView", "Skin tones"));
    setFocusPolicy(Qt::NoFocus);
    resize(SkinToneSelectorView::sizeHint());
    for (const SkinTone tone : SkinTone::allCases()) {
        auto* button = new SkinToneButton(tone, this);
        button->action = [this](SkinToneButton& clicked) { skinToneButtonClicked(clicked); };
        m_skinToneButtons.push_back(button);
    }
    placeButtons();
}

void SkinToneSelectorView::placeButtons()
{
    QRect place(inset, inset, buttonSide, buttonSide);
    for (SkinToneButton* button : m_skinToneButtons) {
        button->setGeometry(QStyle::visualRect(layoutDirection(), QRect(QPoint(), sizeHint()), place));
        place.translate(buttonSide + spacing, 0);
    }
}

QColor SkinToneSelectorView::hoverBackgroundColor()
{
    return style::accent(hoverAlpha);
}

void SkinToneSelectorView::configure(const Emoji& emoji)
{
    m_emoji = emoji;
    for (SkinToneButton* button : m_skinToneButtons) {
        const std::string codepoint = button->skinTone().apply(emoji.codepoint);
        button->setEmojiText(SkinTone::codepointToChar(codepoint).value_or(emoji.char_));
    }
    markPreferred(m_preferences.preferredSkinTone());
}

void SkinToneSelectorView::markPreferred(SkinTone preferred)
{
    for (SkinToneButton* button : m_skinToneButtons) {
        button->setSelected(button->skinTone() == preferred);
    }
}

void SkinToneSelectorView::skinToneButtonClicked(SkinToneButton& button)
{
    if (!m_emoji) {
        return;
    }
    const SkinTone tone = button.skinTone();
    m_preferences.setPreferredSkinTone(tone);
    markPreferred(tone);
    if (m_delegate) {
        // A copy: what the delegate does may end this view.
        m_delegate->didSelect(*this, tone, Emoji(*m_emoji));
    }
}

std::size_t SkinToneSelectorView::currentIndex() const
{
    const auto isMarked = [](const SkinToneButton* button) { return button->isMarked(); };
    auto found = std::find_if(m_skinToneButtons.begin(), m_skinToneButtons.end(), isMarked);
    if (found == m_skinToneButtons.end()) {
        found = std::find_if(m_skinToneButtons.begin(), m_skinToneButtons.end(),
                             [](const SkinToneButton* button) { return button->isSelected(); });
    }
    return found == m_skinToneButtons.end() ? 0 : static_cast<std::size_t>(found - m_skinToneButtons.begin());
}

void SkinToneSelectorView::moveMark(int buttons)
{
    const int last = static_cast<int>(m_skinToneButtons.size()) - 1;
    const int step = layoutDirection() == Qt::RightToLeft ? -buttons : buttons;
    const int target = std::clamp(static_cast<int>(currentIndex()) + step, 0, last);
    for (int index = 0; index <= last; ++index) {
        m_skinToneButtons[static_cast<std::size_t>(index)]->setMarked(index == target);
    }
}

void SkinToneSelectorView::chooseMarked()
{
    currentButton()->performClick();
}

QSize SkinToneSelectorView::sizeHint() const
{
    const int count = static_cast<int>(SkinTone::allCases().size());
    return {count * buttonSide + (count - 1) * spacing + 2 * inset, buttonSide + 2 * inset};
}

void SkinToneSelectorView::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LayoutDirectionChange) {
        placeButtons();
    }
}

void SkinToneSelectorView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(style::separator(), 0.5));
    painter.setBrush(style::controlBackground());
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.25, 0.25, -0.25, -0.25), cornerRadius, cornerRadius);
}

} // namespace glimmerwick
