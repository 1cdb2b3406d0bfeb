#include "Contract/RecordingApplication.h"
#include "Contract/TemporaryFolder.h"
#include "Fakes/SampleManifest.h"
#include "Faults/FaultInjector.h"
#include "Managers/BundledCatalogue.h"
#include "Platform/Linux/AutostartEntry.h"
#include "Platform/Linux/DebianPackageInstaller.h"
#include "Platform/Linux/Files.h"
#include "Platform/Linux/ProcessInfo.h"
#include "Platform/Qt/QtUserDefaults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace glimmerwick::faults {
namespace {

using contract::contentsOf;
using contract::writeFile;
using std::filesystem::path;

/// The files below a folder by their paths in it, with their contents.
using Files = std::map<std::string, std::string>;

/// Something that the program stores. All that it writes lies below the folder that it is given; `resources`
/// holds what it only reads.
struct Store {
    std::string name;
    /// What is there before.
    std::function<void(const path& folder, const path& resources)> prepare;
    /// Says one line on standard error for each part that fails.
    std::function<void(const path& folder, const path& resources)> act;
    /// How many lines a failure may take.
    int parts = 1;
};

void complain(std::string_view problem)
{
    std::fprintf(stderr, "%.*s\n", static_cast<int>(problem.size()), problem.data());
}

void write(const path& file, const std::string& bytes)
{
    if (const auto written = LocalFileSystem().write(file, bytes); !written) {
        complain(written.error().description);
    }
}

void setTone(const path& folder, const std::string& tone)
{
    // Left alone at the end, where it would try once more.
    auto* const defaults = new QtUserDefaults(folder / "Glimmerwick" / "Glimmerwick.ini");
    defaults->setString("Glimmerwick.preferredSkinTone", tone);
    defaults->setStringArray("recentEmojis", {"1f600", tone});
    defaults->synchronize();
}

void seed(const path& folder, const path& resources)
{
    LocalFileSystem files;
    BundledCatalogue::seed(files, resources, folder / "Glimmerwick", complain);
}

void bundle(const path& resources, const std::string& version)
{
    writeFile(resources / "manifest.json", fakes::sampleManifestJson(version));
    writeFile(resources / "emojis" / "1facd.png", "PNG picture of an orca");
    writeFile(resources / "emojis" / "1f6d8.png", "PNG picture of a landslide");
}

void autostart(const path& folder, const path& resources, bool isEnabled)
{
    const path program = "/bin/true";
    AutostartEntry entry({{{"HOME", resources}, {"XDG_CONFIG_HOME", folder}, {"XDG_CONFIG_DIRS", resources}},
                          program,
                          {},
                          {}});
    if (const auto changed = entry.setEnabled(isEnabled); !changed) {
        complain(changed.error());
    }
}

void keepPackage(const path& folder, const std::string& name)
{
    const auto kept = DebianPackageInstaller(folder).handOver(name, "!<arch>\n" + name);
    // That nothing opens it here is another matter.
    if (!kept && kept.error().find("cannot be kept") != std::string::npos) {
        complain(kept.error());
    }
}

const std::string longText(100'000, 'x');

std::vector<Store> stores()
{
    const auto nothing = [](const path&, const path&) {};
    return {
        {"newCacheFile", nothing,
         [](const path& folder, const path&) { write(folder / "manifest.json", longText); }},
        {"replacedCacheFile",
         [](const path& folder, const path&) { writeFile(folder / "manifest.json", "the old one"); },
         [](const path& folder, const path&) { write(folder / "manifest.json", longText); }},
        {"firstSettings", nothing, [](const path& folder, const path&) { setTone(folder, "1f3fb"); }},
        {"laterSettings", [](const path& folder, const path&) { setTone(folder, "1f3fb"); },
         [](const path& folder, const path&) { setTone(folder, "1f3ff"); }},
        {"firstSeed", [](const path&, const path& resources) { bundle(resources, "1"); }, seed, 3},
        {"laterSeed",
         [](const path& folder, const path& resources) {
             bundle(resources, "1");
             seed(folder, resources);
             bundle(resources, "2");
         },
         seed, 3},
        {"autostartOn", nothing,
         [](const path& folder, const path& resources) { autostart(folder, resources, true); }},
        {"autostartOff",
         [](const path& folder, const path& resources) { autostart(folder, resources, true); },
         [](const path& folder, const path& resources) { autostart(folder, resources, false); }},
        {"autostartOffInTheUsersOwnEntry",
         [](const path& folder, const path&) {
             writeFile(folder / "autostart" / "com.glimmerwick.Glimmerwick.desktop",
                       "[Desktop Entry]\nType=Application\nName=Mine\nExec=true\n");
         },
         [](const path& folder, const path& resources) { autostart(folder, resources, false); }},
        {"package", nothing, [](const path& folder, const path&) { keepPackage(folder, "new.deb"); }},
        {"packageAfterAnother", [](const path& folder, const path&) { keepPackage(folder, "old.deb"); },
         [](const path& folder, const path&) { keepPackage(folder, "new.deb"); }},
    };
}

enum class UnnamedFiles { exist, areRefused };

struct FaultCase {
    std::string name;
    Fault fault;
    UnnamedFiles unnamedFiles = UnnamedFiles::exist;
};

std::vector<FaultCase> faultCases()
{
    using Kind = Fault::Kind;
    return {
        {"fullDiskOnce", {Kind::error, ENOSPC}},
        {"fullDisk", {Kind::error, ENOSPC, 0, true}},
        {"readOnlyFileSystem", {Kind::error, EROFS, 0, true}},
        {"noPermission", {Kind::error, EACCES, 0, true}},
        {"diskFullInTheMiddle", {Kind::shortWrite, 0, 0, true}},
        {"killed", {Kind::killBefore}},
        {"fullDiskWithoutUnnamedFiles", {Kind::error, ENOSPC, 0, true}, UnnamedFiles::areRefused},
        {"diskFullInTheMiddleWithoutUnnamedFiles", {Kind::shortWrite, 0, 0, true}, UnnamedFiles::areRefused},
        {"killedWithoutUnnamedFiles", {Kind::killBefore}, UnnamedFiles::areRefused},
    };
}

struct Outcome {
    bool wasKilled = false;
    bool hasStruck = false;
    std::string complaints;

    bool succeeded() const { return !wasKilled && complaints.empty(); }
};

void PrintTo(const Store& store, std::ostream* stream)
{
    *stream << store.name;
}

void PrintTo(const FaultCase& faultCase, std::ostream* stream)
{
    *stream << faultCase.name;
}

/// Two folders of a test and what a process of its own does in them, so that it may be killed and leaves no
/// memory of what it has stored.
class Stage {
public:
    explicit Stage(const Store& store) : m_store(store)
    {
        std::filesystem::create_directory(written());
        std::filesystem::create_directory(resources());
        inAProcess([this] { m_store.prepare(written(), resources()); });
    }

    Outcome act() const
    {
        return inAProcess([this] { m_store.act(written(), resources()); });
    }
    Outcome act(const FaultCase& faultCase, int call) const
    {
        return inAProcess([&] {
            Fault fault = faultCase.fault;
            fault.call = call;
            if (faultCase.unnamedFiles == UnnamedFiles::areRefused) {
                FaultInjector::current().refuseUnnamedFiles();
            }
            FaultInjector::current().arm(written(), fault);
            m_store.act(written(), resources());
        });
    }

    Files files() const
    {
        Files found;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(written())) {
            if (!entry.is_directory()) {
                found[entry.path().lexically_relative(written())] = contentsOf(entry.path());
            }
        }
        return found;
    }

private:
    static constexpr int struck = 3;

    path written() const { return m_root / "written"; }
    path resources() const { return m_root / "resources"; }

    Outcome inAProcess(const std::function<void()>& work) const
    {
        const path complaints = m_root / "complaints";
        const pid_t process = ::fork();
        if (process == 0) {
            ::dup2(::open(complaints.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
            work();
            ::_exit(FaultInjector::current().hasStruck() ? struck : 0);
        }
        int status = 0;
        ::waitpid(process, &status, 0);
        Outcome outcome;
        outcome.wasKilled = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
        outcome.hasStruck = outcome.wasKilled || (WIFEXITED(status) && WEXITSTATUS(status) == struck);
        EXPECT_TRUE(outcome.hasStruck || (WIFEXITED(status) && WEXITSTATUS(status) == 0)) << status;
        outcome.complaints = contentsOf(complaints);
        return outcome;
    }

    const Store& m_store;
    contract::TemporaryFolder m_folder;
    path m_root = std::filesystem::canonical(m_folder.path());
};

/// A package gets its name first, but is handed over whole or not at all.
bool mayBeUnfinished(const std::string& file)
{
    return file.ends_with(".deb");
}

void expectOldOrNew(const Files& found, const Files& before, const Files& after)
{
    const auto contents = [](const Files& files, const std::string& name) {
        const auto file = files.find(name);
        return file == files.end() ? std::string("(none)") : file->second;
    };
    Files known = before;
    known.insert(after.begin(), after.end());
    for (const auto& [name, ignored] : known) {
        const std::string now = contents(found, name);
        EXPECT_TRUE(now == contents(before, name) || now == contents(after, name) || mayBeUnfinished(name))
            << name << " holds neither the old nor the new, but " << now.size() << " bytes";
    }
}

/// At least one line when it failed, none of them without the path, and no more than there are parts.
void expectComplaints(const Outcome& outcome, const Store& store)
{
    const auto lines = std::count(outcome.complaints.begin(), outcome.complaints.end(), '\n');
    EXPECT_LE(lines, store.parts) << outcome.complaints;
    if (!outcome.complaints.empty()) {
        EXPECT_NE(outcome.complaints.find("/written/"), std::string::npos) << outcome.complaints;
    }
}

class FileFaultTests : public ::testing::TestWithParam<std::tuple<Store, FaultCase>> { };

TEST_P(FileFaultTests, whereverItStrikesFilesAreTheOldOrTheNewAndTheNextTimePutsAllInOrder)
{
    const auto& [store, faultCase] = GetParam();
    const Stage model(store);
    const Files before = model.files();
    ASSERT_TRUE(model.act().succeeded());
    const Files after = model.files();
    ASSERT_NE(before, after);

    constexpr int farMoreThanThereAre = 1000;
    int call = 1;
    for (; call < farMoreThanThereAre; ++call) {
        SCOPED_TRACE("call " + std::to_string(call));
        const Stage stage(store);

        const Outcome outcome = stage.act(faultCase, call);

        if (!outcome.hasStruck) {
            EXPECT_EQ(stage.files(), after);
            break;
        }
        const Files found = stage.files();
        expectOldOrNew(found, before, after);
        expectComplaints(outcome, store);
        if (outcome.succeeded()) {
            EXPECT_TRUE(std::ranges::includes(found, after)) << "it was said to be done";
        }
        EXPECT_TRUE(stage.act(faultCase, 0).succeeded());
        EXPECT_EQ(stage.files(), after);
    }
    EXPECT_GT(call, 1) << "nothing was ever written";
}

std::string nameOf(const ::testing::TestParamInfo<std::tuple<Store, FaultCase>>& info)
{
    return std::get<Store>(info.param).name + "_" + std::get<FaultCase>(info.param).name;
}

INSTANTIATE_TEST_SUITE_P(, FileFaultTests,
                         ::testing::Combine(::testing::ValuesIn(stores()), ::testing::ValuesIn(faultCases())),
                         nameOf);

} // namespace
} // namespace glimmerwick::faults
