#include "Tests/Support/Fixtures/SmallCard.h"

#include <filesystem>
#include <string>

#include "Samples/JPEGBuilder.h"
#include "Samples/TestClip.h"
#include "Tests/Support/Machine/TemporaryFolder.h"

namespace tolvander::tests {

FileURL onSmallCard(const FileURL& card, std::string_view name) {
  return card.appending("DCIM/100CHRM").appending(name);
}

void makeSmallCard(const FileURL& card) {
  std::filesystem::create_directories(card.appending("DCIM/100CHRM").path());
  std::filesystem::create_directories(card.appending("SPIDCIM").path());
}

void addSmallPhoto(const FileURL& card, std::string_view name, unsigned picture, unsigned minute) {
  const std::string time = "2026:11:20 12:" + std::string(minute < 10 ? "0" : "") + std::to_string(minute);
  const Bytes photo = JPEGBuilder()
                          .exif(TIFFBuilder().originalDate(time + ":00"))
                          .quantisationTable()
                          .huffmanTable()
                          .frame(640, 480)
                          .scan(entropyCodedData(200, picture + 1))
                          .endOfImage()
                          .build();
  writeFile(onSmallCard(card, name), {reinterpret_cast<const char*>(photo.data()), photo.size()});
}

void addSmallVideo(const FileURL& card, std::string_view name, unsigned seed) {
  writeClip(onSmallCard(card, name), {.frames = 4, .seed = seed});
}

}  // namespace tolvander::tests
