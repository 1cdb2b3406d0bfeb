#pragma once

#include "Platform/Linux/PictureFile.h"

#include <cstddef>
#include <list>
#include <string_view>

namespace glimmerwick {

/// The few files that are kept open; what was used least recently is closed first. One thread's own.
class OpenPictureFiles {
public:
    /// The file of the kind, or nothing; it stays until another one is added or this one removed.
    PictureFile* find(const PictureKind& kind);
    /// None of the kind is there.
    PictureFile& add(const PictureKind& kind, PictureFile file);
    void remove(const PictureKind& kind);
    void removeAllOfDetail(std::string_view detail);
    void removeAllBut(const PictureFile& file);

private:
    /// The panel needs one, and another one while it moves between screens of different scales.
    static constexpr std::size_t limit = 4;

    struct Entry {
        PictureKind kind;
        PictureFile file;
    };

    /// What was used last comes first.
    std::list<Entry> m_entries;
};

} // namespace glimmerwick
