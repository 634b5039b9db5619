#include "TolvanderCore/Platform/SHA256.h"

#include <openssl/evp.h>

#include "TolvanderCore/Files/Pieces.h"
#include "TolvanderCore/Foundation/Precondition.h"

namespace tolvander {

namespace {

// SHA-256 (RFC 6234) of OpenSSL. Looked up once, because a lookup takes longer than hashing a short text.
// Never freed: other threads may still hash while the process exits.
const EVP_MD* algorithm() {
  static const EVP_MD* const fetched = EVP_MD_fetch(nullptr, "SHA256", nullptr);
  precondition(fetched != nullptr, "OpenSSL offers SHA-256");
  return fetched;
}

// OpenSSL's digest functions fail only if memory is exhausted or they are misused; no fingerprint may result
// from that.
void require(int success) { precondition(success == 1, "OpenSSL computes SHA-256"); }

struct Deleter {
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

}  // namespace

struct SHA256::Context {
  Context() : evp(EVP_MD_CTX_new()) { begin(); }
  void begin() const { require(EVP_DigestInit_ex2(evp.get(), algorithm(), nullptr)); }

  std::unique_ptr<EVP_MD_CTX, Deleter> evp;
};

SHA256::SHA256() : context_(std::make_unique<Context>()) {}
SHA256::~SHA256() = default;
SHA256::SHA256(SHA256&&) noexcept = default;
SHA256& SHA256::operator=(SHA256&&) noexcept = default;

void SHA256::update(std::span<const std::byte> bytes, const CancellationToken& token) {
  forEachPiece(bytes, token, [this](std::span<const std::byte> piece) {
    require(EVP_DigestUpdate(context_->evp.get(), piece.data(), piece.size()));
  });
}

SHA256::Digest SHA256::finish() {
  Digest digest;
  require(EVP_DigestFinal_ex(context_->evp.get(), reinterpret_cast<unsigned char*>(digest.data()), nullptr));
  context_->begin();
  return digest;
}

SHA256::Digest SHA256::hash(std::span<const std::byte> bytes) {
  Digest digest;
  require(EVP_Digest(bytes.data(), bytes.size(), reinterpret_cast<unsigned char*>(digest.data()), nullptr,
                     algorithm(), nullptr));
  return digest;
}

}  // namespace tolvander
