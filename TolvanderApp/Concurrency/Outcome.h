#pragma once

#include <exception>
#include <functional>
#include <type_traits>
#include <utility>
#include <variant>

#include "TolvanderCore/Precondition.h"

namespace tolvander::app {

// What a function returned or threw, on its way to who waits for it, often on another thread. An exception is
// caught, the catch block is left, and only then is it handed over, always by moving: so the thread that
// threw holds no reference to it any more when another one reads and frees it.
template <typename T>
class Outcome {
 public:
  // Runs the function, and doesn't throw.
  template <typename Function>
  static Outcome of(Function&& function) {
    std::exception_ptr error;
    try {
      if constexpr (std::is_void_v<T>) {
        std::invoke(std::forward<Function>(function));
        return Outcome();
      } else {
        return Outcome(Kept(std::in_place_index<1>, std::invoke(std::forward<Function>(function))));
      }
    } catch (...) {
      error = std::current_exception();
    }
    return failure(std::move(error));
  }

  static Outcome failure(std::exception_ptr error) {
    return Outcome(Kept(std::in_place_index<2>, std::move(error)));
  }

  bool isFailure() const { return kept_.index() == 2; }

  // Gives the value away, or throws the exception. Once.
  T take() {
    Kept kept = std::exchange(kept_, Kept());
    if (auto* error = std::get_if<2>(&kept)) {
      std::rethrow_exception(std::move(*error));
    }
    if constexpr (!std::is_void_v<T>) {
      precondition(kept.index() == 1, "an outcome is taken once");
      return std::move(std::get<1>(kept));
    }
  }

 private:
  using Value = std::conditional_t<std::is_void_v<T>, std::monostate, T>;
  using Kept = std::variant<std::monostate, Value, std::exception_ptr>;

  Outcome() = default;
  explicit Outcome(Kept kept) : kept_(std::move(kept)) {}

  Kept kept_;
};

}  // namespace tolvander::app
