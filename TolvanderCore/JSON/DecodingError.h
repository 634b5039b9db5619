#pragma once

#include <string>

#include "TolvanderCore/Foundation/CaseError.h"

namespace tolvander {

enum class DecodingErrorCase {
  typeMismatch,   // a value of another JSON type than the key's, null among them
  keyNotFound,    // a required key is missing
  dataCorrupted,  // no JSON, or a value of the right type that means nothing
};

// Stored data that can't be read as what it should be.
class DecodingError final : public CaseError<DecodingErrorCase> {
 public:
  // `key` is where it happened, empty at the top; `debugDescription` is for developers.
  DecodingError(Case kind, std::string_view key, std::string_view debugDescription)
      : CaseError(kind, std::string(debugDescription) + (key.empty() ? "" : " (" + std::string(key) + ")")),
        key_(key),
        debugDescription_(debugDescription) {}

  const std::string& key() const { return key_; }
  const std::string& debugDescription() const { return debugDescription_; }

  std::string_view domain() const override { return "TolvanderCore.DecodingError"; }
  std::string key_;
  std::string debugDescription_;
};

}  // namespace tolvander
