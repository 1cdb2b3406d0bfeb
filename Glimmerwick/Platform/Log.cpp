#include "Platform/Log.h"

#include "Models/UnicodeText.h"

namespace glimmerwick {

void Log::print(std::string_view line)
{
    write(unicode::escapedForLog(line));
}

} // namespace glimmerwick
