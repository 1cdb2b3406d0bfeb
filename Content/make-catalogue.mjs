#!/usr/bin/env node
// Writes the bundled catalogue from the data of three npm packages. The same inputs give the same bytes.
//
// Usage: make-catalogue.mjs UNICODE-EMOJI-JSON EMOJILIB UNICODE-17 OUTPUT
// The first three are the folders of the unpacked packages named in Content/README.md.

import { readFileSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { pathToFileURL } from "node:url";

const version = "17.0.1";
const lastUpdated = "2026-01-01T00:00:00Z";
const expectedEmoji = 1914;
const tones = ["1f3fb", "1f3fc", "1f3fd", "1f3fe", "1f3ff"];

// In the order of the tabs: the group in the data, then what the catalogue says of it. The symbols are drawn
// in Resources/symbols.
const categories = [
    ["smileys_emotion", "smileys", "Smileys & Emotion", "1f600", "face.smiling"],
    ["people_body", "people", "People & Body", "1f44b", "person"],
    ["animals_nature", "animals", "Animals & Nature", "1f43b", "leaf"],
    ["food_drink", "food", "Food & Drink", "1f354", "fork.knife"],
    ["travel_places", "travel", "Travel & Places", "1f697", "car"],
    ["activities", "activities", "Activities", "26bd", "soccerball"],
    ["objects", "objects", "Objects", "1f4a1", "lightbulb"],
    ["symbols", "symbols", "Symbols", "2764-fe0f", "heart"],
    ["flags", "flags", "Flags", "1f3f3-fe0f", "flag"],
].map(([group, id, name, icon, symbol]) => ({ group, id, name, icon, symbol }));
const symbolFallback = "circle";

const smallWords = new Set(["a", "an", "and", "in", "of", "on", "or", "the", "to", "with", "&", "-"]);

function codepointString(text) {
    return [...text].map((scalar) => scalar.codePointAt(0).toString(16)).join("-");
}

function textOf(codepoint) {
    return String.fromCodePoint(...codepoint.split("-").map((scalar) => parseInt(scalar, 16)));
}

// A search word as somebody types it: lower case, straight apostrophes, plain blanks, no typographic marks.
function searchWord(raw) {
    return raw
        .normalize("NFC")
        .replace(/[’‘]/g, "'")
        .replace(/[“”®™\ufe0f]|\p{Extended_Pictographic}/gu, "")
        .replace(/[_\s]+/g, " ")
        .toLowerCase()
        .replace(/(?<=[\p{L}\p{N}])[,;:]+$/u, "")
        .trim();
}

// The words inside a name. The name as a whole is indexed already, so only what stands behind its first word
// adds anything: "heart" must find "red heart".
function wordsBehindTheFirst(name) {
    return name
        .split(/\s+/)
        .slice(1)
        .map((word) => searchWord(word).replace(/^\(|\)$/g, ""))
        .filter((word) => word !== "" && !smallWords.has(word));
}

// Ranking stops at the first keyword that begins with the query, so a keyword must not stand behind a longer
// one that begins with it: its exact match would be ranked as a mere beginning.
function shorterBeforeLonger(words) {
    const ordered = [];
    for (const word of words) {
        const longer = ordered.findIndex((other) => other.startsWith(word));
        ordered.splice(longer === -1 ? ordered.length : longer, 0, word);
    }
    return ordered;
}

function withoutPunctuation(text) {
    return text.replace(/[^\p{L}\p{N}]+/gu, " ").trim();
}

function keywordsFor(name, libraryKeywords) {
    const wholeName = withoutPunctuation(searchWord(name));
    const candidates = [...wordsBehindTheFirst(name), ...libraryKeywords.map(searchWord)];
    // The library repeats the name in the form of a file name. A spelling without accents is no repetition.
    const repeatsName = (word) => withoutPunctuation(word) === wholeName;
    const unique = [...new Set(candidates)].filter((word) => word !== "" && !repeatsName(word));
    return shorterBeforeLonger(unique);
}

function buildManifest(groups, keywordsByText, recommended) {
    const isRecommended = (codepoint) => recommended.has(textOf(codepoint));
    const acceptsTones = (codepoint) => tones.every((tone) => isRecommended(`${codepoint}-${tone}`));

    const emojis = new Map();
    const manifestCategories = categories.map(({ group, id, name, icon, symbol }) => {
        const members = groups.find((candidate) => candidate.slug === group).emojis.map((entry) => {
            const codepoint = codepointString(entry.emoji);
            if (emojis.has(codepoint)) {
                throw new Error(`${codepoint} is in two categories`);
            }
            emojis.set(codepoint, {
                char: entry.emoji,
                name: entry.name,
                keywords: keywordsFor(entry.name, keywordsByText[entry.emoji] ?? []),
                category: id,
                skinTones: acceptsTones(codepoint),
            });
            return codepoint;
        });
        return { id, name, icon, sfSymbol: symbol, sfSymbolFallback: symbolFallback, emojis: members };
    });

    if (emojis.size !== expectedEmoji) {
        throw new Error(`${emojis.size} emoji instead of ${expectedEmoji}: other package versions?`);
    }
    return { version, lastUpdated, categories: manifestCategories, emojis };
}

// One emoji and one category field a line, so that a change of the data reads as a change of lines.
function serialise(manifest) {
    const json = JSON.stringify;
    const categoryTexts = manifest.categories.map((category) => {
        const fields = Object.entries(category).map(([key, value]) => `      ${json(key)}: ${json(value)}`);
        return `    {\n${fields.join(",\n")}\n    }`;
    });
    const emojiTexts = [...manifest.emojis].map(([key, data]) => `    ${json(key)}: ${json(data)}`);
    return [
        "{",
        `  "version": ${json(manifest.version)},`,
        `  "lastUpdated": ${json(manifest.lastUpdated)},`,
        `  "categories": [\n${categoryTexts.join(",\n")}\n  ],`,
        `  "emojis": {\n${emojiTexts.join(",\n")}\n  }`,
        "}",
        "",
    ].join("\n");
}

const folders = process.argv.slice(2);
if (folders.length !== 4) {
    console.error("usage: make-catalogue.mjs UNICODE-EMOJI-JSON EMOJILIB UNICODE-17 OUTPUT");
    process.exit(2);
}
const [emojiFolder, keywordFolder, unicodeFolder, output] = folders;
const readJson = (...path) => JSON.parse(readFileSync(join(...path), "utf8"));

const groups = readJson(emojiFolder, "data-by-group.json");
const keywordsByText = readJson(keywordFolder, "dist", "emoji-en-US.json");
const rgi = join(unicodeFolder, "Sequence_Property", "RGI_Emoji", "index.mjs");
const recommended = new Set((await import(pathToFileURL(rgi))).default);

writeFileSync(output, serialise(buildManifest(groups, keywordsByText, recommended)));
