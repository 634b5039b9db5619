#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "TolvanderCore/Foundation/Error.h"

namespace tolvander {

// The base of an error type whose failures are listed in an enumeration. The type names its domain and, where
// it has words for the user, its descriptions:
//
//   enum class FooErrorCase { missing, damaged };
//
//   class FooError final : public CaseError<FooErrorCase> {
//    public:
//     explicit FooError(Case kind) : CaseError(kind, "a foo can't be read") {}
//     std::string_view domain() const override { return "TolvanderCore.FooError"; }
//   };
template <typename CaseType>
class CaseError : public Error {
 public:
  using Case = CaseType;

  Case kind() const { return kind_; }

  std::int64_t code() const final { return static_cast<std::int64_t>(kind_); }

 protected:
  // `diagnostic` is for developers.
  CaseError(Case kind, std::string diagnostic) : Error(std::move(diagnostic)), kind_(kind) {}

 private:
  Case kind_;
};

}  // namespace tolvander
