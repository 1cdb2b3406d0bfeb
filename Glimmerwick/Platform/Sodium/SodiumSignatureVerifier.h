#pragma once

#include "Platform/SignatureVerifier.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace glimmerwick {

/// Verifies with libsodium, which accepts no signature in a second form and no key of small order.
class SodiumSignatureVerifier : public SignatureVerifier {
public:
    /// The public key: 32 bytes in base64 with its padding. There is no key when it is anything else.
    explicit SodiumSignatureVerifier(std::string_view publicKey);

    bool hasKey() const override { return key().has_value(); }
    bool isSigned(std::string_view message, std::string_view signature) const override;

private:
    static constexpr std::size_t keySize = 32;
    using Key = std::array<unsigned char, keySize>;

    std::optional<Key> key() const;

    /// Read when it is asked for: the library, set up, takes memory, and looks for updates are rare.
    const std::string m_publicKey;
};

} // namespace glimmerwick
