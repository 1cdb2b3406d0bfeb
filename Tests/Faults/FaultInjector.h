#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <utility>

namespace glimmerwick::faults {

/// What happens to a call that changes files.
struct Fault {
    enum class Kind {
        /// It fails with `error`, and changes nothing.
        error,
        /// Half of the bytes are written, and then the disk is full.
        shortWrite,
        /// The process is killed in its place.
        killBefore,
    };

    Kind kind = Kind::error;
    int error = 0;
    /// The number of the call that it happens to, from 1 on; none for 0.
    int call = 0;
    /// Whether it happens to all that follow as well.
    bool lasts = false;
};

/// Decides what becomes of each call that changes something under a folder: it counts them and makes one
/// fail. One per process, in `current`. Any thread; set up while no other thread calls.
class FaultInjector {
public:
    static FaultInjector& current();

    /// Counting starts anew. `folder` is absolute and without links.
    void arm(std::string folder, const Fault& fault);
    void disarm() { m_isArmed = false; }
    /// Files without a name are refused as file systems do that have none. Such calls do not count.
    void refuseUnnamedFiles() { m_unnamedFilesExist = false; }
    /// Files whose names end so are left alone, and their calls do not count.
    void spare(std::string suffix) { m_spared = std::move(suffix); }
    /// Appends one line to this file for each call that counts: its number, its name, the path. The file lies
    /// outside of the folder.
    void reportTo(const std::string& file);

    int callCount() const { return m_callCount; }
    /// Whether the fault has come to pass.
    bool hasStruck() const { return m_hasStruck; }

    enum class Verdict { goesOn, fails, writesHalf };
    /// Asked before a call that concerns a path, absolute or not. When it fails errno says why.
    Verdict judge(const char* function, const char* path, bool isWrite = false);
    /// For a path that is relative to an open folder.
    Verdict judgeAt(const char* function, int folder, const char* path);
    /// For an open file.
    Verdict judgeDescriptor(const char* function, int descriptor, bool isWrite = false);
    bool hasUnnamedFiles(const char* folder) const;

private:
    bool concerns(const std::string& path) const;
    void report(int call, const char* function, const std::string& path) const;
    Verdict strike(const char* function, const std::string& path, bool isWrite);

    std::atomic<bool> m_isArmed = false;
    std::string m_folder;
    Fault m_fault;
    std::string m_spared;
    bool m_unnamedFilesExist = true;
    int m_reportDescriptor = -1;
    std::atomic<int> m_callCount = 0;
    std::atomic<bool> m_hasStruck = false;
};

} // namespace glimmerwick::faults
