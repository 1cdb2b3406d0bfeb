// Searches many times both through the index and by the rules alone, and compares. The exit status is 1 when
// anything differs, 2 when it could not be compared.

#include "Unit/Search/SearchEquality.h"
#include "Models/Manifest.h"

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

namespace glimmerwick {
namespace {

constexpr std::uint64_t seed = 1;
constexpr std::size_t queriesEach = 100;

struct Counts {
    std::size_t random = 100000;
    std::size_t bundled = 1000;
};

std::optional<std::size_t> countIn(std::string_view text)
{
    std::size_t count = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), count);
    const bool isCount = error == std::errc() && rest == text.data() + text.size() && count > 0;
    return isCount ? std::optional(count) : std::nullopt;
}

std::optional<Counts> countsFrom(int argumentCount, char** arguments)
{
    Counts counts;
    if (argumentCount == 1) {
        return counts;
    }
    if (argumentCount != 3) {
        return std::nullopt;
    }
    const auto random = countIn(arguments[1]);
    const auto bundled = countIn(arguments[2]);
    return random && bundled ? std::optional(Counts{*random, *bundled}) : std::nullopt;
}

void print(const char* what, const Comparison& comparison)
{
    std::printf("%s: %zu queries compared, %zu differences\n", what, comparison.compared,
                comparison.differences.size());
    for (const std::string& difference : comparison.differences) {
        std::printf("%s\n", difference.c_str());
    }
    for (const auto& [kind, count] : comparison.kinds) {
        std::printf("  %s %zu\n", kind.c_str(), count);
    }
    std::printf("  without results %zu, with as many as are shown %zu\n", comparison.withoutResults,
                comparison.fullResults);
    std::fflush(stdout);
}

int run(const Counts& counts)
{
    std::ifstream file(GLIMMERWICK_SOURCE_DIR "/Resources/catalogue/manifest.json", std::ios::binary);
    const auto manifest = Manifest::decode(std::string(std::istreambuf_iterator<char>(file), {}));
    if (!manifest.isSuccess()) {
        std::fputs("search-equality: the bundled catalogue cannot be read\n", stderr);
        return 2;
    }
    const Comparison random = compareOnRandomCatalogues(counts.random, queriesEach, seed);
    print("random catalogues", random);
    const Comparison bundled = compareOn(manifest.value().allEmojis(), counts.bundled, seed);
    print("bundled catalogue", bundled);
    return random.differences.empty() && bundled.differences.empty() ? 0 : 1;
}

} // namespace
} // namespace glimmerwick

int main(int argumentCount, char** arguments)
{
    const auto counts = glimmerwick::countsFrom(argumentCount, arguments);
    if (!counts) {
        std::fputs("usage: search-equality [RANDOM-QUERIES BUNDLED-QUERIES]\n", stderr);
        return 2;
    }
    return glimmerwick::run(*counts);
}
