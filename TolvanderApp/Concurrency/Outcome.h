#pragma once

#include <exception>
#include <functional>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

#include "TolvanderCore/Foundation/Precondition.h"

namespace tolvander::app {

// What a function returned or threw, to be taken by the code that waits for it, often on another thread. An
// exception is handed over by moving, and only after the catch block was left: the thread that threw then
// holds no reference to it any more while the other one reads and frees it.
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
        return Outcome(Value());
      } else {
        return Outcome(std::invoke(std::forward<Function>(function)));
      }
    } catch (...) {
      error = std::current_exception();
    }
    return failure(std::move(error));
  }

  static Outcome failure(std::exception_ptr error) { return Outcome(std::move(error)); }

  bool isFailure() const { return error_ != nullptr; }

  // Moves the value out, or throws the exception. May be called once.
  T take() {
    if (error_) {
      std::rethrow_exception(std::exchange(error_, nullptr));
    }
    precondition(value_.has_value(), "an outcome is taken once");
    Value value = *std::exchange(value_, std::nullopt);
    if constexpr (!std::is_void_v<T>) {
      return value;
    }
  }

 private:
  using Value = std::conditional_t<std::is_void_v<T>, std::monostate, T>;

  explicit Outcome(Value value) : value_(std::move(value)) {}
  explicit Outcome(std::exception_ptr error) : error_(std::move(error)) {}

  // Exactly one is set until `take`.
  std::optional<Value> value_;
  std::exception_ptr error_;
};

}  // namespace tolvander::app
