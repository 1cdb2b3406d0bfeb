#pragma once

#include <QPixmap>
#include <QSize>

#include <cstddef>
#include <memory>
#include <string>

namespace glimmerwick {

/// Pictures of emoji texts, drawn once per text, size and device pixel ratio: drawing the text costs a
/// hundred times what drawing its picture does. Bounded; what was used least recently goes first. Main
/// thread.
class EmojiPixmapCache {
public:
    /// Holds at most 16 MiB: some 2,600 emoji of the grid at a device pixel ratio of 1, 650 at 2; a screen
    /// shows fifty.
    static EmojiPixmapCache& shared();

    /// Of pixels; a picture that alone is larger is drawn each time.
    explicit EmojiPixmapCache(std::size_t maximumBytes);
    ~EmojiPixmapCache();

    /// The UTF-8 text in the emoji font, centred in a square of the given side; both lengths in points.
    /// Ratios that differ by less than a thousandth are one.
    QPixmap pixmap(const std::string& text, int fontSize, int side, double devicePixelRatio);

    std::size_t drawCount() const { return m_drawCount; }
    std::size_t bytes() const;
    /// What is asked for next is drawn anew.
    void clear();

private:
    struct Entries;

    std::unique_ptr<Entries> m_entries;
    std::size_t m_drawCount = 0;
};

} // namespace glimmerwick
