#pragma once

#include <string>

#include "TolvanderCore/Foundation/Error.h"

namespace tolvander {

// Stored data that can't be read as what it should be.
class DecodingError final : public Error {
 public:
  enum class Case {
    typeMismatch,   // a value of another JSON type than the key's, null among them
    keyNotFound,    // a required key is missing
    dataCorrupted,  // no JSON, or a value of the right type that means nothing
  };

  // `key` is where it happened, empty at the top; `debugDescription` is for developers.
  DecodingError(Case kind, std::string_view key, std::string_view debugDescription)
      : Error(std::string(debugDescription) + (key.empty() ? "" : " (" + std::string(key) + ")")),
        kind_(kind),
        key_(key),
        debugDescription_(debugDescription) {}

  Case kind() const { return kind_; }
  const std::string& key() const { return key_; }
  const std::string& debugDescription() const { return debugDescription_; }

  std::string_view domain() const override { return "TolvanderCore.DecodingError"; }
  std::int64_t code() const override { return static_cast<std::int64_t>(kind_); }

 private:
  Case kind_;
  std::string key_;
  std::string debugDescription_;
};

}  // namespace tolvander
