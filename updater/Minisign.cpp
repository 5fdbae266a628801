#include "updater/Minisign.h"

#include <QList>

#include <sodium.h>

#include <cstring>

namespace hopla {

namespace {

bool sodiumReady() {
    static const bool ready = sodium_init() >= 0;
    return ready;
}

// Decodes standard base64 that must come to exactly `size` bytes.
std::optional<QByteArray> base64(const QByteArray& text, std::size_t size) {
    QByteArray bytes(static_cast<qsizetype>(size), '\0');
    std::size_t length = 0;
    if (sodium_base642bin(reinterpret_cast<unsigned char*>(bytes.data()), size, text.constData(),
                          static_cast<std::size_t>(text.size()), nullptr, &length, nullptr,
                          sodium_base64_VARIANT_ORIGINAL) != 0 ||
        length != size) {
        return std::nullopt;
    }
    return bytes;
}

constexpr std::size_t kKeyBytes = 2 + 8 + crypto_sign_PUBLICKEYBYTES;
constexpr std::size_t kSignatureBytes = 2 + 8 + crypto_sign_BYTES;

} // namespace

std::optional<MinisignPublicKey> MinisignPublicKey::parse(const QString& text) {
    // The key is the last non-empty line; a comment line may come before it.
    const QList<QByteArray> lines = text.toLatin1().trimmed().split('\n');
    const auto bytes = base64(lines.last().trimmed(), kKeyBytes);
    if (!sodiumReady() || !bytes || bytes->left(2) != "Ed") {
        return std::nullopt;
    }
    MinisignPublicKey key;
    std::memcpy(key.keyId.data(), bytes->constData() + 2, key.keyId.size());
    std::memcpy(key.key.data(), bytes->constData() + 10, key.key.size());
    return key;
}

QString MinisignPublicKey::idText() const {
    // minisign reads the id as a little-endian number.
    std::uint64_t id = 0;
    for (std::size_t i = keyId.size(); i-- > 0;) {
        id = (id << 8) | keyId[i];
    }
    return QStringLiteral("%1").arg(id, 16, 16, QLatin1Char('0')).toUpper();
}

MinisignCheck verifyMinisign(const MinisignPublicKey& key, const QByteArray& message,
                             const QByteArray& signatureFile, QString* trustedComment) {
    const QList<QByteArray> lines = signatureFile.split('\n');
    constexpr QByteArrayView trustedPrefix("trusted comment: ");
    if (!sodiumReady() || lines.size() < 4 || !lines[0].startsWith("untrusted comment:") ||
        !lines[2].startsWith(trustedPrefix)) {
        return MinisignCheck::malformed;
    }
    const auto signature = base64(lines[1].trimmed(), kSignatureBytes);
    const auto global = base64(lines[3].trimmed(), crypto_sign_BYTES);
    if (!signature || !global) {
        return MinisignCheck::malformed;
    }
    const QByteArray algorithm = signature->left(2);
    if (algorithm != "Ed" && algorithm != "ED") {
        return MinisignCheck::malformed;
    }
    if (std::memcmp(signature->constData() + 2, key.keyId.data(), key.keyId.size()) != 0) {
        return MinisignCheck::otherKey;
    }
    const auto* signatureBytes =
        reinterpret_cast<const unsigned char*>(signature->constData() + 10);

    // "ED" signs the message's BLAKE2b-512 digest, "Ed" the message itself.
    QByteArray signedBytes = message;
    if (algorithm == "ED") {
        signedBytes = QByteArray(crypto_generichash_BYTES_MAX, '\0');
        crypto_generichash(reinterpret_cast<unsigned char*>(signedBytes.data()),
                           crypto_generichash_BYTES_MAX,
                           reinterpret_cast<const unsigned char*>(message.constData()),
                           static_cast<unsigned long long>(message.size()), nullptr, 0);
    }
    if (crypto_sign_verify_detached(
            signatureBytes, reinterpret_cast<const unsigned char*>(signedBytes.constData()),
            static_cast<unsigned long long>(signedBytes.size()), key.key.data()) != 0) {
        return MinisignCheck::forged;
    }
    // The global signature covers the signature and the trusted comment together.
    const QByteArray comment = lines[2].mid(trustedPrefix.size());
    const QByteArray covered =
        QByteArray(reinterpret_cast<const char*>(signatureBytes), crypto_sign_BYTES) + comment;
    if (crypto_sign_verify_detached(reinterpret_cast<const unsigned char*>(global->constData()),
                                    reinterpret_cast<const unsigned char*>(covered.constData()),
                                    static_cast<unsigned long long>(covered.size()),
                                    key.key.data()) != 0) {
        return MinisignCheck::forged;
    }
    if (trustedComment) {
        *trustedComment = QString::fromUtf8(comment);
    }
    return MinisignCheck::valid;
}

} // namespace hopla
