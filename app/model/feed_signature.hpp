#pragma once

#include <QByteArray>
#include <string_view>

namespace corvane {

// The signature of an update feed, in the form Sparkle signs appcasts: the document ends in
// an XML comment
//
//   <!-- sparkle-signatures:
//   edSignature: {base64 Ed25519 signature}
//   length: {number of signed bytes}
//   -->
//
// and the signature covers the first `length` bytes of the document, which are everything
// before that comment. The public key is the 32-byte Ed25519 key in base64, as the build's
// update key is written.
class FeedSignature {
public:
    enum class Verdict { valid, notSigned, mismatch, unusableKey };

    static Verdict verify(const QByteArray& document, std::string_view publicKeyBase64);
    // The signed comment for `document` under a 64-byte Ed25519 secret key, appended to it.
    // Release tooling and the tests sign with it.
    static QByteArray sign(const QByteArray& document, const QByteArray& secretKey);
};

} // namespace corvane
