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

// The format of a file of preferences, version 1: a pretty-printed JSON object (RFC 8259) with "version" and
// "values", an object of keys and values. A boolean is a JSON boolean, a text a JSON string, and bytes are
// an object with the only key "base64" (RFC 4648, section 4):
//
//   {
//     "version" : 1,
//     "values" : { "addToAlbum" : true, "albumName" : "Trips", "receipt" : { "base64" : "e30=" } }
//   }
//
// Decoding is strict: anything else, including another version and values of another type, throws
// DecodingError, because writing the rest back would lose it. Pure functions, safe on every thread.
std::string encodeUserDefaults(const UserDefaultsValues& values);
UserDefaultsValues decodeUserDefaults(std::span<const std::byte> json);

}  // namespace tolvander::platform::linux_
