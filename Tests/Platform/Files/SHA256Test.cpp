#include "TolvanderCore/Platform/SHA256.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "TolvanderCore/Files/FileFingerprinter.h"

namespace tolvander::tests {

namespace {

std::span<const std::byte> bytes(std::string_view text) { return std::as_bytes(std::span(text)); }

std::string hexadecimal(const SHA256::Digest& digest) { return FileFingerprinter::text(digest); }

// RFC 6234, section 8.5, and the digest of nothing.
struct Vector {
  std::string message;
  std::string digest;
};

std::vector<Vector> publishedVectors() {
  return {
      {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
      {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
       "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
      {std::string(1'000'000, 'a'), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
  };
}

}  // namespace

TEST(SHA256, givesThePublishedDigests) {
  for (const Vector& vector : publishedVectors()) {
    EXPECT_EQ(hexadecimal(SHA256::hash(bytes(vector.message))), vector.digest) << vector.message.size();

    SHA256 hash;
    hash.update(bytes(vector.message));
    EXPECT_EQ(hexadecimal(hash.finish()), vector.digest) << vector.message.size();
  }
}

TEST(SHA256, givesTheSameDigestHoweverTheBytesAreSplit) {
  const std::string message(300, 'x');
  const SHA256::Digest whole = SHA256::hash(bytes(message));
  for (std::size_t split = 0; split <= message.size(); ++split) {
    SHA256 hash;
    hash.update(bytes(message).first(split));
    hash.update(bytes(message).subspan(split));
    ASSERT_EQ(hash.finish(), whole) << split;
  }
}

TEST(SHA256, givesTheSameDigestForManySmallUpdates) {
  std::mt19937 random(1);
  std::string message(100'000, '\0');
  for (char& character : message) {
    character = static_cast<char>(random());
  }
  SHA256 hash;
  for (std::span<const std::byte> rest = bytes(message); !rest.empty();) {
    const std::size_t count = std::min<std::size_t>(random() % 200, rest.size());
    hash.update(rest.first(count));
    rest = rest.subspan(count);
  }
  EXPECT_EQ(hash.finish(), SHA256::hash(bytes(message)));
}

TEST(SHA256, startsAnewAfterFinish) {
  SHA256 hash;
  for (const Vector& vector : publishedVectors()) {
    hash.update(bytes(vector.message));
    EXPECT_EQ(hexadecimal(hash.finish()), vector.digest);
  }
  EXPECT_EQ(hash.finish(), SHA256::hash({}));
}

TEST(SHA256, takesEmptyUpdates) {
  SHA256 hash;
  hash.update({});
  hash.update(bytes("abc"));
  hash.update({});
  EXPECT_EQ(hash.finish(), SHA256::hash(bytes("abc")));
}

TEST(SHA256, carriesAHashInProgressWhenMoved) {
  SHA256 first;
  first.update(bytes("a"));
  SHA256 second(std::move(first));
  second.update(bytes("b"));
  SHA256 third;
  third.update(bytes("forgotten"));
  third = std::move(second);
  third.update(bytes("c"));
  EXPECT_EQ(third.finish(), SHA256::hash(bytes("abc")));
}

TEST(SHA256, hashesOnManyThreadsAtOnce) {
  const std::string message(50'000, 'm');
  const SHA256::Digest expected = SHA256::hash(bytes(message));
  std::vector<SHA256::Digest> digests(4);
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (SHA256::Digest& digest : digests) {
    threads.emplace_back([&] {
      for (int repetition = 0; repetition < 20; ++repetition) {
        SHA256 hash;
        hash.update(bytes(message));
        digest = hash.finish();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(digests, std::vector<SHA256::Digest>(4, expected));
}

}  // namespace tolvander::tests
