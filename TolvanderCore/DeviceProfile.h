#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander {

// Describes one kind of camera: how to recognise its volume, and in which folders its media are.
struct DeviceProfile {
  // Selects the detection rules.
  enum class Kind { charmera, standardCameraCard, customMountedVolume };

  struct MatchRules {
    std::vector<std::string> volumeNames;        // evidence, compared without regard to case
    std::optional<std::string> volumeUUID;       // evidence, compared exactly
    std::vector<std::string> requiredPaths;      // below the volume root; all must exist
    std::optional<std::string> filenamePattern;  // regular expression, searched for in file names

    friend bool operator==(const MatchRules&, const MatchRules&) = default;
  };

  UUID id;
  std::string name;
  Kind kind = Kind::customMountedVolume;
  bool isEnabled = false;                     // a disabled profile never takes part in detection
  std::vector<std::string> mediaRoots;        // folders below the volume root, in search order
  std::set<std::string> supportedExtensions;  // lower case, without a dot
  MatchRules matchRules;
  std::int64_t priority = 0;  // higher is tried first
  // Opaque saved access to one volume; present only on a profile that was made from a grant.
  std::optional<std::vector<std::byte>> securityScopedBookmark;

  // The identities of the built-in profiles. Saved grants and histories refer to them: they never change.
  static const UUID charmeraProfileID;
  static const UUID standardCameraProfileID;

  static DeviceProfile charmera();

  // Any ordinary DCIM card. Disabled until the user enables it, so that no card is read without consent.
  static DeviceProfile standardCameraCard();

  // The two above, the Charmera first.
  static std::vector<DeviceProfile> builtIns();

  friend bool operator==(const DeviceProfile&, const DeviceProfile&) = default;
};

// The text for a kind in stored profiles.
std::string_view rawText(DeviceProfile::Kind kind);
std::optional<DeviceProfile::Kind> deviceProfileKind(std::string_view rawText);

}  // namespace tolvander

template <>
struct std::hash<tolvander::DeviceProfile::MatchRules> {
  std::size_t operator()(const tolvander::DeviceProfile::MatchRules& rules) const noexcept;
};

template <>
struct std::hash<tolvander::DeviceProfile> {
  std::size_t operator()(const tolvander::DeviceProfile& profile) const noexcept;
};
