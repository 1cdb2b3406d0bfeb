#pragma once

#include "Platform/PictureStore.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <map>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace glimmerwick::fakes {

/// Pictures in a map. What is written is kept when the test says so.
class FakePictureStore : public PictureStore {
public:
    using Pixels = std::vector<std::byte>;

    bool read(const PictureKind& kind, std::string_view text, std::span<std::byte> pixels) override
    {
        ++readCount;
        const Pixels* const known = find(kind, text);
        if (!known || known->size() != pixels.size() || damaged.count(std::string(text)) != 0) {
            return false;
        }
        std::ranges::copy(*known, pixels.begin());
        return true;
    }
    bool contains(const PictureKind& kind, std::string_view text) override { return find(kind, text); }
    void write(const PictureKind& kind, std::string_view text, std::vector<std::byte> pixels) override
    {
        ++writeCount;
        const bool isKept = !text.empty() && text.size() <= longestText && pixels.size() == kind.byteCount
            && kind.byteCount != 0;
        if (isKept) {
            m_pending.push_back({kind, std::string(text), std::move(pixels)});
        }
    }

    /// What was written before can be read from now on.
    void keepWritten()
    {
        for (Request& request : std::exchange(m_pending, {})) {
            Shelf& shelf = m_shelves[request.kind.detail];
            if (!(shelf.kind == request.kind)) {
                shelf = {request.kind, {}};
            }
            damaged.erase(request.text);
            shelf.pictures[request.text] = std::move(request.pixels);
        }
    }

    /// Texts whose pictures are there but cannot be read, until they are written again.
    std::set<std::string> damaged;
    int readCount = 0;
    int writeCount = 0;

private:
    static constexpr std::size_t longestText = 112;

    struct Request {
        PictureKind kind;
        std::string text;
        Pixels pixels;
    };
    struct Shelf {
        PictureKind kind;
        std::map<std::string, Pixels, std::less<>> pictures;
    };

    const Pixels* find(const PictureKind& kind, std::string_view text) const
    {
        const auto shelf = m_shelves.find(kind.detail);
        if (shelf == m_shelves.end() || !(shelf->second.kind == kind)) {
            return nullptr;
        }
        const auto picture = shelf->second.pictures.find(text);
        return picture == shelf->second.pictures.end() ? nullptr : &picture->second;
    }

    std::vector<Request> m_pending;
    std::map<std::string, Shelf> m_shelves;
};

} // namespace glimmerwick::fakes
