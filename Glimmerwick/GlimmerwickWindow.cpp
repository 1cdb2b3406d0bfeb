#include "GlimmerwickWindow.h"

#include "Managers/EmojiDataManager.h"
#include "Models/UnicodeText.h"
#include "Platform/Log.h"
#include "Platform/MainQueue.h"
#include "Platform/MenuHost.h"
#include "Platform/PanelHost.h"
#include "Platform/Platform.h"
#include "Platform/Qt/Text.h"
#include "Views/Accessibility.h"
#include "Views/EmojiGridViewController.h"
#include "Views/Logic/PanelPlacement.h"
#include "Views/PanelBackgroundView.h"
#include "Views/SkinTonePopoverController.h"

#include <QCursor>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QScreen>
#include <QWindow>

#include <algorithm>
#include <utility>
#include <vector>

namespace glimmerwick {

namespace {

constexpr int panelWidth = 320;
constexpr int panelHeight = 400;
constexpr int glassVersion = 26;
constexpr const char* disableEventTapFlag = "--disable-event-tap";
/// The modifier flags that do not name a side of the keyboard.
constexpr EventFlags deviceIndependentFlags = 0xffff0000;

Rect toRect(const QRect& rect)
{
    return {static_cast<double>(rect.x()), static_cast<double>(rect.y()), static_cast<double>(rect.width()),
            static_cast<double>(rect.height())};
}

/// Screens lie at the same coordinates in points and in pixels; only what is within them is scaled.
ScreenArea areaOf(const QScreen& screen, PanelHost& panelHost)
{
    const QRect points = screen.geometry();
    const double ratio = screen.devicePixelRatio();
    const ScreenRect visible = panelHost.visibleFrame(
        {points.x(), points.y(), qRound(points.width() * ratio), qRound(points.height() * ratio)});
    return {toRect(points),
            {points.x() + (visible.x - points.x()) / ratio, points.y() + (visible.y - points.y()) / ratio,
             visible.width / ratio, visible.height / ratio}};
}

/// The first screen with the point; null where none has it.
const QScreen* screenContaining(QPoint point)
{
    const QList<QScreen*> screens = QGuiApplication::screens();
    // The pointer's place is rounded to points, so that the last pixels of a screen become the first point
    // beyond it.
    for (const int rounding : {0, 1}) {
        for (const QScreen* screen : screens) {
            if (screen->geometry().adjusted(0, 0, rounding, rounding).contains(point)) {
                return screen;
            }
        }
    }
    return nullptr;
}

QPoint pointerPosition(PanelHost& panelHost)
{
    const auto position = panelHost.pointerPosition();
    return position ? QPointF(position->x, position->y).toPoint() : QCursor::pos();
}

NativeWindow nativeWindow(const QWidget& window)
{
    return NativeWindow{window.windowHandle()->winId()};
}

PanelBackgroundView::Material backgroundMaterial(const Process& process)
{
    return process.operatingSystemVersion.major >= glassVersion ? PanelBackgroundView::Material::glass
                                                                : PanelBackgroundView::Material::hudWindow;
}

ArrowKeyNavigation navigation(const CollectionView& collectionView)
{
    std::vector<std::size_t> itemCounts;
    for (std::size_t section = 0; section < collectionView.numberOfSections(); ++section) {
        itemCounts.push_back(collectionView.numberOfItems(section));
    }
    return {std::move(itemCounts), static_cast<double>(collectionView.width())};
}

/// The first item of a row stands at the right where text runs from there.
ArrowKey inReadingOrder(ArrowKey key, Qt::LayoutDirection direction)
{
    if (direction == Qt::RightToLeft && key == ArrowKey::left) {
        return ArrowKey::right;
    }
    if (direction == Qt::RightToLeft && key == ArrowKey::right) {
        return ArrowKey::left;
    }
    return key;
}

void tellDelegateOfPick(CollectionView& collectionView, IndexPath path)
{
    if (CollectionViewDelegate* delegate = collectionView.delegate()) {
        delegate->didSelectItems(collectionView, {path}, SelectionModifier::none);
    }
}

Qt::WindowFlags panelFlags(const PanelHost& host)
{
    if (host.needsOrdinaryPanel()) {
        return Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint;
    }
    return Qt::ToolTip | Qt::BypassWindowManagerHint | Qt::FramelessWindowHint;
}

} // namespace

GlimmerwickWindow::GlimmerwickWindow(const Platform& platform, EmojiDataManager& emojiDataManager,
                                     SkinTonePopoverController& skinTonePopoverController)
    : QWidget(nullptr, panelFlags(platform.panelHost)), m_platform(platform),
      m_emojiDataManager(emojiDataManager),
      m_skinTonePopoverController(skinTonePopoverController), m_keyOverlays{&skinTonePopoverController},
      m_keyEventInterceptor(platform.eventTap, platform.mainQueue)
{
    accessibility::setRole(*this, QAccessible::Dialog);
    setObjectName(QStringLiteral("pickerWindow"));
    setWindowTitle(QStringLiteral("Glimmerwick"));
    setAccessibleName(windowTitle());
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating, !platform.panelHost.needsOrdinaryPanel());
    setAttribute(Qt::WA_QuitOnClose, false);
    setFixedSize(panelWidth, panelHeight);
    m_background = new PanelBackgroundView(backgroundMaterial(platform.process), this);
    accessibility::setRole(*m_background, QAccessible::Grouping);
    m_backdropObserver = platform.panelHost.onBackdropChanged([this] {
        if (isVisible()) {
            applyShape();
        }
    });
    m_keysLostObserver = platform.panelHost.onKeysLost([this] { dismiss(); });
}

GlimmerwickWindow::~GlimmerwickWindow()
{
    m_skinTonePopoverController.dismiss();
}

QWidget* GlimmerwickWindow::contentContainerView() const
{
    return m_background->contentView();
}

void GlimmerwickWindow::drawAhead()
{
    if (!isVisible()) {
        grab();
    }
}

void GlimmerwickWindow::showAtMouseLocation()
{
    move(calculateWindowPosition());
    makeKeyAndOrderFront();
    startKeyEventInterception();
    if (m_emojiCollectionView) {
        focus(*m_emojiCollectionView, Qt::OtherFocusReason);
    }
}

QPoint GlimmerwickWindow::calculateWindowPosition() const
{
    const QPoint pointer = pointerPosition(m_platform.panelHost);
    // Only there can the panel go, and only its visible frame is worth the questions.
    std::vector<ScreenArea> screens;
    std::optional<ScreenArea> mainScreen;
    if (const QScreen* screen = screenContaining(pointer)) {
        screens.push_back(areaOf(*screen, m_platform.panelHost));
        mainScreen = screens.front();
    } else if (const QScreen* main = QGuiApplication::primaryScreen()) {
        mainScreen = areaOf(*main, m_platform.panelHost);
    }
    const Point origin =
        panelOrigin({static_cast<double>(pointer.x()), static_cast<double>(pointer.y())},
                    {static_cast<double>(width()), static_cast<double>(height())}, screens, mainScreen);
    return {qRound(origin.x), qRound(origin.y)};
}

void GlimmerwickWindow::makeKeyAndOrderFront()
{
    QObject::disconnect(m_screenObserver);
    show();
    // The toolkit makes the native window anew in its first show. Nothing is painted before the next event.
    applyShape();
    raise();
    windowHandle()->installEventFilter(this);
    // Dragged to a screen of another ratio, the same panel has other pixels; once the toolkit has seen to
    // them.
    m_screenObserver = QObject::connect(
        windowHandle(), &QWindow::screenChanged, this,
        [this] {
            if (isVisible()) {
                applyShape();
            }
        },
        Qt::QueuedConnection);
    m_platform.panelHost.panelDidShow(nativeWindow(*this));
    installEventMonitors();
}

bool GlimmerwickWindow::isReadyForKeys() const
{
    return isVisible() && (!m_platform.panelHost.needsOrdinaryPanel() || isActiveWindow());
}

void GlimmerwickWindow::applyShape()
{
    const double ratio = devicePixelRatioF();
    const PanelOutline outline{qRound(width() * ratio), qRound(height() * ratio),
                               PanelBackgroundView::cornerRadius * ratio};
    m_background->setBackdrop(m_platform.panelHost.shapePanel(nativeWindow(*this), outline));
}

void GlimmerwickWindow::dismiss()
{
    m_keyEventInterceptor.stop();
    removeEventMonitors();
    dismissOverlays();
    orderOut();
}

void GlimmerwickWindow::orderOut()
{
    if (!isVisible()) {
        return;
    }
    m_dragOffset.reset();
    m_platform.panelHost.panelWillHide(nativeWindow(*this));
    hide();
}

void GlimmerwickWindow::installEventMonitors()
{
    removeEventMonitors();
    EventMonitors& monitors = m_platform.eventMonitors;
    m_localEventMonitor =
        monitors.addLocalKeyDownMonitor([this, alive = m_lifetime.watch()](const KeyEvent& event) {
            return alive && isVisible() ? handleLocalKeyDown(event) : MonitorDecision::pass;
        });
    m_globalEventMonitor = monitors.addGlobalMouseDownMonitor([this, alive = m_lifetime.watch()] {
        if (alive && isVisible()) {
            handleGlobalMouseDown();
        }
    });
    m_globalKeyEventMonitor =
        monitors.addGlobalKeyDownMonitor([this, alive = m_lifetime.watch()](const KeyEvent& event) {
            if (alive && isVisible()) {
                handleGlobalKeyDown(event);
            }
        });
}

void GlimmerwickWindow::removeEventMonitors()
{
    m_localEventMonitor.reset();
    m_globalEventMonitor.reset();
    m_globalKeyEventMonitor.reset();
}

void GlimmerwickWindow::startKeyEventInterception()
{
    const auto& arguments = m_platform.process.arguments;
    if (std::find(arguments.begin(), arguments.end(), disableEventTapFlag) != arguments.end()) {
        m_platform.log.print("[Glimmerwick] Skipping CGEventTap due to --disable-event-tap argument");
        m_platform.panelHost.makePanelKey(nativeWindow(*this));
        return;
    }
    m_keyEventInterceptor.onCharacterInput = [this,
                                              alive = m_lifetime.watch()](const std::string& characters) {
        if (alive) {
            handleCharacterInput(characters);
        }
    };
    m_keyEventInterceptor.onSpecialKey = [this, alive = m_lifetime.watch()](std::uint16_t code,
                                                                            EventFlags flags) {
        if (alive) {
            handleSpecialKey(code, flags);
        }
    };
    if (!m_keyEventInterceptor.start()) {
        m_platform.panelHost.makePanelKey(nativeWindow(*this));
    }
}

MonitorDecision GlimmerwickWindow::handleLocalKeyDown(const KeyEvent& event)
{
    if (handleOverlayKey(event.keyCode, event.flags)) {
        return MonitorDecision::consume;
    }
    if (event.keyCode != keyCode::escape && !isSearchFieldEdited() && isTypedText(event)) {
        appendToSearchField(*event.characters);
        return MonitorDecision::consume;
    }
    return handleNavigationKey(event.keyCode, event.flags) ? MonitorDecision::consume : MonitorDecision::pass;
}

void GlimmerwickWindow::handleGlobalKeyDown(const KeyEvent& event)
{
    m_platform.mainQueue.async([this, event, alive = m_lifetime.watch()] {
        if (!alive || !isVisible() || handleOverlayKey(event.keyCode, event.flags)
            || handleNavigationKey(event.keyCode, event.flags)) {
            return;
        }
        if (isTypedText(event)) {
            appendToSearchField(*event.characters);
        }
    });
}

void GlimmerwickWindow::handleGlobalMouseDown()
{
    if (!frameGeometry().contains(QCursor::pos())) {
        dismiss();
    }
}

void GlimmerwickWindow::handleCharacterInput(const std::string& characters)
{
    dismissOverlays();
    if (m_searchField) {
        ensureEditing();
        m_searchField->typeText(characters);
    }
}

void GlimmerwickWindow::handleSpecialKey(std::uint16_t code, EventFlags flags)
{
    if (handleOverlayKey(code, flags) || handleNavigationKey(code, flags)) {
        return;
    }
    if (code == keyCode::delete_ && m_searchField && !m_searchField->text().isEmpty()) {
        ensureEditing();
        m_searchField->deleteBackward();
    }
}

bool GlimmerwickWindow::handleOverlayKey(std::int64_t code, EventFlags flags)
{
    // Held for a moment too long, the keys that open the tone chooser repeat; they must not choose in it,
    // too.
    const bool opensTones =
        (code == keyCode::return_ || code == keyCode::keypadEnter) && (flags & eventFlag::option) != 0;
    for (KeyOverlay* overlay : m_keyOverlays) {
        if (overlay->isShown() && (opensTones || overlay->handleKey(code))) {
            return true;
        }
    }
    // The user went on to something else.
    dismissOverlays();
    return false;
}

void GlimmerwickWindow::dismissOverlays()
{
    for (KeyOverlay* overlay : m_keyOverlays) {
        overlay->dismiss();
    }
}

bool GlimmerwickWindow::handleNavigationKey(std::int64_t code, EventFlags flags)
{
    if (code == keyCode::escape) {
        dismiss();
        return true;
    }
    if (code == keyCode::tab) {
        handleTabKey();
        return true;
    }
    if (!m_emojiCollectionView) {
        return false;
    }
    if (code == keyCode::return_ || code == keyCode::keypadEnter) {
        handleEnterKey((flags & eventFlag::option) != 0 ? OptionKey::held : OptionKey::up);
        return true;
    }
    if (const auto arrow = arrowKey(code)) {
        handleArrowKey(*arrow);
        return true;
    }
    return false;
}

void GlimmerwickWindow::handleTabKey()
{
    if (!isSearchFieldEdited()) {
        if (m_searchField) {
            focus(*m_searchField, Qt::TabFocusReason);
        }
        return;
    }
    if (!m_emojiCollectionView) {
        return;
    }
    focus(*m_emojiCollectionView, Qt::OtherFocusReason);
    if (!m_emojiCollectionView->selectedItem()) {
        m_emojiCollectionView->selectItem({0, 0}, ScrollPosition::top);
    }
}

void GlimmerwickWindow::handleArrowKey(ArrowKey key)
{
    CollectionView& grid = *m_emojiCollectionView;
    const ArrowKeyNavigation navigator = navigation(grid);
    const auto first = navigator.firstItem();
    if (!first) {
        return;
    }
    const bool entersGrid = isSearchFieldEdited() && key == ArrowKey::down;
    if (entersGrid) {
        grid.setFocus(Qt::OtherFocusReason);
    }
    if (entersGrid || !grid.selectedItem()) {
        grid.selectItem(*first, ScrollPosition::top);
        return;
    }
    if (const auto target =
            navigator.target(*grid.selectedItem(), inReadingOrder(key, grid.layoutDirection()))) {
        grid.selectItem(*target, ScrollPosition::centeredVertically);
    }
}

void GlimmerwickWindow::handleEnterKey(OptionKey optionKey)
{
    if (willPickFromKeyboard) {
        willPickFromKeyboard();
    }
    if (!m_emojiCollectionView) {
        return;
    }
    CollectionView& grid = *m_emojiCollectionView;
    if (const auto selected = grid.selectedItem()) {
        if (optionKey == OptionKey::held) {
            showSkinTonePickerForSelectedEmoji(*selected);
        } else {
            tellDelegateOfPick(grid, *selected);
        }
        return;
    }
    if (const auto first = navigation(grid).firstItem()) {
        grid.selectItem(*first, ScrollPosition::top);
        tellDelegateOfPick(grid, *first);
    }
}

void GlimmerwickWindow::showSkinTonePickerForSelectedEmoji(IndexPath path)
{
    CollectionViewItem* item = m_emojiCollectionView->item(path);
    const auto& manifest = m_emojiDataManager.manifest();
    if (!item || !manifest || !dynamic_cast<EmojiGridViewController*>(m_emojiCollectionView->dataSource())) {
        return;
    }
    const std::string character = toUtf8(item->objectName());
    if (character.empty()) {
        return;
    }
    const auto emojis = manifest->sharedEmojis();
    const auto found = std::find_if(emojis->begin(), emojis->end(),
                                    [&](const Emoji& emoji) { return emoji.char_ == character; });
    if (found != emojis->end() && found->skinTones) {
        m_skinTonePopoverController.show(*found, *item, RectEdge::maxY);
    }
}

void GlimmerwickWindow::appendToSearchField(const std::string& characters)
{
    focus(*m_searchField, Qt::OtherFocusReason);
    m_searchField->appendText(characters);
}

void GlimmerwickWindow::ensureEditing()
{
    if (!isSearchFieldEdited()) {
        focus(*m_searchField, Qt::OtherFocusReason);
        m_searchField->placeCaretByCharacterCount();
    }
}

void GlimmerwickWindow::focus(QWidget& view, Qt::FocusReason reason)
{
    view.setFocus(reason);
    accessibility::announceKeys(*this);
}

bool GlimmerwickWindow::isSearchFieldEdited() const
{
    // The window's own focus, whether or not the program is the active one.
    return m_searchField && focusWidget() == m_searchField;
}

bool GlimmerwickWindow::isTypedText(const KeyEvent& event) const
{
    const EventFlags modifiers = event.flags & deviceIndependentFlags;
    return m_searchField && event.characters && (modifiers == 0 || modifiers == eventFlag::shift)
        && unicode::startsWithPrintable(*event.characters);
}

bool GlimmerwickWindow::eventFilter(QObject* watched, QEvent* event)
{
    // Nothing happens while the panel has the keyboard by other means than the focus.
    if (watched == windowHandle() && event->type() == QEvent::MouseButtonPress && !isActiveWindow()) {
        const Qt::MouseButton button = static_cast<QMouseEvent*>(event)->button();
        if (button == Qt::LeftButton || button == Qt::RightButton) {
            m_platform.panelHost.makePanelKey(nativeWindow(*this));
        }
    }
    return QWidget::eventFilter(watched, event);
}

void GlimmerwickWindow::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Q && event->modifiers() == Qt::ControlModifier) {
        m_platform.menuHost.terminate();
        return;
    }
    QWidget::keyPressEvent(event);
}

void GlimmerwickWindow::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) {
        m_dragOffset = event->globalPosition().toPoint() - pos();
    }
}

void GlimmerwickWindow::mouseMoveEvent(QMouseEvent* event)
{
    if (m_dragOffset && event->buttons().testFlag(Qt::LeftButton)) {
        move(event->globalPosition().toPoint() - *m_dragOffset);
    }
}

void GlimmerwickWindow::mouseReleaseEvent(QMouseEvent*)
{
    m_dragOffset.reset();
}

} // namespace glimmerwick
