#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/HistoryDatabase.h"
#include "TolvanderCore/ImportHistorySummary.h"
#include "TolvanderCore/JSON/DecodingError.h"

using namespace tolvander;

namespace {

std::string written(const HistoryDatabase& database) {
  std::string text;
  writeHistory(database, [&text](std::span<const std::byte> bytes) {
    text.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  });
  return text;
}

}  // namespace

// Whatever can be read can be written, and comes back from that the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  HistoryDatabase database;
  try {
    database = readHistory(std::as_bytes(std::span(data, size)));
  } catch (const DecodingError&) {
    return 0;
  }
  const std::string text = written(database);
  precondition(readHistory(std::as_bytes(std::span(text))) == database, "a history survives being saved");
  precondition(written(database) == text, "a history is written in one form");
  const auto summary = ImportHistorySummary::of(database.imports);
  precondition(summary.uniquePhotoCount + summary.uniqueVideoCount <=
                   static_cast<std::int64_t>(database.imports.size()),
               "there are no more items than records");
  return 0;
}
