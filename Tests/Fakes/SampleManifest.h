#pragma once

#include "Models/Manifest.h"

#include <string>

namespace glimmerwick::fakes {

/// A small catalogue: two categories; 1f600 and 1f601 in the first, 1f44b and 2764-fe0f in the second.
inline std::string sampleManifestJson(const std::string& version = "1.0.0")
{
    return R"({
  "version": ")"
        + version + R"(",
  "lastUpdated": "2026-01-01T00:00:00Z",
  "categories": [
    {"id": "smileys", "name": "Smileys", "icon": "1f600", "sfSymbol": "face.smiling", "sfSymbolFallback": "circle",
     "emojis": ["1f600", "1f601"]},
    {"id": "people", "name": "People", "icon": "1f44b", "emojis": ["1f44b", "2764-fe0f"]}
  ],
  "emojis": {
    "1f600": {"char": "😀", "name": "grinning face", "keywords": ["smile", "happy"], "category": "smileys",
              "skinTones": false, "ios": "6.0"},
    "1f601": {"char": "😁", "name": "beaming face", "keywords": ["eye"], "category": "smileys", "skinTones": false},
    "1f44b": {"char": "👋", "name": "waving hand", "keywords": ["hello"], "category": "people", "skinTones": true},
    "2764-fe0f": {"char": "❤️", "name": "red heart", "keywords": [], "category": "people", "skinTones": false}
  }
})";
}

inline Manifest sampleManifest(const std::string& version = "1.0.0")
{
    return Manifest::decode(sampleManifestJson(version)).value();
}

} // namespace glimmerwick::fakes
