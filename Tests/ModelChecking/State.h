#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "TolvanderCore/CameraLibraryReview.h"
#include "TolvanderCore/HistoryDatabase.h"

namespace tolvander::tests {

// The bytes of a camera file: a picture, and a header that may be rewritten. "a/1" is the picture "a" with
// the header "1". The bytes are also the source fingerprint, and the part before the slash identifies the
// picture in the payload fingerprint.
//
// A video ("video/1") has a source fingerprint only. The movie made from it is not found by content, except
// while an interrupted import of it has a mark.
using Bytes = std::string;

std::string pictureOf(const Bytes& bytes);
std::optional<std::string> payloadOf(const Bytes& bytes);

// The fingerprint of the repaired copy that is imported.
std::string processedFingerprintOf(const Bytes& bytes);

// An item of the library.
struct Item {
  Bytes source;             // of the camera file that the item holds
  std::string fingerprint;  // of the item's bytes
  bool isOurs = false;      // imported by the program, not by the user

  friend bool operator==(const Item&, const Item&) = default;
};

// A review that is shown to the user. It is in memory only.
struct OpenReview {
  std::size_t card = 0;
  bool isCharmera = true;
  CameraLibraryReview review;
};

// Everything that remains between two commands of the user.
struct State {
  HistoryDatabase history;
  std::map<std::string, Item> library;  // by asset identifier
  std::optional<OpenReview> review;
};

// The state without differences that can't have an effect: the time when a record was made, and the
// identifiers of assets that no longer exist.
State normalized(State state);

// A text that is equal for equal states only.
std::string keyOf(const State& state);

}  // namespace tolvander::tests
