#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <vector>

namespace tolvander {

// hashOfFields combines the hashes of all fields of a value type into one, in the order of the fields:
//
//   std::size_t hash = hashOfFields(value.name, value.dates);

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
  // An arbitrary constant, so that an absent value and a default one have different hashes.
  return value ? hashOfField(*value) : 0x5bd1e995U;
}

template <typename... Fields>
std::size_t hashOfFields(const Fields&... fields) {
  std::uint64_t seed = sizeof...(Fields);
  // SplitMix64 (Steele, Lea, Flood 2014): std::hash returns whole numbers unchanged, and with a plain sum and
  // shift two thirds of all neighbouring pairs of numbers would have the same hash.
  const auto mix = [&seed](std::uint64_t hash) {
    seed += hash + 0x9e3779b97f4a7c15ULL;
    seed = (seed ^ (seed >> 30U)) * 0xbf58476d1ce4e5b9ULL;
    seed = (seed ^ (seed >> 27U)) * 0x94d049bb133111ebULL;
    seed ^= seed >> 31U;
  };
  (mix(hashOfField(fields)), ...);
  return static_cast<std::size_t>(seed);
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
