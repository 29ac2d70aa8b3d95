#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <optional>

namespace Platform {

// An Ed25519 public key that the update feed and every download must be signed with.
class UpdateSigningKey {
public:
    // The key from its base64 text; nullopt when that is not a 32-byte key.
    static std::optional<UpdateSigningKey> fromBase64(QByteArrayView base64);

    // Whether `signature` (64 raw bytes) is this key's Ed25519 signature of `message`.
    bool verifies(QByteArrayView message, QByteArrayView signature) const;

    QByteArray raw() const { return m_key; }

private:
    explicit UpdateSigningKey(QByteArray key) : m_key(std::move(key)) { }
    QByteArray m_key;
};

// A signature from its base64 text (surrounding blanks ignored); nullopt unless 64 bytes.
std::optional<QByteArray> signatureFromBase64(QByteArrayView base64);

} // namespace Platform
