#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "TolvanderApp/Platform/UserDefaults.h"

namespace tolvander::shell {

// Preferences with values of this run on top of the stored ones. Such a value is never stored; a change of
// its key goes to what is stored, and counts from then on.
class RunDefaults final : public app::UserDefaults {
 public:
  using Value = std::variant<bool, std::string>;
  using Values = std::map<std::string, Value, std::less<>>;

  // `stored` outlives this object.
  RunDefaults(app::UserDefaults& stored, Values values) : stored_(stored), values_(std::move(values)) {}

  std::optional<bool> boolean(std::string_view key) const override;
  std::optional<std::string> string(std::string_view key) const override;
  std::optional<Data> data(std::string_view key) const override;
  void setBoolean(std::string_view key, bool value) override;
  void setString(std::string_view key, std::string_view text) override;
  void setData(std::string_view key, std::span<const std::byte> bytes) override;
  void remove(std::string_view key) override;

 private:
  template <typename T>
  std::optional<T> ofThisRun(std::string_view key) const;
  void forget(std::string_view key);

  app::UserDefaults& stored_;
  Values values_;
};

// Stored preferences as they can be read; changes are dropped. For who only looks.
class UnchangedDefaults final : public app::UserDefaults {
 public:
  // `stored` outlives this object.
  explicit UnchangedDefaults(const app::UserDefaults& stored) : stored_(stored) {}

  std::optional<bool> boolean(std::string_view key) const override { return stored_.boolean(key); }
  std::optional<std::string> string(std::string_view key) const override { return stored_.string(key); }
  std::optional<Data> data(std::string_view key) const override { return stored_.data(key); }
  void setBoolean(std::string_view, bool) override {}
  void setString(std::string_view, std::string_view) override {}
  void setData(std::string_view, std::span<const std::byte>) override {}
  void remove(std::string_view) override {}

 private:
  const app::UserDefaults& stored_;
};

}  // namespace tolvander::shell
