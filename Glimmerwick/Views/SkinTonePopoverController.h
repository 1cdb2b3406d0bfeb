#pragma once

#include "Models/Emoji.h"
#include "Models/SkinTone.h"
#include "Platform/Registration.h"
#include "Views/KeyOverlay.h"
#include "Views/SkinToneSelectorView.h"

#include <QPointer>
#include <QWidget>

#include <cstdint>
#include <functional>

namespace glimmerwick {

class PopoverView;

/// An edge of a rectangle whose y grows upwards.
enum class RectEdge { minX, minY, maxX, maxY };

/// Owns the one tone chooser that may be open. It opens inside the window of its anchor and never takes the
/// keyboard focus. Main thread.
class SkinTonePopoverController : public KeyOverlay, private SkinToneSelectorDelegate {
public:
    static SkinTonePopoverController& shared();

    explicit SkinTonePopoverController(SkinTonePreferences& preferences);
    ~SkinTonePopoverController() override;

    /// The user chose a tone. It is the preferred tone already; the popover closes afterwards.
    std::function<void(SkinTone, const Emoji&)> onSkinToneSelected;

    /// Opens the chooser next to the anchor, closing one that is open. Nothing happens for an emoji without
    /// tones.
    void show(const Emoji& emoji, QWidget& relativeTo, RectEdge preferredEdge);
    void dismiss() override;

    bool isShown() const override;
    /// The chooser, or null.
    SkinToneSelectorView* selectorView() const;

    /// Offers a navigation key to an open chooser: the left and right arrows move its mark, Return chooses,
    /// Escape closes. True when the key was its business; every arrow is.
    bool handleKey(std::int64_t keyCode) override;

private:
    void didSelect(SkinToneSelectorView& selector, SkinTone tone, const Emoji& emoji) override;
    void popoverDidClose();

    SkinTonePreferences& m_preferences;
    QPointer<PopoverView> m_popover;
    QPointer<SkinToneSelectorView> m_selectorView;
    Registration m_lentKeys;
};

} // namespace glimmerwick
