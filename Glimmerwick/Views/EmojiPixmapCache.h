#pragma once

#include <QImage>
#include <QPixmap>
#include <QSize>

#include <cstddef>
#include <memory>
#include <set>
#include <string>

class QPainter;

namespace glimmerwick {

class GlyphPictures;
class PictureStore;
struct PictureKind;

/// Pictures of emoji texts, drawn once per text, size and device pixel ratio: drawing the text costs a
/// hundred times what drawing its picture does. Bounded; what was used least recently goes first. With a
/// store pictures outlive that, and the process. Main thread.
class EmojiPixmapCache {
public:
    /// Holds at most 4 MiB: some 650 emoji of the grid at a device pixel ratio of 1, 160 at 2; a screen shows
    /// fifty.
    static EmojiPixmapCache& shared();

    /// Of pixels; a picture that alone is larger is drawn each time.
    explicit EmojiPixmapCache(std::size_t maximumBytes);
    ~EmojiPixmapCache();

    /// From then on texts are drawn from these pictures where there are any, which takes a quarter of the
    /// time. Not owned; null takes them away.
    void setGlyphPictures(GlyphPictures* pictures);

    /// From then on what is drawn is also kept there, and looked for there before it is drawn. `maker` names
    /// the font and all else that decides on how an emoji is drawn. The store is not owned; null takes it
    /// away.
    void setStore(PictureStore* store, std::string maker);
    bool hasStore() const { return m_store != nullptr; }

    /// The UTF-8 text in the emoji font, centred in a square of the given side; both lengths in points.
    /// Ratios that differ by less than a thousandth are one.
    QPixmap pixmap(const std::string& text, int fontSize, int side, double devicePixelRatio);

    /// Whether the store has it.
    bool isStored(const std::string& text, int fontSize, int side, double devicePixelRatio) const;
    /// Draws it for the store alone. Whether that was needed.
    bool store(const std::string& text, int fontSize, int side, double devicePixelRatio);

    std::size_t drawCount() const { return m_drawCount; }
    std::size_t bytes() const;
    /// What is asked for next is read from the store, or drawn anew.
    void clear();
    /// Frees what the toolkit remembers of the emoji that were drawn: as much again as their pictures take.
    void forgetGlyphs();

private:
    struct Entries;

    QImage draw(const std::string& text, int fontSize, int side, double devicePixelRatio);
    void drawText(QPainter& painter, const std::string& text, int fontSize, int side);
    PictureKind kind(int fontSize, int side, double devicePixelRatio) const;
    QImage stored(const std::string& text, int fontSize, int side, double devicePixelRatio);
    void keep(const QImage& image, const std::string& text, const PictureKind& kind);

    std::unique_ptr<Entries> m_entries;
    GlyphPictures* m_glyphPictures = nullptr;
    PictureStore* m_store = nullptr;
    std::string m_maker;
    /// What the next picture is drawn on. A picture that was painted on holds on to a paint engine, half its
    /// own size; its copy does not.
    QImage m_canvas;
    std::set<int> m_fontSizes;
    std::size_t m_drawCount = 0;
};

} // namespace glimmerwick
