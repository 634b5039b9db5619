#include "Shells/CommandLine/Session/RunDefaults.h"

namespace tolvander::shell {

template <typename T>
std::optional<T> RunDefaults::ofThisRun(std::string_view key) const {
  const auto found = values_.find(key);
  const T* const value = found != values_.end() ? std::get_if<T>(&found->second) : nullptr;
  return value != nullptr ? std::optional(*value) : std::nullopt;
}

std::optional<bool> RunDefaults::boolean(std::string_view key) const {
  return values_.contains(key) ? ofThisRun<bool>(key) : stored_.boolean(key);
}

std::optional<std::string> RunDefaults::string(std::string_view key) const {
  return values_.contains(key) ? ofThisRun<std::string>(key) : stored_.string(key);
}

std::optional<RunDefaults::Data> RunDefaults::data(std::string_view key) const {
  return values_.contains(key) ? std::nullopt : stored_.data(key);
}

void RunDefaults::setBoolean(std::string_view key, bool value) {
  stored_.setBoolean(key, value);
  forget(key);
}

void RunDefaults::setString(std::string_view key, std::string_view text) {
  stored_.setString(key, text);
  forget(key);
}

void RunDefaults::setData(std::string_view key, std::span<const std::byte> bytes) {
  stored_.setData(key, bytes);
  forget(key);
}

void RunDefaults::remove(std::string_view key) {
  stored_.remove(key);
  forget(key);
}

void RunDefaults::forget(std::string_view key) {
  if (const auto found = values_.find(key); found != values_.end()) {
    values_.erase(found);
  }
}

}  // namespace tolvander::shell
