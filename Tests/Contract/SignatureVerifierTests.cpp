#include "Platform/Sodium/SodiumSignatureVerifier.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace glimmerwick::contract {
namespace {

/// The first three examples of RFC 8032 for Ed25519, in base64.
struct Example {
    std::string key;
    std::string message;
    std::string signature;
};

const std::vector<Example> examples{
    {"11qYAYKxCrfVS/7TyWQHOg7hcvPapiMlrwIaaPcHURo=", "",
     "5VZDAMNgrHKQhuLMgG6CioSHfx645dl02HPgZSJJAVVfuIIVkKM7rMYeOXAc+bRr0lv18FlbviRlUUFDjnoQCw=="},
    {"PUAXw+hDiVqStwqnTRt+vJyYLM8uxJaMwM1V8Sr0Zgw=", "\x72",
     "kqAJqfDUyrhyDoILX2QlQKKye1QWUD+Ps3YiI+vbadoIWsHkPhWZbkWPNhPQ8R2MOHsurrQwKu6wDSkWErsMAA=="},
    {"/FHNjmIYoaONpH7QAjDwWAgW7RO6MwOsXeuRFUiQgCU=", "\xaf\x82",
     "YpHWV97sJAJIJ+acOr4BowzlSKKEdDpEXjaA19taw6wY/5tTjRbykK5n92CYTcZZSnwV6XFu0o3AJ77O6h7ECg=="},
};
const Example& example = examples.back();

TEST(SignatureVerifierTests, KnownSignaturesAreTrue)
{
    for (const auto& [key, message, signature] : examples) {
        const SodiumSignatureVerifier verifier(key);
        EXPECT_TRUE(verifier.hasKey());
        EXPECT_TRUE(verifier.isSigned(message, signature));
    }
}

TEST(SignatureVerifierTests, AnotherMessageOrKeyMakesThemFalse)
{
    const SodiumSignatureVerifier verifier(example.key);

    EXPECT_FALSE(verifier.isSigned("", example.signature));
    EXPECT_FALSE(verifier.isSigned("\xaf\x83", example.signature));
    EXPECT_FALSE(verifier.isSigned("\xaf\x82\n", example.signature));
    EXPECT_FALSE(SodiumSignatureVerifier(examples[0].key).isSigned(example.message, example.signature));
}

TEST(SignatureVerifierTests, ASignatureWithAnyCharacterChangedIsFalse)
{
    const SodiumSignatureVerifier verifier(example.key);
    const std::string characters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=";

    for (std::size_t index = 0; index < example.signature.size(); ++index) {
        for (const char character : characters) {
            std::string changed = example.signature;
            changed[index] = character;
            EXPECT_EQ(verifier.isSigned(example.message, changed), changed == example.signature) << changed;
        }
    }
}

TEST(SignatureVerifierTests, TheSameSignatureHasNoSecondForm)
{
    const SodiumSignatureVerifier verifier(example.key);
    const std::string& signature = example.signature;

    for (const std::string& text :
         {signature + "=", signature.substr(0, 87), signature.substr(0, 86), signature + "\n",
          " " + signature, signature.substr(0, 40) + "\n" + signature.substr(40), signature + signature,
          std::string()}) {
        EXPECT_FALSE(verifier.isSigned(example.message, text)) << text;
    }
    // Its second half, a number, with the order of the group added.
    EXPECT_FALSE(verifier.isSigned(
        example.message,
        "YpHWV97sJAJIJ+acOr4BowzlSKKEdDpEXjaA19taw6wF05Gwp3kE6YQE7wN3R6VuSnwV6XFu0o3AJ77O6h7EGg=="));
}

TEST(SignatureVerifierTests, WithoutAKeyNothingIsSigned)
{
    const std::string& key = example.key;
    for (const std::string& text : {std::string(), std::string("no key"), key.substr(0, 40),
                                    key.substr(0, 43), key + "=", key + " ", "\n" + key, key + key,
                                    // Points of small order: 0, 1 and 2^255 - 20.
                                    "AAAA" + std::string(39, 'A') + "=", "AQAA" + std::string(39, 'A') + "=",
                                    "7P" + std::string(40, '/') + "8="}) {
        const SodiumSignatureVerifier verifier(text);
        EXPECT_FALSE(verifier.hasKey()) << text;
        EXPECT_FALSE(verifier.isSigned(example.message, example.signature)) << text;
        EXPECT_FALSE(verifier.isSigned("", std::string(86, 'A') + "==")) << text;
    }
}

} // namespace
} // namespace glimmerwick::contract
