#include "TolvanderCore/Platform/Calendar.h"

#include <unicode/basictz.h>
#include <unicode/timezone.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <utility>

#include "TolvanderCore/Foundation/LocalDateTime.h"
#include "TolvanderCore/Foundation/Precondition.h"

namespace tolvander {

// The zone is never changed, so ICU allows using it on several threads.
struct TimeZone::Rules {
  std::string name;
  std::unique_ptr<const icu::TimeZone> owner;
  const icu::BasicTimeZone& zone;  // the same object with its actual type
};

namespace {

constexpr std::string_view exifForm = "0000:00:00 00:00:00";

// Whether the time zone database has the name. ICU also accepts "GMT+3" and the like, and returns
// Etc/Unknown for anything else.
bool isInDatabase(const icu::UnicodeString& name) {
  icu::UnicodeString canonicalName;
  UBool isInDatabase = false;
  UErrorCode status = U_ZERO_ERROR;
  icu::TimeZone::getCanonicalID(name, canonicalName, isInDatabase, status);
  return U_SUCCESS(status) && isInDatabase && name != UCAL_UNKNOWN_ZONE_ID;
}

UDate millisecondsSince1970(std::chrono::sys_seconds time) {
  return static_cast<UDate>(time.time_since_epoch().count()) * U_MILLIS_PER_SECOND;
}

std::chrono::seconds inSeconds(std::int32_t rawOffset, std::int32_t daylightSaving) {
  return std::chrono::duration_cast<std::chrono::seconds>(
      std::chrono::milliseconds(rawOffset + daylightSaving));
}

// The offset of the zone from UTC at an instant.
std::chrono::seconds offsetAt(std::chrono::sys_seconds instant, const icu::BasicTimeZone& zone) {
  std::int32_t rawOffset = 0;
  std::int32_t daylightSaving = 0;
  UErrorCode status = U_ZERO_ERROR;
  zone.getOffset(millisecondsSince1970(instant), false, rawOffset, daylightSaving, status);
  precondition(U_SUCCESS(status), "a zone has an offset at every instant");
  return inSeconds(rawOffset, daylightSaving);
}

// The same for a local time. For one that occurs twice or never, the offset before the transition.
std::chrono::seconds offsetAtReading(LocalDateTime reading, const icu::BasicTimeZone& zone) {
  std::int32_t rawOffset = 0;
  std::int32_t daylightSaving = 0;
  UErrorCode status = U_ZERO_ERROR;
  zone.getOffsetFromLocal(millisecondsSince1970(reading), UCAL_TZ_LOCAL_FORMER, UCAL_TZ_LOCAL_FORMER,
                          rawOffset, daylightSaving, status);
  precondition(U_SUCCESS(status), "a zone has an offset at every reading of its clock");
  return inSeconds(rawOffset, daylightSaving);
}

// The name of a zone: "Europe/Berlin" of "/usr/share/zoneinfo/Europe/Berlin", ":Europe/Berlin" (tzset(3)),
// or itself.
std::string_view zoneName(std::string_view text) {
  constexpr std::string_view database = "/zoneinfo/";
  if (const std::size_t position = text.find(database); position != std::string_view::npos) {
    text.remove_prefix(position + database.size());
  }
  // The folder can contain the database three times: itself, without leap seconds, and with them.
  for (const std::string_view prefix : std::array<std::string_view, 3>{":", "posix/", "right/"}) {
    if (text.starts_with(prefix)) {
      text.remove_prefix(prefix.size());
    }
  }
  return text;
}

// The time zone of the machine: the link /etc/localtime (localtime(5)), or /etc/timezone on Debian.
std::optional<TimeZone> zoneOfTheMachine() {
  std::error_code isNoLink;
  const std::string link = std::filesystem::read_symlink("/etc/localtime", isNoLink).string();
  if (auto zone = TimeZone::named(zoneName(link))) {
    return zone;
  }
  std::string line;
  std::ifstream file("/etc/timezone");
  std::getline(file, line);
  return TimeZone::named(line);
}

}  // namespace

std::optional<TimeZone> TimeZone::named(std::string_view name) {
  const auto id =
      icu::UnicodeString::fromUTF8(icu::StringPiece(name.data(), static_cast<std::int32_t>(name.size())));
  if (!isInDatabase(id)) {
    return std::nullopt;
  }
  std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone(id));
  const auto* const basic = dynamic_cast<const icu::BasicTimeZone*>(zone.get());
  precondition(basic != nullptr, "every zone of the database has transition rules");
  return TimeZone(std::make_shared<const Rules>(Rules{std::string(name), std::move(zone), *basic}));
}

TimeZone TimeZone::current() {
  const char* const environment = getenv("TZ");
  const auto zone = environment != nullptr ? named(zoneName(environment)) : zoneOfTheMachine();
  return zone ? *zone : utc();
}

TimeZone TimeZone::utc() {
  static const std::optional<TimeZone> zone = named("UTC");
  precondition(zone.has_value(), "the database has UTC");
  return *zone;
}

const std::string& TimeZone::name() const { return rules_->name; }

std::string exifDateText(Date date, const TimeZone& zone) {
  const auto instant = std::chrono::floor<std::chrono::seconds>(date);
  return localDateTimeText(instant + offsetAt(instant, zone.rules().zone), exifForm);
}

std::optional<Date> dateFromLocalDateTime(LocalDateTime reading, const TimeZone& zone) {
  const std::chrono::sys_seconds instant = reading - offsetAtReading(reading, zone.rules().zone);
  return dateSince1970(instant.time_since_epoch().count());
}

std::optional<Date> dateFromExifText(std::string_view text, const TimeZone& zone) {
  const auto reading = localDateTimeFromText(text, exifForm);
  return reading ? dateFromLocalDateTime(*reading, zone) : std::nullopt;
}

}  // namespace tolvander
