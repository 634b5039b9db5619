#pragma once

#include <exception>
#include <functional>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

#include "TolvanderCore/Foundation/Precondition.h"

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

  // Gives the value away, or throws the exception. Once.
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

  // Of the two, one; none once it was taken.
  std::optional<Value> value_;
  std::exception_ptr error_;
};

}  // namespace tolvander::app
