#pragma once

#include "KeyEventInterceptor.h"
#include "Platform/EventMonitors.h"
#include "Platform/KeyEvent.h"
#include "Platform/Lifetime.h"
#include "Platform/Registration.h"
#include "Platform/Window.h"
#include "Views/CollectionView.h"
#include "Views/Logic/ArrowKeyNavigation.h"
#include "Views/SearchField.h"

#include <QPoint>
#include <QPointer>
#include <QWidget>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick {

class EmojiDataManager;
class KeyOverlay;
class PanelBackgroundView;
class SkinTonePopoverController;
struct Platform;

/// The floating panel that holds the picker. It never activates the program: while it is shown it takes keys
/// from an interceptor or from event monitors, puts printable ones into the search field, and turns the
/// others into navigation, picks and hiding. Lives as long as the application. Main thread.
class GlimmerwickWindow : public QWidget, public PickerWindow {
public:
    GlimmerwickWindow(const Platform& platform, EmojiDataManager& emojiDataManager,
                      SkinTonePopoverController& skinTonePopoverController);
    ~GlimmerwickWindow() override;

    /// The view that the picker's views go into; fills the window.
    QWidget* contentContainerView() const;

    /// Neither is owned. Keys that need one of them do nothing without it.
    void setSearchField(SearchField* searchField) { m_searchField = searchField; }
    SearchField* searchField() const { return m_searchField; }
    void setEmojiCollectionView(CollectionView* collectionView) { m_emojiCollectionView = collectionView; }
    CollectionView* emojiCollectionView() const { return m_emojiCollectionView; }

    /// Has a menu get the keys before the picker while it is open. Not owned; it lives as long as the window.
    void addKeyOverlay(KeyOverlay& overlay) { m_keyOverlays.push_back(&overlay); }

    /// Called when Return was pressed, before what it picks is looked at.
    std::function<void()> willPickFromKeyboard;

    /// Lays out and draws the panel where nobody sees it, so that the first one that is shown finds fonts and
    /// symbols loaded. Does nothing while it is shown.
    void drawAhead();

    /// Shows the panel near the pointer, takes the keys and gives the grid the keyboard focus.
    void showAtMouseLocation();
    void dismiss() override;
    void orderOut() override;

    /// Where to show the panel now: its top left corner, with y growing downwards.
    QPoint calculateWindowPosition() const;

    /// Shows the panel where it is and installs the event monitors.
    void makeKeyAndOrderFront();

    /// Whether it is shown and what is typed goes to it. A panel that takes the focus as every window does
    /// gets it a while after it is shown.
    bool isReadyForKeys() const;
    /// Replaces monitors that are installed already.
    void installEventMonitors();
    void removeEventMonitors();
    void startKeyEventInterception();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    enum class OptionKey { up, held };

    MonitorDecision handleLocalKeyDown(const KeyEvent& event);
    void handleGlobalKeyDown(const KeyEvent& event);
    void handleGlobalMouseDown();
    void handleCharacterInput(const std::string& characters);
    void handleSpecialKey(std::uint16_t keyCode, EventFlags flags);
    /// An open tone chooser or menu gets navigation keys first; any other key closes it. True when the key is
    /// used up.
    bool handleOverlayKey(std::int64_t code, EventFlags flags);
    void dismissOverlays();
    /// Escape, Return, arrows and Tab; false for any other key, or when there is nothing that it works on.
    bool handleNavigationKey(std::int64_t keyCode, EventFlags flags);
    /// With or without Shift: there are but two places to go to.
    void handleTabKey();
    void handleArrowKey(ArrowKey key);
    void handleEnterKey(OptionKey optionKey);
    void showSkinTonePickerForSelectedEmoji(IndexPath path);
    void appendToSearchField(const std::string& characters);
    void ensureEditing();
    /// Gives a view the keys and tells so.
    void focus(QWidget& view, Qt::FocusReason reason);
    bool isSearchFieldEdited() const;
    bool isTypedText(const KeyEvent& event) const;
    void applyShape();

    const Platform& m_platform;
    EmojiDataManager& m_emojiDataManager;
    SkinTonePopoverController& m_skinTonePopoverController;
    std::vector<KeyOverlay*> m_keyOverlays;
    KeyEventInterceptor m_keyEventInterceptor;
    PanelBackgroundView* m_background = nullptr;
    QPointer<SearchField> m_searchField;
    QPointer<CollectionView> m_emojiCollectionView;
    Registration m_backdropObserver;
    Registration m_keysLostObserver;
    QMetaObject::Connection m_screenObserver;
    Registration m_localEventMonitor;
    Registration m_globalEventMonitor;
    Registration m_globalKeyEventMonitor;
    std::optional<QPoint> m_dragOffset;
    Lifetime m_lifetime;
};

} // namespace glimmerwick
