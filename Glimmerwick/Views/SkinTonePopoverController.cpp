#include "Views/SkinTonePopoverController.h"

#include "Platform/KeyEvent.h"
#include "Platform/Platform.h"
#include "Views/Accessibility.h"
#include "Views/PopoverView.h"

#include <memory>
#include <utility>

namespace glimmerwick {

SkinTonePopoverController& SkinTonePopoverController::shared()
{
    return InstalledPlatform::sharedInstance<SkinTonePopoverController>([](const Platform&) {
        return std::make_unique<SkinTonePopoverController>(SkinTonePreferences::shared());
    });
}

SkinTonePopoverController::SkinTonePopoverController(SkinTonePreferences& preferences)
    : m_preferences(preferences)
{
}

SkinTonePopoverController::~SkinTonePopoverController()
{
    dismiss();
}

void SkinTonePopoverController::show(const Emoji& emoji, QWidget& relativeTo, RectEdge preferredEdge)
{
    if (!emoji.skinTones) {
        return;
    }
    dismiss();
    m_selectorView = new SkinToneSelectorView(m_preferences);
    m_selectorView->configure(emoji);
    m_selectorView->setDelegate(this);
    m_popover = new PopoverView(m_selectorView, relativeTo,
                                preferredEdge == RectEdge::minY ? PopoverEdge::below : PopoverEdge::above);
    m_popover->onClose = [this] { popoverDidClose(); };
    m_lentKeys = accessibility::lendKeys(*relativeTo.window());
    accessibility::announceFocus(*m_selectorView->currentButton());
}

void SkinTonePopoverController::dismiss()
{
    if (m_popover) {
        m_popover->close();
    }
    popoverDidClose();
}

void SkinTonePopoverController::popoverDidClose()
{
    if (m_selectorView) {
        // While the popover fades, a button that is held down may still be let go over its tone.
        for (SkinToneButton* button : m_selectorView->skinToneButtons()) {
            button->updateAppearance(SkinToneButton::Pressed::no);
        }
    }
    m_popover = nullptr;
    m_selectorView = nullptr;
    m_lentKeys.reset();
}

bool SkinTonePopoverController::isShown() const
{
    return m_popover != nullptr;
}

SkinToneSelectorView* SkinTonePopoverController::selectorView() const
{
    return m_selectorView;
}

bool SkinTonePopoverController::handleKey(std::int64_t code)
{
    if (!isShown()) {
        return false;
    }
    switch (code) {
    case keyCode::leftArrow:
        m_selectorView->moveMark(-1);
        return true;
    case keyCode::rightArrow:
        m_selectorView->moveMark(1);
        return true;
    case keyCode::upArrow:
    case keyCode::downArrow:
        return true;
    case keyCode::return_:
    case keyCode::keypadEnter:
        m_selectorView->chooseMarked();
        return true;
    case keyCode::escape:
        dismiss();
        return true;
    default:
        return false;
    }
}

void SkinTonePopoverController::didSelect(SkinToneSelectorView&, SkinTone tone, const Emoji& emoji)
{
    if (onSkinToneSelected) {
        onSkinToneSelected(tone, emoji);
    }
    dismiss();
}

} // namespace glimmerwick
