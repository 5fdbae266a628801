#pragma once

#include <QByteArray>
#include <QString>

#include <array>
#include <cstdint>
#include <optional>

namespace hopla {

// A minisign public key (Ed25519), as the minisign tool prints it: the base64 line, alone
// or with the "untrusted comment:" line above it.
struct MinisignPublicKey {
    std::array<std::uint8_t, 8> keyId{};
    std::array<std::uint8_t, 32> key{};

    static std::optional<MinisignPublicKey> parse(const QString& text);
    // The key id as minisign prints it: 16 upper-case hexadecimal digits.
    QString idText() const;
};

// Why a signature was not accepted.
enum class MinisignCheck { valid, malformed, otherKey, forged };

// Checks a minisign signature file (untrusted comment, signature, trusted comment, global
// signature) over `message`, both the plain and the prehashed (BLAKE2b) kinds. The trusted
// comment, which the global signature covers, is returned through `trustedComment` when
// the signature is valid.
MinisignCheck verifyMinisign(const MinisignPublicKey& key, const QByteArray& message,
                             const QByteArray& signatureFile, QString* trustedComment = nullptr);

} // namespace hopla
