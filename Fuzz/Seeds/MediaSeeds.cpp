// Writes the first inputs of the picture targets: MediaSeeds Fuzz/Corpus

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "Samples/JPEGBuilder.h"
#include "Samples/PictureFiles.h"

namespace {

using namespace tolvander::tests;

void write(const std::filesystem::path& folder, const std::string& name, const Bytes& content) {
  std::filesystem::create_directories(folder);
  std::ofstream stream(folder / name, std::ios::binary);
  stream.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
  if (!stream.flush()) {
    throw std::runtime_error("can't write " + (folder / name).string());
  }
}

void writeSeeds(const std::filesystem::path& corpus) {
  for (const NamedJPEG& file : namedJPEGs()) {
    write(corpus / "JPEG", file.name, file.bytes);
    // A Charmera's JPEG with a file date; PlanFuzz reads these choices from the first byte.
    write(corpus / "PlanFuzz", file.name, bytes({0x03}) + file.bytes);
  }
  const Bytes sound = namedJPEGs().front().bytes;
  for (int choices = 0; choices < 16; ++choices) {
    write(corpus / "PlanFuzz", "sound-" + std::to_string(choices), bytes({choices}) + sound);
  }
  const Bytes exif = TIFFBuilder().originalDate("2026:11:20 10:30:00").build();
  const Bytes exifChunk = chunk("eXIf", exif);
  const auto images = corpus / "ImagePropertiesFuzz";
  write(images, "png", pngWith(pictureData + pngEnd));
  write(images, "png-exif", pngWith(exifChunk + pictureData + pngEnd));
  write(images, "png-exif-behind", pngWith(pictureData + exifChunk + pngEnd));
  write(images, "heic", heicWith({}));
  write(images, "heic-exif", heicWithExif(bytes({0, 0, 0, 0}) + exif));
  write(images, "heic-exif-prefix", heicWithExif(bytes({0, 0, 0, 6, 'E', 'x', 'i', 'f', 0, 0}) + exif));
  write(images, "heic-many-items", heicWith(std::vector<std::vector<Extent>>(8, {{0, 64}, {8, 64}})));
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2) {
    std::fputs("usage: MediaSeeds CORPUS_FOLDER\n", stderr);
    return 2;
  }
  writeSeeds(arguments[1]);
  return 0;
}
