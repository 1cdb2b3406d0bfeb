#include "Platform/Sodium/SodiumSignatureVerifier.h"

#include <sodium.h>

namespace glimmerwick {

namespace {

/// Exactly so many bytes; nothing for a text with blanks, without its padding, or in another spelling.
template <std::size_t size>
std::optional<std::array<unsigned char, size>> bytesFromBase64(std::string_view text)
{
    std::array<unsigned char, size> bytes{};
    std::size_t count = 0;
    if (sodium_base642bin(bytes.data(), bytes.size(), text.data(), text.size(), nullptr, &count, nullptr,
                          sodium_base64_VARIANT_ORIGINAL)
            != 0
        || count != size) {
        return std::nullopt;
    }
    return bytes;
}

} // namespace

SodiumSignatureVerifier::SodiumSignatureVerifier(std::string_view publicKey) : m_publicKey(publicKey) { }

std::optional<SodiumSignatureVerifier::Key> SodiumSignatureVerifier::key() const
{
    static_assert(keySize == crypto_sign_PUBLICKEYBYTES);
    // A failure leaves no key, so that nothing passes.
    if (m_publicKey.empty() || sodium_init() < 0) {
        return std::nullopt;
    }
    const auto key = bytesFromBase64<keySize>(m_publicKey);
    // The bytes of a point that no signature is ever accepted for are no key.
    std::array<unsigned char, crypto_scalarmult_curve25519_BYTES> converted{};
    if (key && crypto_sign_ed25519_pk_to_curve25519(converted.data(), key->data()) != 0) {
        return std::nullopt;
    }
    return key;
}

bool SodiumSignatureVerifier::isSigned(std::string_view message, std::string_view signature) const
{
    const auto known = key();
    const auto bytes = known ? bytesFromBase64<crypto_sign_BYTES>(signature) : std::nullopt;
    return bytes
        && crypto_sign_verify_detached(bytes->data(), reinterpret_cast<const unsigned char*>(message.data()),
                                       message.size(), known->data())
        == 0;
}

} // namespace glimmerwick
