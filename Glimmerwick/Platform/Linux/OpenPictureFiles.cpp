#include "Platform/Linux/OpenPictureFiles.h"

#include <algorithm>
#include <utility>

namespace glimmerwick {

PictureFile* OpenPictureFiles::find(const PictureKind& kind)
{
    const auto found = std::ranges::find(m_entries, kind, &Entry::kind);
    if (found == m_entries.end()) {
        return nullptr;
    }
    m_entries.splice(m_entries.begin(), m_entries, found);
    return &m_entries.front().file;
}

PictureFile& OpenPictureFiles::add(const PictureKind& kind, PictureFile file)
{
    m_entries.push_front({kind, std::move(file)});
    if (m_entries.size() > limit) {
        m_entries.pop_back();
    }
    return m_entries.front().file;
}

void OpenPictureFiles::remove(const PictureKind& kind)
{
    m_entries.remove_if([&](const Entry& entry) { return entry.kind == kind; });
}

void OpenPictureFiles::removeAllOfDetail(std::string_view detail)
{
    m_entries.remove_if([&](const Entry& entry) { return entry.kind.detail == detail; });
}

void OpenPictureFiles::removeAllBut(const PictureFile& file)
{
    m_entries.remove_if([&](const Entry& entry) { return &entry.file != &file; });
}

} // namespace glimmerwick
