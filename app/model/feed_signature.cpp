#include "app/model/feed_signature.hpp"

#include <QList>
#include <optional>

#include <sodium.h>

namespace corvane {
namespace {

constexpr std::string_view commentStart = "<!-- sparkle-signatures:";

struct SignedPart {
    QByteArray signature;
    qsizetype length = -1;
};

// The signature and length named in the trailing comment, if the document has one.
std::optional<SignedPart> signedPart(const QByteArray& document) {
    const auto start = document.lastIndexOf(QByteArray(commentStart.data(), commentStart.size()));
    if (start < 0) {
        return std::nullopt;
    }
    const auto end = document.indexOf("-->", start);
    if (end < 0) {
        return std::nullopt;
    }
    SignedPart part;
    const auto comment = document.mid(start + qsizetype(commentStart.size()),
                                      end - start - qsizetype(commentStart.size()));
    for (const auto& rawLine : comment.split('\n')) {
        const auto line = rawLine.trimmed();
        if (line.startsWith("edSignature:")) {
            part.signature = QByteArray::fromBase64(line.mid(12).trimmed());
        } else if (line.startsWith("length:")) {
            bool number = false;
            part.length = line.mid(7).trimmed().toLongLong(&number);
            if (!number) {
                part.length = -1;
            }
        }
    }
    // Nothing but white space may stand outside the signed bytes and the comment, or the
    // feed reader would read unsigned items.
    const auto blank = [](const QByteArray& bytes) { return bytes.trimmed().isEmpty(); };
    if (part.signature.isEmpty() || part.length < 0 || part.length > start ||
        !blank(document.mid(part.length, start - part.length)) || !blank(document.mid(end + 3))) {
        return std::nullopt;
    }
    return part;
}

} // namespace

FeedSignature::Verdict FeedSignature::verify(const QByteArray& document,
                                             std::string_view publicKeyBase64) {
    if (sodium_init() < 0) {
        return Verdict::unusableKey;
    }
    const auto key = QByteArray::fromBase64(
        QByteArray(publicKeyBase64.data(), qsizetype(publicKeyBase64.size())));
    if (key.size() != crypto_sign_PUBLICKEYBYTES) {
        return Verdict::unusableKey;
    }
    const auto part = signedPart(document);
    if (!part) {
        // A signature comment that does not cover the feed is as bad as a wrong signature.
        const bool hasComment =
            document.contains(QByteArray(commentStart.data(), qsizetype(commentStart.size())));
        return hasComment ? Verdict::mismatch : Verdict::notSigned;
    }
    if (part->signature.size() != crypto_sign_BYTES) {
        return Verdict::mismatch;
    }
    const int result = crypto_sign_verify_detached(
        reinterpret_cast<const unsigned char*>(part->signature.constData()),
        reinterpret_cast<const unsigned char*>(document.constData()),
        static_cast<unsigned long long>(part->length),
        reinterpret_cast<const unsigned char*>(key.constData()));
    return result == 0 ? Verdict::valid : Verdict::mismatch;
}

QByteArray FeedSignature::sign(const QByteArray& document, const QByteArray& secretKey) {
    QByteArray signature(crypto_sign_BYTES, '\0');
    if (sodium_init() < 0 || secretKey.size() != crypto_sign_SECRETKEYBYTES) {
        return document;
    }
    crypto_sign_detached(reinterpret_cast<unsigned char*>(signature.data()), nullptr,
                         reinterpret_cast<const unsigned char*>(document.constData()),
                         static_cast<unsigned long long>(document.size()),
                         reinterpret_cast<const unsigned char*>(secretKey.constData()));
    return document + QByteArray(commentStart.data(), qsizetype(commentStart.size())) +
           "\nedSignature: " + signature.toBase64() +
           "\nlength: " + QByteArray::number(document.size()) + "\n-->\n";
}

} // namespace corvane
