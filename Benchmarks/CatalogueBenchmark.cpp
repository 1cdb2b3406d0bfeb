// What loading the bundled catalogue costs: reading the file, decoding, encoding for the cache, and making
// it ready to search.

#include "Models/Manifest.h"
#include "Search/SearchIndex.h"

#include <benchmark/benchmark.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>

namespace glimmerwick {
namespace {

std::string readDocument()
{
    std::ifstream file(GLIMMERWICK_SOURCE_DIR "/Resources/catalogue/manifest.json", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

const Manifest& manifest()
{
    static const Manifest decoded = Manifest::decode(readDocument()).value();
    return decoded;
}

void readFile(benchmark::State& state)
{
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(readDocument());
    }
}
BENCHMARK(readFile)->Unit(benchmark::kMillisecond);

void decode(benchmark::State& state)
{
    const std::string document = readDocument();
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(Manifest::decode(document));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * document.size()));
}
BENCHMARK(decode)->Unit(benchmark::kMillisecond);

void encode(benchmark::State& state)
{
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(manifest().encode());
    }
}
BENCHMARK(encode)->Unit(benchmark::kMillisecond);

void makeSearchable(benchmark::State& state)
{
    const auto emojis = std::make_shared<const SearchIndex::Emojis>(manifest().allEmojis());
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(SearchIndex(emojis));
    }
}
BENCHMARK(makeSearchable)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace glimmerwick
