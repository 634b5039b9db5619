#pragma once

#include <type_traits>
#include <utility>

#include "TolvanderApp/Concurrency/Observed.h"

namespace tolvander::app {

// Gives tests what only the owner of a value has.
struct ObservedTestPeer {
  template <typename T, typename Owner>
  static Observed<T>& assignable(OwnedObserved<T, Owner>& observed) {
    return observed;
  }
};

}  // namespace tolvander::app

namespace tolvander::tests {

// Assigns a field of the model from outside. For states that are hard to reach otherwise: one that the flows
// exclude, and against which the model is guarded all the same, or one that lasts for a moment only.
template <typename T, typename Owner>
void assign(app::OwnedObserved<T, Owner>& field, std::type_identity_t<T> value) {
  app::ObservedTestPeer::assignable(field) = std::move(value);
}

template <typename T, typename Owner, typename Change>
void update(app::OwnedObserved<T, Owner>& field, Change&& change) {
  app::ObservedTestPeer::assignable(field).update(std::forward<Change>(change));
}

}  // namespace tolvander::tests
