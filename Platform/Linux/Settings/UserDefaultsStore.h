#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace tolvander::platform::linux_ {

using UserDefaultsValue = std::variant<bool, std::string, std::vector<std::byte>>;
using UserDefaultsValues = std::map<std::string, UserDefaultsValue, std::less<>>;

// The form of a file of preferences, version 1: a pretty-printed JSON object with "version" and "values", an
// object from key to value. A boolean is a JSON boolean, a text a JSON string, and bytes are an object with
// the one key "base64" (RFC 4648, section 4):
//   { "version" : 1, "values" : { "addToAlbum" : true, "albumName" : "Trips", "receipt" : { "base64" : "e30="
//   } } }
//
// Reading is strict: whatever is not of this form, another version or another type of value among it, fails
// as a whole with DecodingError, since writing the rest back would lose it.
std::string encodeUserDefaults(const UserDefaultsValues& values);
UserDefaultsValues decodeUserDefaults(std::span<const std::byte> json);

}  // namespace tolvander::platform::linux_
