#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <set>
#include <vector>

namespace tolvander {

// One hash value over all fields of a value type, in their order.

template <typename Value>
std::size_t hashOfField(const Value& value) {
  return std::hash<Value>()(value);
}

template <typename Clock, typename Duration>
std::size_t hashOfField(const std::chrono::time_point<Clock, Duration>& instant) {
  return hashOfField(instant.time_since_epoch().count());
}

template <typename Range>
std::size_t hashOfElements(const Range& range);

template <typename Element>
std::size_t hashOfField(const std::vector<Element>& list) {
  return hashOfElements(list);
}

template <typename Element>
std::size_t hashOfField(const std::set<Element>& set) {
  return hashOfElements(set);
}

template <typename Value>
std::size_t hashOfField(const std::optional<Value>& value) {
  // Apart from any one value's hash by its own constant, so that absent and default differ.
  return value ? hashOfField(*value) : 0x5bd1e995U;
}

template <typename... Fields>
std::size_t hashOfFields(const Fields&... fields) {
  std::size_t seed = sizeof...(Fields);
  const auto mix = [&seed](std::size_t hash) {
    // The golden ratio's fraction spreads neighbouring values; the shifts let every field reach every bit.
    seed ^= hash + 0x9e3779b97f4a7c15ULL + (seed << 6U) + (seed >> 2U);
  };
  (mix(hashOfField(fields)), ...);
  return seed;
}

template <typename Range>
std::size_t hashOfElements(const Range& range) {
  std::size_t seed = range.size();
  for (const auto& element : range) {
    seed = hashOfFields(seed, element);
  }
  return seed;
}

}  // namespace tolvander
