#include "Commands.h"

#include <algorithm>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace glimmerwick;

struct Command {
    std::string_view name;
    std::string_view synopsis;
    Result<Success, GeneratorError> (*run)(std::span<const std::string> words);
};

constexpr Command commands[] = {
    {"manifest", manifestSynopsis, runManifest},
    {"check", checkSynopsis, runCheck},
    {"images", imagesSynopsis, runImages},
};

void printUsage(std::ostream& stream)
{
    stream << "usage: glimmerwick-content COMMAND OPTION...\n\n";
    for (const Command& command : commands) {
        stream << "  " << command.name << " " << command.synopsis << "\n";
    }
    stream << "\ndev/content calls it with the right files.\n";
}

} // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string> words(argv + std::min(argc, 2), argv + argc);
    const std::string_view name = argc > 1 ? argv[1] : "";
    if (name == "--help") {
        printUsage(std::cout);
        return 0;
    }
    const auto* const command = std::ranges::find(commands, name, &Command::name);
    if (command == std::end(commands)) {
        printUsage(std::cerr);
        return 2;
    }
    if (const auto outcome = command->run(words); !outcome) {
        std::cerr << "glimmerwick-content " << name << ": " << outcome.error().description << "\n";
        return 1;
    }
    return 0;
}
