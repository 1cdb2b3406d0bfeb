#pragma once

#include "Platform/UpdateFeedReader.h"

namespace glimmerwick {

/// Reads RSS 2.0 with elements of our own, by Qt's stream reader.
///
/// Strict about what an update needs: an element or attribute of that kind that is missing, doubled or not
/// what it should be fails the whole feed. Elements it does not know are passed over. Texts are UTF-8, at
/// most 64 elements stand inside each other, a feed has at most 1,000 items, and notes are cut after 64 KiB.
class QtUpdateFeedReader : public UpdateFeedReader {
public:
    Result<UpdateFeed, std::string> read(std::string_view xml, const std::string& feedAddress) override;
};

} // namespace glimmerwick
