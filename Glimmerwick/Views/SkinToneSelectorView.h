#pragma once

#include "Managers/SkinTonePreferences.h"
#include "Models/Emoji.h"
#include "Models/SkinTone.h"
#include "Views/SkinToneButton.h"

#include <QColor>
#include <QWidget>

#include <cstddef>
#include <optional>
#include <vector>

namespace glimmerwick {

class SkinToneSelectorView;

class SkinToneSelectorDelegate {
public:
    virtual ~SkinToneSelectorDelegate() = default;

    virtual void didSelect(SkinToneSelectorView& selector, SkinTone tone, const Emoji& emoji) = 0;
};

/// A row of six buttons: an emoji in its own appearance and in each skin tone. Main thread.
class SkinToneSelectorView : public QWidget {
public:
    explicit SkinToneSelectorView(SkinTonePreferences& preferences, QWidget* parent = nullptr);

    static QColor hoverBackgroundColor();

    /// Not owned.
    void setDelegate(SkinToneSelectorDelegate* delegate) { m_delegate = delegate; }

    /// Shows the emoji's tones and marks the preferred one.
    void configure(const Emoji& emoji);

    const std::vector<SkinToneButton*>& skinToneButtons() const { return m_skinToneButtons; }

    /// Moves the keyboard's mark by so many buttons, from the preferred tone's at first, and not past the
    /// ends.
    void moveMark(int buttons);
    /// Chooses the marked tone, or the preferred one when no key has moved the mark.
    void chooseMarked();

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void skinToneButtonClicked(SkinToneButton& button);
    void markPreferred(SkinTone preferred);
    std::size_t markedIndex() const;

    SkinTonePreferences& m_preferences;
    SkinToneSelectorDelegate* m_delegate = nullptr;
    std::optional<Emoji> m_emoji;
    std::vector<SkinToneButton*> m_skinToneButtons;
};

} // namespace glimmerwick
