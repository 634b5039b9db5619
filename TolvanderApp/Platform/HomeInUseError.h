#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "TolvanderCore/Foundation/CaseError.h"

namespace tolvander::app {

// The process that owns a home.
struct HomeHolder {
  std::int64_t process = 0;
  std::string command;  // what it is called, as the system has it

  // For people: "tolvanderctl (process 4711)".
  std::string text() const;

  friend bool operator==(const HomeHolder&, const HomeHolder&) = default;
};

enum class HomeInUseErrorCase { heldByAnotherProcess };

// Another process works on the same files.
class HomeInUseError final : public CaseError<HomeInUseErrorCase> {
 public:
  // Without a holder when it is not known.
  explicit HomeInUseError(std::optional<HomeHolder> holder)
      : CaseError(Case::heldByAnotherProcess, "another process owns the home"), holder_(std::move(holder)) {}

  const std::optional<HomeHolder>& holder() const { return holder_; }

  std::string_view domain() const override { return "TolvanderApp.HomeInUseError"; }
  std::optional<std::string> description() const override;

 private:
  std::optional<HomeHolder> holder_;
};

}  // namespace tolvander::app
