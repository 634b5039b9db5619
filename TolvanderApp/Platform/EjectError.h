#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "TolvanderCore/Foundation/Error.h"

namespace tolvander::app {

// Why a drive could not be let go.
class EjectError final : public Error {
 public:
  enum class Case {
    busy,          // a program still uses a volume of the drive
    notRemovable,  // the volume isn't on a drive that can be let go
    notPermitted,
    unavailable,  // the system offers no way to eject, or did not answer
    failed
  };

  // `detail` is for developers.
  explicit EjectError(Case which, std::string detail = {}) : Error(std::move(detail)), case_(which) {}

  Case kind() const { return case_; }
  std::string_view domain() const override { return "TolvanderApp.EjectError"; }
  std::int64_t code() const override { return static_cast<std::int64_t>(case_); }
  std::optional<std::string> description() const override;

 private:
  Case case_;
};

}  // namespace tolvander::app
