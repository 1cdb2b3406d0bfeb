#pragma once

#include "Models/Result.h"
#include "Models/UpdateFeed.h"

#include <string>
#include <string_view>

namespace glimmerwick {

/// Reads an update feed. Any thread.
class UpdateFeedReader {
public:
    virtual ~UpdateFeedReader() = default;

    /// Relative addresses in the feed count from its own. The error is one line: what is wrong, and where.
    /// Nothing outside the text is ever fetched, and a text that declares entities or a document type is
    /// refused.
    virtual Result<UpdateFeed, std::string> read(std::string_view xml, const std::string& feedAddress) = 0;
};

} // namespace glimmerwick
