#pragma once

#include <string_view>

namespace glimmerwick {

/// Tells what the makers of this program have signed. Any thread.
class SignatureVerifier {
public:
    virtual ~SignatureVerifier() = default;

    /// Whether the key this program was built with is one.
    virtual bool hasKey() const = 0;

    /// Whether this is the Ed25519 signature, by that key, of the message. The signature is 64 bytes in
    /// base64 with its padding; each has one spelling. False for any other text, and for everything without a
    /// key.
    virtual bool isSigned(std::string_view message, std::string_view signature) const = 0;
};

} // namespace glimmerwick
