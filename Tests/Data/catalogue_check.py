#!/usr/bin/python3
"""Checks the bundled catalogue: its form, its counts and the rules that search and skin tones rely on."""

import collections
import json
import pathlib
import re
import sys
import unicodedata
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
MANIFEST = ROOT / "Resources" / "catalogue" / "manifest.json"
SYMBOLS = ROOT / "Resources" / "symbols"

CATEGORY_IDS = ["smileys", "people", "animals", "food", "travel", "activities", "objects", "symbols", "flags"]
EMOJI_COUNT = 1914
ZERO_WIDTH_JOINER = "\u200d"
VARIATION_SELECTOR = "\ufe0f"
KEYCAP = "\u20e3"
TONES = {chr(value) for value in range(0x1F3FB, 0x1F400)}
# Single-scalar emoji that a tone may follow directly, in Unicode 17: the modifier bases that are shown as
# pictures without a variation selector.
TONED_COUNT = 124
CODEPOINT_STRING = re.compile(r"[0-9a-f]+(-[0-9a-f]+)*")


def refuse_repeated_keys(pairs):
    """A JSON object as a dictionary; a repeated key would hide an emoji."""
    names = [name for name, _ in pairs]
    repeated = [name for name, count in collections.Counter(names).items() if count > 1]
    if repeated:
        raise ValueError(f"repeated keys: {repeated}")
    return dict(pairs)


def codepoint_string(text):
    return "-".join(f"{ord(scalar):x}" for scalar in text)


class CatalogueCheck(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        text = MANIFEST.read_text(encoding="utf-8")
        cls.manifest = json.loads(text, object_pairs_hook=refuse_repeated_keys)
        cls.categories = cls.manifest["categories"]
        cls.emojis = cls.manifest["emojis"]

    def test_document_names_its_version_and_date(self):
        self.assertTrue(self.manifest["version"])
        self.assertTrue(self.manifest["lastUpdated"])

    def test_has_the_nine_categories_in_order(self):
        self.assertEqual([category["id"] for category in self.categories], CATEGORY_IDS)

    def test_every_category_has_a_name_a_known_icon_and_symbols(self):
        for category in self.categories:
            with self.subTest(category=category["id"]):
                self.assertTrue(category["name"].strip())
                self.assertIn(category["icon"], self.emojis)
                self.assertTrue(category["sfSymbol"])
                self.assertTrue(category["sfSymbolFallback"])

    def test_every_category_symbol_is_drawn(self):
        for category in self.categories:
            for symbol in (category["sfSymbol"], category["sfSymbolFallback"]):
                with self.subTest(symbol=symbol):
                    self.assertTrue((SYMBOLS / f"{symbol}.svg").is_file())

    def test_has_every_base_emoji(self):
        self.assertEqual(len(self.emojis), EMOJI_COUNT)

    def test_every_emoji_is_in_exactly_the_category_it_names(self):
        listed = collections.Counter()
        for category in self.categories:
            for codepoint in category["emojis"]:
                listed[codepoint] += 1
                self.assertEqual(self.emojis[codepoint]["category"], category["id"], codepoint)

        self.assertEqual(set(listed), set(self.emojis))
        self.assertEqual({codepoint for codepoint, count in listed.items() if count != 1}, set())

    def test_keys_are_the_scalars_of_the_text(self):
        for codepoint, emoji in self.emojis.items():
            with self.subTest(codepoint=codepoint):
                self.assertRegex(codepoint, CODEPOINT_STRING)
                self.assertEqual(codepoint_string(emoji["char"]), codepoint)

    def test_texts_are_fully_qualified(self):
        # Where a sequence holds a scalar whose plain form is text, the variation selector must follow.
        text_by_default = {"\u2764", "\u270c", "\u2600", "\u2640", "\u2642", "\u2695", "\u2708", "\U0001f3f3"}
        for codepoint, emoji in self.emojis.items():
            scalars = emoji["char"]
            for position, scalar in enumerate(scalars):
                if scalar in text_by_default:
                    self.assertEqual(scalars[position + 1: position + 2], VARIATION_SELECTOR, codepoint)
            if KEYCAP in scalars:
                self.assertEqual(scalars[1:], VARIATION_SELECTOR + KEYCAP, codepoint)

    def test_base_emoji_carry_no_tone(self):
        toned = [codepoint for codepoint, emoji in self.emojis.items() if TONES & set(emoji["char"])]
        self.assertEqual(toned, [])

    def test_tones_are_offered_only_where_appending_one_makes_a_sequence(self):
        accepting = {codepoint: emoji for codepoint, emoji in self.emojis.items() if emoji["skinTones"]}

        self.assertEqual(len(accepting), TONED_COUNT)
        for codepoint, emoji in accepting.items():
            with self.subTest(codepoint=codepoint):
                # Behind a joiner, a selector or a second scalar an appended tone belongs to nothing.
                self.assertEqual(len(emoji["char"]), 1)

    def test_tones_are_offered_for_the_hands_people_try_first(self):
        for codepoint in ("1f44d", "1f44b", "1f64f", "1f44f", "1f4aa", "270a", "1f596"):
            self.assertTrue(self.emojis[codepoint]["skinTones"], codepoint)
        for codepoint in ("1f600", "270c-fe0f", "1f469-200d-1f4bb", "2764-fe0f"):
            self.assertFalse(self.emojis[codepoint]["skinTones"], codepoint)

    def test_names_are_there_and_unique(self):
        names = collections.Counter(emoji["name"] for emoji in self.emojis.values())
        self.assertNotIn("", names)
        self.assertEqual([name for name, count in names.items() if count > 1], [])

    def test_keywords_are_lower_case_trimmed_composed_and_unique(self):
        for codepoint, emoji in self.emojis.items():
            keywords = emoji["keywords"]
            with self.subTest(codepoint=codepoint):
                self.assertEqual(len(set(keywords)), len(keywords))
                for keyword in keywords:
                    self.assertEqual(keyword, unicodedata.normalize("NFC", keyword.strip().lower()))
                    self.assertNotEqual(keyword, "")
                    self.assertNotRegex(keyword, r"[\u00a0\u2018\u2019\u201c\u201d_]")
                    self.assertNotEqual(keyword, emoji["name"].lower())

    def test_no_keyword_stands_behind_a_longer_one_that_begins_with_it(self):
        for codepoint, emoji in self.emojis.items():
            keywords = emoji["keywords"]
            for position, keyword in enumerate(keywords):
                longer = [other for other in keywords[:position] if other.startswith(keyword)]
                self.assertEqual(longer, [], f"{codepoint}: {keyword}")

    def test_words_inside_names_are_searchable(self):
        for codepoint, word in (("2764-fe0f", "heart"), ("1f602", "joy"), ("1f1e8-1f1ed", "switzerland")):
            self.assertIn(word, self.emojis[codepoint]["keywords"])

    def test_every_member_has_the_type_that_decoding_asks_for(self):
        for codepoint, emoji in self.emojis.items():
            with self.subTest(codepoint=codepoint):
                types = {name: type(value) for name, value in emoji.items()}
                self.assertEqual(types, {"char": str, "name": str, "keywords": list, "category": str,
                                         "skinTones": bool})
                self.assertTrue(all(isinstance(keyword, str) for keyword in emoji["keywords"]))

    def test_hard_sequences_are_in(self):
        family = ZERO_WIDTH_JOINER.join(["\U0001f468", "\U0001f469", "\U0001f467", "\U0001f466"])
        england = "\U0001f3f4\U000e0067\U000e0062\U000e0065\U000e006e\U000e0067\U000e007f"
        for text in (family, england, "1" + VARIATION_SELECTOR + KEYCAP, "\U0001f1e8\U0001f1ed"):
            self.assertIn(codepoint_string(text), self.emojis)


if __name__ == "__main__":
    sys.exit(unittest.main())
