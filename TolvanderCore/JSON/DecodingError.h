#pragma once

#include <string>

#include "TolvanderCore/Foundation/CaseError.h"

namespace tolvander {

enum class DecodingErrorCase {
  typeMismatch,   // a value of the wrong JSON type, or null
  keyNotFound,    // a required key is missing
  dataCorrupted,  // not JSON, or an invalid value of the right type
};

// Stored data that doesn't have the expected form.
class DecodingError final : public CaseError<DecodingErrorCase> {
 public:
  // `key` is the key of the value, empty for the whole document. `debugDescription` is for developers.
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
