#pragma once

#include "RecommendedSequences.h"

#include "Models/Manifest.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick {

/// Checks a manifest document against what the picker's search, grid and skin tones rely on.
class CatalogueCheck {
public:
    struct Report {
        /// One line for each breach of a rule.
        std::vector<std::string> breaches;
        std::size_t emojiCount = 0;
        std::size_t tonedCount = 0;
        std::size_t keywordCount = 0;
    };

    static Report run(std::string_view document, const RecommendedSequences& sequences);

private:
    CatalogueCheck(const Manifest& manifest, const RecommendedSequences& sequences);

    void checkCategories();
    void checkMembership();
    void checkCompleteness();
    void checkEmoji(const Emoji& emoji);
    void checkKey(const Emoji& emoji);
    void checkKeywords(const Emoji& emoji);
    void breach(std::string line) { m_report.breaches.push_back(std::move(line)); }

    const Manifest& m_manifest;
    const RecommendedSequences& m_sequences;
    const std::vector<Emoji> m_emojis;
    Report m_report;
};

} // namespace glimmerwick
