#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "TolvanderCore/Foundation/Error.h"

namespace tolvander::app {

// The process that owns a home.
struct HomeHolder {
  std::int64_t process = 0;
  std::string command;  // what it is called, as the system has it

  // For people: "tolvanderctl (process 4711)".
  std::string text() const;

  friend bool operator==(const HomeHolder&, const HomeHolder&) = default;
};

// Another process works on the same files.
class HomeInUseError final : public Error {
 public:
  enum class Case { heldByAnotherProcess };

  // Without a holder where it can't be told.
  explicit HomeInUseError(std::optional<HomeHolder> holder)
      : Error("another process owns the home"), holder_(std::move(holder)) {}

  Case kind() const { return Case::heldByAnotherProcess; }
  const std::optional<HomeHolder>& holder() const { return holder_; }

  std::string_view domain() const override { return "TolvanderApp.HomeInUseError"; }
  std::int64_t code() const override { return static_cast<std::int64_t>(kind()); }
  std::optional<std::string> description() const override;

 private:
  std::optional<HomeHolder> holder_;
};

}  // namespace tolvander::app
