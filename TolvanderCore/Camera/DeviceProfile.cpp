#include "TolvanderCore/DeviceProfile.h"

#include <array>
#include <utility>

#include "TolvanderCore/Foundation/HashCombine.h"

namespace tolvander {

namespace {

constexpr std::array kindTexts = {
    std::pair{DeviceProfile::Kind::charmera, std::string_view("charmera")},
    std::pair{DeviceProfile::Kind::standardCameraCard, std::string_view("standardCameraCard")},
    std::pair{DeviceProfile::Kind::customMountedVolume, std::string_view("customMountedVolume")},
};

// "CHARMERA" in hexadecimal, then the profile's number.
constexpr UUID builtInID(std::uint8_t number) {
  return UUID{{'C', 'H', 'A', 'R', 'M', 'E', 'R', 'A', 0x80, 0, 0, 0, 0, 0, 0, number}};
}

}  // namespace

constinit const UUID DeviceProfile::charmeraProfileID = builtInID(1);
constinit const UUID DeviceProfile::standardCameraProfileID = builtInID(2);

DeviceProfile DeviceProfile::charmera() {
  return {
      .id = charmeraProfileID,
      .name = "KODAK Charmera",
      .kind = Kind::charmera,
      .isEnabled = true,
      .mediaRoots = {"DCIM", "SPIDCIM"},
      .supportedExtensions = {"jpg", "jpeg", "heic", "png", "mov", "mp4", "avi"},
      .matchRules = {.volumeNames = {},
                     .volumeUUID = std::nullopt,
                     .requiredPaths = {"DCIM"},
                     .filenamePattern = R"(^PICT[0-9]{4,}\.(?i:jpe?g)$)"},
      .priority = 100,
      .securityScopedBookmark = std::nullopt,
  };
}

DeviceProfile DeviceProfile::standardCameraCard() {
  return {
      .id = standardCameraProfileID,
      .name = "Standard Camera Card",
      .kind = Kind::standardCameraCard,
      .isEnabled = false,
      .mediaRoots = {"DCIM"},
      .supportedExtensions = {"jpg", "jpeg", "heic", "png", "mov", "mp4"},
      .matchRules = {.volumeNames = {},
                     .volumeUUID = std::nullopt,
                     .requiredPaths = {"DCIM"},
                     .filenamePattern = std::nullopt},
      .priority = 10,
      .securityScopedBookmark = std::nullopt,
  };
}

std::vector<DeviceProfile> DeviceProfile::builtIns() { return {charmera(), standardCameraCard()}; }

std::string_view rawText(DeviceProfile::Kind kind) {
  for (const auto& [candidate, text] : kindTexts) {
    if (candidate == kind) {
      return text;
    }
  }
  return {};
}

std::optional<DeviceProfile::Kind> deviceProfileKind(std::string_view rawText) {
  for (const auto& [kind, text] : kindTexts) {
    if (text == rawText) {
      return kind;
    }
  }
  return std::nullopt;
}

}  // namespace tolvander

std::size_t std::hash<tolvander::DeviceProfile::MatchRules>::operator()(
    const tolvander::DeviceProfile::MatchRules& rules) const noexcept {
  return tolvander::hashOfFields(rules.volumeNames, rules.volumeUUID, rules.requiredPaths,
                                 rules.filenamePattern);
}

std::size_t std::hash<tolvander::DeviceProfile>::operator()(
    const tolvander::DeviceProfile& profile) const noexcept {
  return tolvander::hashOfFields(profile.id, profile.name, profile.kind, profile.isEnabled,
                                 profile.mediaRoots, profile.supportedExtensions, profile.matchRules,
                                 profile.priority, profile.securityScopedBookmark);
}
