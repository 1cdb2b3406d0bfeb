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

    /// What Return chooses: the marked button, or the preferred tone's when no key has moved the mark.
    SkinToneButton* currentButton() const { return m_skinToneButtons[currentIndex()]; }
    /// Moves the keyboard's mark by so many buttons to the right on the screen, from the current one, and not
    /// past the ends.
    void moveMark(int buttons);
    /// Chooses the current button's tone.
    void chooseMarked();

    QSize sizeHint() const override;

protected:
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void skinToneButtonClicked(SkinToneButton& button);
    void markPreferred(SkinTone preferred);
    std::size_t currentIndex() const;
    /// The first tone stands where text begins.
    void placeButtons();

    SkinTonePreferences& m_preferences;
    SkinToneSelectorDelegate* m_delegate = nullptr;
    std::optional<Emoji> m_emoji;
    std::vector<SkinToneButton*> m_skinToneButtons;
};

} // namespace glimmerwick
