#include "Files.h"

#include "Platform/Linux/Files.h"

namespace glimmerwick {

Result<std::string, GeneratorError> readFile(const std::filesystem::path& path)
{
    auto bytes = LocalFileSystem().read(path);
    if (!bytes) {
        return Failure(GeneratorError{bytes.error().description});
    }
    return std::move(bytes).value();
}

Result<Success, GeneratorError> replaceFile(const std::filesystem::path& path, std::string_view bytes)
{
    LocalFileSystem files;
    if (const auto present = files.read(path); present && present.value() == bytes) {
        return Success{};
    }
    std::filesystem::path unfinished = path;
    unfinished += ".unfinished";
    if (const auto written = files.write(unfinished, bytes); !written) {
        return Failure(GeneratorError{written.error().description});
    }
    if (const auto renamed = files.rename(unfinished, path); !renamed) {
        return Failure(GeneratorError{renamed.error().description});
    }
    return Success{};
}

} // namespace glimmerwick
