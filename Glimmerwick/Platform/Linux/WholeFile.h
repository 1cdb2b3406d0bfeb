#pragma once

#include <filesystem>
#include <string_view>

#include <sys/types.h>

namespace glimmerwick {

enum class Durability {
    /// A power cut may leave the new file empty.
    untilPowerFails,
    /// The contents are on the disk before the file gets its name.
    onTheDisk,
};

/// Makes a new file with these contents and gives it the name in one step, in place of a file that has it.
/// Whoever reads meanwhile, and whatever ends the program or fails, the name stands for the old file or for
/// the whole new one. The file gets the permissions of the one that it replaces, or else those of `mode`
/// without the process's umask. False: see errno. Any thread.
bool writeWholeFile(const std::filesystem::path& path, std::string_view bytes, mode_t mode,
                    Durability durability = Durability::untilPowerFails);

} // namespace glimmerwick
