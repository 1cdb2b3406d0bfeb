#include "Views/EmojiCell.h"

#include "Managers/EmojiRenderer.h"
#include "Managers/SkinTonePreferences.h"
#include "Platform/FileSystem.h"
#include "Platform/Log.h"
#include "Platform/MainQueue.h"
#include "Platform/Platform.h"
#include "Platform/Qt/Text.h"
#include "Views/Accessibility.h"
#include "Views/EmojiPixmapCache.h"
#include "Views/PictureReader.h"
#include "Views/SkinTonePopoverController.h"
#include "Views/Style.h"

#include <QMouseEvent>
#include <QPainter>

#include <chrono>
#include <cmath>
#include <utility>

namespace glimmerwick {

namespace {

constexpr int side = 40;
constexpr int emojiSize = 28;
constexpr double cornerRadius = 6;
constexpr double hoverAlpha = 0.15;
constexpr double pressedAlpha = 0.3;
constexpr double selectedAlpha = 0.25;
constexpr double feedbackAlpha = 0.4;
constexpr std::chrono::milliseconds feedbackDuration(200);
constexpr std::chrono::milliseconds longPressDuration(500);
constexpr double longPressMovement = 5;
constexpr int pictureInset = 4;
constexpr int placeholderSide = 32;
constexpr double placeholderRadius = 4;
constexpr int failureMarkSize = 18;
constexpr double failureAlpha = 0.3;

QColor faded(QColor color, double alpha)
{
    color.setAlphaF(static_cast<float>(color.alphaF() * alpha));
    return color;
}

} // namespace

EmojiCell::EmojiCell(const Services& services, QWidget* parent)
    : CollectionViewItem(parent), m_services(services)
{
    setFocusPolicy(Qt::NoFocus);
    resize(EmojiCell::sizeHint());
    m_feedbackAnimation.setDuration(static_cast<int>(feedbackDuration.count()));
    m_feedbackAnimation.setEasingCurve(style::easeOut());
    QObject::connect(&m_feedbackAnimation, &QVariantAnimation::valueChanged, this,
                     [this](const QVariant& value) { setFeedbackColor(value.value<QColor>()); });
}

EmojiCell::~EmojiCell() = default;

void EmojiCell::configure(const Emoji& emoji)
{
    m_emoji = emoji;
    const std::string text = m_services.skinTonePreferences.applyPreferredSkinTone(emoji);
    setAccessibleName(toQString(text));
    setAccessibleDescription(toQString(emoji.name));
    accessibility::identify(*this, toQString(emoji.char_));
    if (m_services.emojiDataManager.isEmojiNativelySupported(emoji)) {
        m_text = text;
        showPicture(Picture::none, {});
    } else {
        m_text.clear();
        loadFallbackImage(emoji);
    }
}

void EmojiCell::prepareForReuse()
{
    CollectionViewItem::prepareForReuse();
    m_imageLoadingTask = {};
    m_longPress.reset();
    endSelectionFeedback();
    cancelClick();
    m_emoji.reset();
    m_text.clear();
    showPicture(Picture::none, {});
    m_isMouseInside = false;
    m_isPressed = false;
    updateBackgroundColor();
    setAccessibleName({});
    setAccessibleDescription({});
    accessibility::identify(*this, {});
}

void EmojiCell::setSelected(bool selected)
{
    CollectionViewItem::setSelected(selected);
    updateBackgroundColor();
}

void EmojiCell::setMouseInside(bool isInside)
{
    m_isPressed = m_isPressed && isInside;
    if (std::exchange(m_isMouseInside, isInside) != isInside) {
        updateBackgroundColor();
    }
}

void EmojiCell::loadFallbackImage(const Emoji& emoji)
{
    m_imageLoadingTask = {};
    // Seen only when what follows takes a while; it replaces this picture within the same turn.
    if (const auto rendered = m_services.emojiRenderer.renderEmoji(emoji.char_, emojiSize)) {
        showPicture(Picture::rendering, picture::fromImage(*rendered));
    }
    if (const auto path = m_services.emojiDataManager.cachedImagePathIfExists(emoji)) {
        showImageFile(*path);
        return;
    }
    showPicture(Picture::loading, {});
    startDownload(emoji.codepoint);
}

void EmojiCell::startDownload(const std::string& codepoint)
{
    m_imageLoadingTask = m_services.emojiDataManager.downloadImageIfNeeded(codepoint);
    // Reusing or destroying the cell destroys the task, so that a completion means the cell still waits for
    // it.
    m_imageLoadingTask.start([this, codepoint](Downloaded result) {
        m_imageLoadingTask = {};
        handleDownload(codepoint, result);
    });
}

void EmojiCell::handleDownload(const std::string& codepoint, const Downloaded& result)
{
    if (!result) {
        logFailure(codepoint, result.error().errorDescription());
    }
    if (!m_emoji || m_emoji->codepoint != codepoint) {
        return;
    }
    if (result) {
        showImageFile(result.value());
    } else {
        showPicture(Picture::failed, {});
    }
}

void EmojiCell::logFailure(const std::string& codepoint, const std::string& description) const
{
    Log& log = m_services.platform.log;
    log.print("[EmojiCell] Failed to load image:");
    log.print("  - Codepoint: " + codepoint);
    log.print("  - Filename: " + codepoint + ".png");
    log.print("  - URL: " + m_services.emojiDataManager.imageURL(codepoint));
    log.print("  - Error: " + description);
}

void EmojiCell::showImageFile(const std::filesystem::path& path)
{
    const auto bytes = m_services.platform.fileSystem.read(path);
    const int pictureSide = side - 2 * pictureInset;
    const QSize wanted = QSize(pictureSide, pictureSide) * devicePixelRatioF();
    QImage image = bytes ? picture::decode(bytes.value(), wanted) : QImage();
    const Picture shown = image.isNull() ? Picture::failed : Picture::loaded;
    showPicture(shown, std::move(image));
}

void EmojiCell::showPicture(Picture picture, QImage image)
{
    m_picture = picture;
    m_image = std::move(image);
    update();
}

void EmojiCell::updateBackgroundColor()
{
    if (m_isPressed && m_isMouseInside) {
        m_backgroundColor = style::accent(pressedAlpha);
    } else if (m_isMouseInside) {
        m_backgroundColor = style::accent(hoverAlpha);
    } else if (isSelected()) {
        m_backgroundColor = style::accent(selectedAlpha);
    } else {
        m_backgroundColor = Qt::transparent;
    }
    update();
}

void EmojiCell::showSelectionFeedback()
{
    const QColor highlight = style::accent(feedbackAlpha);
    m_feedbackAnimation.stop();
    m_feedbackAnimation.setStartValue(highlight);
    m_feedbackAnimation.setEndValue(m_backgroundColor);
    setFeedbackColor(highlight);
    if (style::animationsEnabled()) {
        m_feedbackAnimation.start();
    }
    m_feedbackEnd =
        m_services.platform.mainQueue.asyncAfter(feedbackDuration, [this, alive = m_lifetime.watch()] {
            if (alive) {
                endSelectionFeedback();
            }
        });
}

void EmojiCell::endSelectionFeedback()
{
    m_feedbackEnd.reset();
    m_feedbackAnimation.stop();
    setFeedbackColor(std::nullopt);
}

void EmojiCell::setFeedbackColor(std::optional<QColor> color)
{
    m_feedbackColor = color;
    update();
}

void EmojiCell::drawAhead(const std::string& text, double devicePixelRatio)
{
    EmojiPixmapCache::shared().pixmap(text, emojiSize, side, devicePixelRatio);
}

bool EmojiCell::isStored(const std::string& text, double devicePixelRatio)
{
    return EmojiPixmapCache::shared().isStored(text, emojiSize, side, devicePixelRatio);
}

bool EmojiCell::storeAhead(const std::string& text, double devicePixelRatio)
{
    return EmojiPixmapCache::shared().store(text, emojiSize, side, devicePixelRatio);
}

bool EmojiCell::showSkinTones()
{
    if (!hasMenu()) {
        return false;
    }
    const Emoji emoji = *m_emoji;
    m_services.skinTonePopoverController.show(emoji, *this, RectEdge::maxY);
    return true;
}

void EmojiCell::enterEvent(QEnterEvent* event)
{
    CollectionViewItem::enterEvent(event);
    setMouseInside(true);
}

void EmojiCell::leaveEvent(QEvent* event)
{
    CollectionViewItem::leaveEvent(event);
    setMouseInside(false);
}

void EmojiCell::mousePressEvent(QMouseEvent* event)
{
    CollectionViewItem::mousePressEvent(event);
    if (event->button() == Qt::RightButton) {
        showSkinTones();
        return;
    }
    if (event->button() != Qt::LeftButton) {
        return;
    }
    m_isPressed = true;
    updateBackgroundColor();
    m_pressPosition = event->position();
    m_longPress =
        m_services.platform.mainQueue.asyncAfter(longPressDuration, [this, alive = m_lifetime.watch()] {
            if (alive) {
                handleLongPress();
            }
        });
}

void EmojiCell::mouseMoveEvent(QMouseEvent* event)
{
    CollectionViewItem::mouseMoveEvent(event);
    event->accept();
    const QPointF moved = event->position() - m_pressPosition;
    if (std::hypot(moved.x(), moved.y()) > longPressMovement) {
        m_longPress.reset();
    }
    // While a button is held the window system sends no enter and leave.
    setMouseInside(rect().contains(event->position().toPoint()));
}

void EmojiCell::mouseReleaseEvent(QMouseEvent* event)
{
    const auto alive = m_lifetime.watch();
    m_longPress.reset();
    CollectionViewItem::mouseReleaseEvent(event);
    if (alive && event->button() == Qt::LeftButton) {
        m_isPressed = false;
        updateBackgroundColor();
    }
}

void EmojiCell::handleLongPress()
{
    m_longPress.reset();
    // Without tones, too: whoever holds the button waits for them, and not for a pick.
    cancelClick();
    showSkinTones();
}

void EmojiCell::hideEvent(QHideEvent* event)
{
    CollectionViewItem::hideEvent(event);
    m_isMouseInside = false;
    m_isPressed = false;
    m_longPress.reset();
    cancelClick();
    updateBackgroundColor();
}

void EmojiCell::changeEvent(QEvent* event)
{
    CollectionViewItem::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        updateBackgroundColor();
        update();
    }
}

void EmojiCell::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    if (const QColor background = shownBackgroundColor(); background.alpha() > 0) {
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(background);
        painter.drawRoundedRect(rect(), cornerRadius, cornerRadius);
    }
    if (!m_text.empty()) {
        painter.drawPixmap(0, 0,
                           EmojiPixmapCache::shared().pixmap(m_text, emojiSize, side, devicePixelRatioF()));
    } else {
        paintPicture(painter);
    }
}

void EmojiCell::paintPicture(QPainter& painter) const
{
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    if (!m_image.isNull()) {
        const QRectF bounds =
            QRectF(rect()).adjusted(pictureInset, pictureInset, -pictureInset, -pictureInset);
        QRectF target(QPointF(), QSizeF(m_image.size()).scaled(bounds.size(), Qt::KeepAspectRatio));
        target.moveCenter(bounds.center());
        painter.drawImage(target, m_image);
        return;
    }
    if (m_picture != Picture::loading && m_picture != Picture::failed) {
        return;
    }
    QRectF placeholder(0, 0, placeholderSide, placeholderSide);
    placeholder.moveCenter(QRectF(rect()).center());
    painter.setPen(Qt::NoPen);
    painter.setBrush(m_picture == Picture::failed ? faded(style::tertiaryLabel(), failureAlpha)
                                                  : style::tertiaryLabel());
    painter.drawRoundedRect(placeholder, placeholderRadius, placeholderRadius);
    if (m_picture == Picture::failed) {
        painter.setFont(style::systemFont(failureMarkSize, QFont::Medium));
        painter.setPen(style::secondaryLabel());
        painter.drawText(placeholder, Qt::AlignCenter, QStringLiteral("?"));
    }
}

} // namespace glimmerwick
