#include "Platform/Linux/PictureFiles.h"

#include <algorithm>
#include <chrono>
#include <deque>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <utility>

namespace glimmerwick {

/// Takes pictures from the main thread and writes them on its own one.
class PictureFiles::Writer {
public:
    Writer(const PictureFolder& folder, DispatchQueues& queues, ReportProblem reportProblem)
        : m_folder(folder), m_reportProblem(std::move(reportProblem)),
          m_queue(queues.makeSerialQueue("pictures", QualityOfService::utility))
    {
    }

    void add(const PictureKind& kind, std::string_view text, std::vector<std::byte> pixels)
    {
        {
            const std::lock_guard lock(m_mutex);
            if (m_pendingBytes + pixels.size() > maximumPendingBytes) {
                return;
            }
            m_pendingBytes += pixels.size();
            m_pending.push_back({kind, std::string(text), std::move(pixels)});
            if (std::exchange(m_isScheduled, true)) {
                return;
            }
        }
        m_queue->asyncAfter(std::chrono::nanoseconds(0), [this] { writePending(); }).release();
    }

private:
    struct Request {
        PictureKind kind;
        std::string text;
        std::vector<std::byte> pixels;
    };

    std::optional<Request> takeNext()
    {
        const std::lock_guard lock(m_mutex);
        if (m_pending.empty()) {
            m_isScheduled = false;
            return std::nullopt;
        }
        Request request = std::move(m_pending.front());
        m_pending.pop_front();
        m_pendingBytes -= request.pixels.size();
        return request;
    }

    void writePending()
    {
        while (const auto request = takeNext()) {
            write(*request);
        }
    }

    void write(const Request& request)
    {
        PictureFile* const file = fileOf(request.kind);
        if (!file || !hasRoom(*file)) {
            return;
        }
        const std::uint64_t growth = file->growth();
        const auto written = file->write(request.text, request.pixels);
        if (!written) {
            report({m_folder.pathOf(file->header()), written.error()});
            return;
        }
        m_room -= std::min(growth, m_room);
    }

    PictureFile* fileOf(const PictureKind& kind)
    {
        PictureFile* const known = m_files.find(kind);
        if (known && !known->isRemoved()) {
            return known;
        }
        // Its lock would keep out the one that is opened now.
        m_files.removeAllOfDetail(kind.detail);
        const auto header = PictureFileHeader::of(kind, m_folder.limits().picturesPerFile);
        if (!header) {
            return nullptr;
        }
        auto opened = m_folder.openForWriting(*header);
        if (!opened) {
            report(opened.error());
            return nullptr;
        }
        m_room = m_folder.tidy(*header, 0);
        return &m_files.add(kind, std::move(opened).value());
    }

    bool hasRoom(const PictureFile& file)
    {
        const std::uint64_t growth = file.growth();
        if (m_room < growth) {
            m_room = m_folder.tidy(file.header(), growth);
        }
        if (m_room < growth) {
            // The files that are in use may be this one's own.
            m_files.removeAllBut(file);
            m_room = m_folder.tidy(file.header(), growth);
        }
        return m_room >= growth;
    }

    void report(const PictureFolder::Problem& problem)
    {
        // Another process keeps the pictures then.
        const bool isInUse = problem.reason == std::errc::operation_would_block;
        if (!isInUse && m_reported.insert(problem.path).second) {
            m_reportProblem("cannot keep pictures in " + problem.path.string() + ": "
                            + problem.reason.message());
        }
    }

    const PictureFolder& m_folder;
    const ReportProblem m_reportProblem;

    std::mutex m_mutex;
    std::deque<Request> m_pending;
    std::size_t m_pendingBytes = 0;
    bool m_isScheduled = false;

    // The queue's own from here on.
    OpenPictureFiles m_files;
    std::set<std::filesystem::path> m_reported;
    /// By how many bytes the files may grow before the folder is looked at again.
    std::uint64_t m_room = 0;

    /// The last one, as its work uses all the others.
    std::unique_ptr<SerialQueue> m_queue;
};

PictureFiles::PictureFiles(std::filesystem::path folder, DispatchQueues& queues, ReportProblem reportProblem,
                           PictureFolder::Limits limits)
    : m_folder(std::move(folder), limits),
      m_writer(std::make_unique<Writer>(m_folder, queues, std::move(reportProblem)))
{
}

PictureFiles::~PictureFiles() = default;

bool PictureFiles::read(const PictureKind& kind, std::string_view text, std::span<std::byte> pixels)
{
    const PictureFile* const file = fileOf(kind);
    return file && file->read(text, pixels);
}

bool PictureFiles::contains(const PictureKind& kind, std::string_view text)
{
    const PictureFile* const file = fileOf(kind);
    return file && file->contains(text);
}

void PictureFiles::write(const PictureKind& kind, std::string_view text, std::vector<std::byte> pixels)
{
    if (pixels.size() == kind.byteCount && PictureHead::of(text)) {
        m_writer->add(kind, text, std::move(pixels));
    }
}

const PictureFile* PictureFiles::fileOf(const PictureKind& kind)
{
    const PictureFile* const known = m_files.find(kind);
    if (known && !known->isRemoved()) {
        return known;
    }
    // Pictures are written into the one that has its name now.
    m_files.remove(kind);
    const auto header = PictureFileHeader::of(kind, m_folder.limits().picturesPerFile);
    auto opened = header ? m_folder.openForReading(*header) : std::nullopt;
    return opened ? &m_files.add(kind, std::move(*opened)) : nullptr;
}

} // namespace glimmerwick
