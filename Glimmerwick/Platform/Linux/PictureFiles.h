#pragma once

#include "Platform/DispatchQueues.h"
#include "Platform/Linux/OpenPictureFiles.h"
#include "Platform/Linux/PictureFolder.h"
#include "Platform/PictureStore.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace glimmerwick {

/// Pictures in files of one folder, a file for each detail. Nothing of them stays in memory but what waits to
/// be written. Any number of processes may use the folder; of those one at a time writes to a file.
class PictureFiles : public PictureStore {
public:
    using ReportProblem = std::function<void(std::string_view)>;

    /// What waits to be written at most; what comes on top of it is dropped.
    static constexpr std::size_t maximumPendingBytes = 4 * 1024 * 1024;

    /// `reportProblem` gets one line, once for each file that cannot be written, on the thread that writes.
    /// What waits when this is destroyed is dropped. The folder need not exist.
    PictureFiles(std::filesystem::path folder, DispatchQueues& queues, ReportProblem reportProblem,
                 PictureFolder::Limits limits = {});
    ~PictureFiles() override;

    bool read(const PictureKind& kind, std::string_view text, std::span<std::byte> pixels) override;
    bool contains(const PictureKind& kind, std::string_view text) override;
    void write(const PictureKind& kind, std::string_view text, std::vector<std::byte> pixels) override;

private:
    class Writer;

    const PictureFile* fileOf(const PictureKind& kind);

    const PictureFolder m_folder;
    OpenPictureFiles m_files;
    std::unique_ptr<Writer> m_writer;
};

} // namespace glimmerwick
