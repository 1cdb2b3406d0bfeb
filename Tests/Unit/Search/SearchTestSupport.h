#pragma once

#include "Models/Emoji.h"
#include "Models/Manifest.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace glimmerwick {

/// An emoji for searching: its text and everything else that searching ignores is made up.
inline Emoji searchable(std::string codepoint, std::string name, std::vector<std::string> keywords = {})
{
    return {std::move(codepoint), "x", std::move(name), std::move(keywords), "all"};
}

/// A manifest whose catalogue order is the order given. The codepoints must be plain text.
inline Manifest manifestOf(const std::vector<Emoji>& emojis)
{
    std::string order;
    std::string entries;
    for (const Emoji& emoji : emojis) {
        const std::string separator = order.empty() ? "" : ",";
        order += separator + "\"" + emoji.codepoint + "\"";
        entries += separator + "\"" + emoji.codepoint + "\":" + emoji.encode();
    }
    auto manifest = Manifest::decode(
        R"({"version":"1","lastUpdated":"now","categories":[{"id":"all","name":"All","icon":"x","emojis":[)"
        + order + "]}],\"emojis\":{" + entries + "}}");
    EXPECT_TRUE(manifest.isSuccess());
    return std::move(manifest).value();
}

inline std::vector<std::string> codepoints(const std::vector<Emoji>& emojis)
{
    std::vector<std::string> result;
    for (const Emoji& emoji : emojis) {
        result.push_back(emoji.codepoint);
    }
    return result;
}

} // namespace glimmerwick
