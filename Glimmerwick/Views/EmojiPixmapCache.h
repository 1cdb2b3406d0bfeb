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
    static EmojiPixmapCache& shared();

    explicit EmojiPixmapCache(std::size_t maximumBytes);
    ~EmojiPixmapCache();

    /// The UTF-8 text in the emoji font, centred in a square of the given side; both lengths in points.
    QPixmap pixmap(const std::string& text, int fontSize, int side, double devicePixelRatio);

    std::size_t drawCount() const { return m_drawCount; }
    std::size_t bytes() const;

private:
    struct Entries;

    std::unique_ptr<Entries> m_entries;
    std::size_t m_drawCount = 0;
};

} // namespace glimmerwick
