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
// the header "1". The bytes are the source fingerprint as well; what stands for the picture in the payload
// fingerprint is the part in front of the slash.
using Bytes = std::string;

//
// Of a video ("video/1") only the source fingerprint is known. What we make of it is nothing that a search by
// content finds again, except while an interrupted import of it is remembered.
std::string pictureOf(const Bytes& bytes);
std::optional<std::string> payloadOf(const Bytes& bytes);
// The fingerprint of the repaired copy that goes to the library.
std::string processedFingerprintOf(const Bytes& bytes);

// An item of the library.
struct Item {
  Bytes source;             // of the camera file that it holds
  std::string fingerprint;  // of its own bytes
  bool isOurs = false;      // the program put it there, not the user

  friend bool operator==(const Item&, const Item&) = default;
};

// A review that the user looks at. It lives in memory only.
struct OpenReview {
  std::size_t card = 0;
  bool isCharmera = true;
  CameraLibraryReview review;
};

// All that there is between two commands of the user.
struct State {
  HistoryDatabase history;
  std::map<std::string, Item> library;  // by asset identifier
  std::optional<OpenReview> review;
};

// The state without differences that nothing can ever depend on: when a record was made, and which asset it
// was that isn't there any more.
State normalized(State state);

// The same for equal states, and for no others.
std::string keyOf(const State& state);

}  // namespace tolvander::tests
