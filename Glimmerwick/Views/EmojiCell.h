#pragma once

#include "Managers/EmojiDataManager.h"
#include "Models/Emoji.h"
#include "Platform/Lifetime.h"
#include "Platform/Registration.h"
#include "Platform/Task.h"
#include "Views/CollectionViewItem.h"

#include <QColor>
#include <QImage>
#include <QPointF>
#include <QVariantAnimation>

#include <filesystem>
#include <optional>
#include <string>

namespace glimmerwick {

class EmojiRenderer;
class SkinTonePopoverController;
class SkinTonePreferences;
struct Platform;

/// One emoji of the grid, drawn as text, or as a picture where the font has none. Main thread.
class EmojiCell : public CollectionViewItem {
public:
    /// What the cell works with; outlives it.
    struct Services {
        const Platform& platform;
        EmojiDataManager& emojiDataManager;
        SkinTonePreferences& skinTonePreferences;
        EmojiRenderer& emojiRenderer;
        SkinTonePopoverController& skinTonePopoverController;
    };

    enum class Picture { none, rendering, loaded, loading, failed };

    explicit EmojiCell(const Services& services, QWidget* parent = nullptr);
    ~EmojiCell() override;

    void configure(const Emoji& emoji);
    void prepareForReuse() override;
    void setSelected(bool selected) override;
    void setMouseInside(bool isInside) override;
    bool hasMenu() const override { return m_emoji && m_emoji->skinTones; }
    void showMenu() override { showSkinTones(); }

    const std::optional<Emoji>& emoji() const { return m_emoji; }
    /// The emoji's text as it is drawn, UTF-8; empty while a picture is shown.
    const std::string& text() const { return m_text; }
    Picture picture() const { return m_picture; }
    const QImage& image() const { return m_image; }
    bool isLoadingImage() const { return static_cast<bool>(m_imageLoadingTask); }
    /// By pointer and selection.
    QColor backgroundColor() const { return m_backgroundColor; }
    /// The flash after a pick while it lasts, else the background colour.
    QColor shownBackgroundColor() const { return m_feedbackColor.value_or(m_backgroundColor); }

    /// A short flash after a pick.
    void showSelectionFeedback();
    /// Draws a text, UTF-8, that a cell is going to show, so that its first painting is quick.
    static void drawAhead(const std::string& text, double devicePixelRatio);
    /// Whether the store of pictures has what a cell shows.
    static bool isStored(const std::string& text, double devicePixelRatio);
    /// Draws ahead for the store of pictures alone. Whether that was needed.
    static bool storeAhead(const std::string& text, double devicePixelRatio);

    /// Opens the tone chooser, for an emoji that has tones.
    bool showSkinTones();

    QSize sizeHint() const override { return {40, 40}; }

protected:
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    using Downloaded = Result<std::filesystem::path, EmojiDataManager::ImageDownloadError>;

    void loadFallbackImage(const Emoji& emoji);
    void startDownload(const std::string& codepoint);
    void handleDownload(const std::string& codepoint, const Downloaded& result);
    void logFailure(const std::string& codepoint, const std::string& description) const;
    void showImageFile(const std::filesystem::path& path);
    void showPicture(Picture picture, QImage image);
    void updateBackgroundColor();
    void endSelectionFeedback();
    void setFeedbackColor(std::optional<QColor> color);
    void handleLongPress();
    void paintPicture(QPainter& painter) const;

    Services m_services;
    std::optional<Emoji> m_emoji;
    std::string m_text;
    Picture m_picture = Picture::none;
    QImage m_image;
    QColor m_backgroundColor = Qt::transparent;
    bool m_isMouseInside = false;
    bool m_isPressed = false;
    QPointF m_pressPosition;
    Registration m_longPress;
    std::optional<QColor> m_feedbackColor;
    QVariantAnimation m_feedbackAnimation;
    Registration m_feedbackEnd;
    Task<Downloaded> m_imageLoadingTask;
    Lifetime m_lifetime;
};

} // namespace glimmerwick
