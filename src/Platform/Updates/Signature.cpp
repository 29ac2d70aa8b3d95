#include "Platform/Updates/Signature.h"

#include <sodium.h>

namespace Platform {

namespace {

std::optional<QByteArray> decodeExactly(QByteArrayView base64, qsizetype size)
{
    const auto decoded = QByteArray::fromBase64Encoding(
        base64.trimmed().toByteArray(), QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded || decoded.decoded.size() != size)
        return std::nullopt;
    return decoded.decoded;
}

bool sodiumReady()
{
    static const bool ready = ::sodium_init() >= 0;
    return ready;
}

} // namespace

std::optional<UpdateSigningKey> UpdateSigningKey::fromBase64(QByteArrayView base64)
{
    auto key = decodeExactly(base64, crypto_sign_PUBLICKEYBYTES);
    if (!key)
        return std::nullopt;
    return UpdateSigningKey(std::move(*key));
}

bool UpdateSigningKey::verifies(QByteArrayView message, QByteArrayView signature) const
{
    if (!sodiumReady() || signature.size() != crypto_sign_BYTES)
        return false;
    return ::crypto_sign_verify_detached(reinterpret_cast<const unsigned char*>(signature.data()),
               reinterpret_cast<const unsigned char*>(message.data()),
               static_cast<unsigned long long>(message.size()),
               reinterpret_cast<const unsigned char*>(m_key.constData()))
        == 0;
}

std::optional<QByteArray> signatureFromBase64(QByteArrayView base64)
{
    return decodeExactly(base64, crypto_sign_BYTES);
}

} // namespace Platform
