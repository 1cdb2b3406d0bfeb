// Takes arbitrary bytes for a file of pictures: what is read from it, and what can be written into it then.
// An input begins with a letter. "r" is followed by the whole file. Else a header of the right kind comes
// first: behind "t" come the table and the pictures as they are, and behind "s" the heads get the checksums
// that they need to be taken for whole.

#include "Contract/TemporaryFolder.h"
#include "Fakes/FakeTime.h"
#include "Fuzz/Invariant.h"
#include "Platform/Linux/PictureFileFormat.h"
#include "Platform/Linux/PictureFiles.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick {
namespace {

using Pixels = std::vector<std::byte>;

constexpr std::uint32_t headCount = 8;
const PictureKind kind{"maker", "detail", 16};
constexpr std::string_view texts[] = {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"};

const PictureFileHeader& ownHeader()
{
    static const PictureFileHeader header = *PictureFileHeader::of(kind, headCount);
    return header;
}

std::uint32_t ownHeaderChecksum()
{
    return pictureChecksum(std::as_bytes(std::span(&ownHeader(), 1)));
}

/// Seals each head of the table, and has it tell the checksum of the picture that it points to.
void seal(std::string& file)
{
    const PictureFileHeader& header = ownHeader();
    for (std::uint32_t place = 0; place < headCount; ++place) {
        const std::size_t offset = header.headOffset(place);
        PictureHead head;
        if (offset + sizeof(head) > file.size()) {
            return;
        }
        std::memcpy(&head, file.data() + offset, sizeof(head));
        const std::size_t pixels = header.pictureOffset(head.number);
        // An odd checksum stays wrong.
        if (pixels + kind.byteCount <= file.size() && head.pixelChecksum % 2 == 0) {
            head.pixelChecksum =
                pictureChecksum(std::as_bytes(std::span(file).subspan(pixels, kind.byteCount)));
        }
        head.seal(ownHeaderChecksum());
        std::memcpy(file.data() + offset, &head, sizeof(head));
    }
}

std::string fileOf(std::string_view input)
{
    const char form = input.empty() ? 'r' : input.front();
    std::string file(input.substr(input.empty() ? 0 : 1));
    if (form == 't' || form == 's') {
        file.insert(0, reinterpret_cast<const char*>(&ownHeader()), sizeof(PictureFileHeader));
    }
    if (form == 's') {
        seal(file);
    }
    return file;
}

std::string contentsOf(const std::filesystem::path& path)
{
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// In memory where there is a place for that.
const std::filesystem::path& workFolder()
{
    static const bool isSet =
        std::filesystem::is_directory("/dev/shm") && ::setenv("TMPDIR", "/dev/shm", 0) == 0;
    static const contract::TemporaryFolder folder;
    static_cast<void>(isSet);
    return folder.path();
}

/// Whether some head in these bytes tells of this picture of the text, read the plain way.
bool hasPicture(const std::string& file, std::string_view text, const Pixels& pixels)
{
    const PictureFileHeader& header = ownHeader();
    if (file.compare(0, sizeof(header),
                     std::string_view(reinterpret_cast<const char*>(&header), sizeof(header)))
        != 0) {
        return false;
    }
    for (std::uint32_t place = 0; place < headCount; ++place) {
        PictureHead head;
        if (header.headOffset(place) + sizeof(head) > file.size()) {
            return false;
        }
        std::memcpy(&head, file.data() + header.headOffset(place), sizeof(head));
        const std::uint64_t offset = header.pictureOffset(head.number);
        PictureHead sealed = head;
        sealed.seal(ownHeaderChecksum());
        if (head == sealed && head.number < headCount
            && std::string_view(head.text.data(), std::min<std::size_t>(head.textSize, head.text.size()))
                == text
            && offset + pixels.size() <= file.size()
            && std::memcmp(file.data() + offset, pixels.data(), pixels.size()) == 0
            && head.pixelChecksum == pictureChecksum(pixels)) {
            return true;
        }
    }
    return false;
}

class Subject {
public:
    explicit Subject(const std::string& file)
    {
        std::filesystem::remove_all(m_folder);
        std::filesystem::create_directories(m_folder);
        std::ofstream(m_path, std::ios::binary) << file;
    }

    void checkReading()
    {
        const std::string file = contentsOf(m_path);
        for (const std::string_view text : texts) {
            Pixels pixels(kind.byteCount);
            if (m_store.read(kind, text, pixels)) {
                requireInvariant(hasPicture(file, text, pixels), "a picture that is read stands in the file");
                requireInvariant(m_store.contains(kind, text), "a picture that is read is there");
            }
        }
        requireInvariant(contentsOf(m_path) == file, "reading changes nothing");
    }

    void checkWriting()
    {
        for (std::size_t index = 0; index < std::size(texts); ++index) {
            Pixels before(kind.byteCount);
            const bool wasThere = m_store.read(kind, texts[index], before);
            const Pixels written(kind.byteCount, static_cast<std::byte>(0x80 + index));
            m_store.write(kind, texts[index], written);
            m_time.runUntilIdle();

            Pixels after(kind.byteCount);
            if (m_store.read(kind, texts[index], after)) {
                requireInvariant(after == written || (wasThere && after == before),
                                 "what is written is read, or what stood there before");
            }
        }
        checkReading();
        requireInvariant(std::filesystem::file_size(m_path) <= ownHeader().pictureOffset(headCount),
                         "a file gets no longer than its pictures");
    }

private:
    const std::filesystem::path m_folder = workFolder() / "Drawn";
    const std::filesystem::path m_path = m_folder / ownHeader().fileName();
    fakes::FakeTime m_time;
    PictureFiles m_store{
        m_folder,
        m_time,
        [](std::string_view) { requireInvariant(false, "a file can be written whatever stood in it"); },
        {headCount, 8, 1024 * 1024}};
};

} // namespace
} // namespace glimmerwick

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace glimmerwick;

    Subject subject(fileOf({reinterpret_cast<const char*>(data), size}));
    subject.checkReading();
    subject.checkWriting();
    return 0;
}
