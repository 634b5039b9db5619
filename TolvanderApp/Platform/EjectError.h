#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "TolvanderCore/Foundation/CaseError.h"

namespace tolvander::app {

enum class EjectErrorCase {
  busy,          // a program still uses a volume of the drive
  notRemovable,  // the volume isn't on a drive that can be let go
  notPermitted,
  unavailable,  // the system offers no way to eject, or did not answer
  failed
};

// Why a drive could not be let go.
class EjectError final : public CaseError<EjectErrorCase> {
 public:
  // `detail` is for developers.
  explicit EjectError(Case which, std::string detail = {}) : CaseError(which, std::move(detail)) {}

  std::string_view domain() const override { return "TolvanderApp.EjectError"; }
  std::optional<std::string> description() const override;
};

}  // namespace tolvander::app
