// Writes the first inputs of the movie targets: MovieSeeds Fuzz/Corpus

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "Samples/AVIWriter.h"
#include "Samples/CameraClip.h"
#include "Samples/TestClip.h"
#include "TolvanderCore/Platform/Movie.h"

namespace {

using namespace tolvander;
using namespace tolvander::tests;

struct NamedClip {
  std::string name;
  TestClip clip;
};

TestClip clipWith(const AVIAudioFormat& audio) {
  TestClip clip;
  clip.header.width = 16;
  clip.header.height = 16;
  clip.header.audio = {audio};
  clip.frames = 4;
  clip.audioChunkBytes = audio.samplesPerBlock > 1 ? audio.blockAlign : 24;
  return clip;
}

std::vector<NamedClip> namedClips() {
  std::vector<NamedClip> clips = {{"pcm8", clipWith(AVIAudioFormat::pcm8())},
                                  {"pcm16", clipWith(AVIAudioFormat::pcm16(2))},
                                  {"mu-law", clipWith(AVIAudioFormat::muLaw())},
                                  {"ima", clipWith(AVIAudioFormat::imaADPCM())},
                                  {"ms", clipWith(AVIAudioFormat::microsoftADPCM())}};
  TestClip clip = clipWith(AVIAudioFormat::pcm16());
  const auto add = [&](const std::string& name) {
    clips.push_back({name, clip});
    clip = clipWith(AVIAudioFormat::pcm16());
  };
  clip.repeatedFrames = {0, 2, 3};
  add("repeated-frames");
  clip.header.chunksPerRIFF = 3;
  add("opendml");
  clip.header.index = AVIIndex::half;
  add("half-index");
  clip.header.index = AVIIndex::none;
  add("no-index");
  clip.header.videoStreams = 2;
  clip.header.textStream = true;
  add("many-streams");
  clip.header.audio.clear();
  add("silent");
  return clips;
}

struct NamedCameraClip {
  std::string name;
  CameraClip clip;
};

// Both packers' habits, with slips that don't hide each other.
std::vector<NamedCameraClip> namedCameraClips() {
  std::vector<NamedCameraClip> clips;
  for (const AVIPacker packer : bothAVIPackers) {
    CameraClip clip{.packer = packer, .slots = 5, .missing = {1, 3}, .soundRate = 240, .bufferSize = 4096};
    clip.header.width = 16;
    clip.header.height = 16;
    const std::string habit = packer == AVIPacker::v20130103 ? "packer-repeats" : "packer-buffer-sizes";
    clips.push_back({habit, clip});
    clip.header.alignment = 4;
    clip.header.padsOddChunks = false;
    clip.header.indexBase = AVIIndexBase::fileStart;
    clip.header.behindIndex = "made by a camera";
    clip.header.dataStreams = {"dats"};
    clip.header.movieSizeError = -4;
    clips.push_back({habit + "-slips", clip});
  }
  return clips;
}

// Writes the QuickTime movie of the clip in `avi`.
void addMovie(const FileURL& corpus, const FileURL& avi, const std::string& name) {
  const FileURL movie = corpus.appending("MovieReadBackFuzz").appending(name + ".mov");
  std::filesystem::remove(movie.path());
  platformMovieExporter()->exportMovie(
      Movie(avi),
      {.destination = movie, .creationDate = "2026-11-15T19:13:17Z", .fileLengthLimit = 1'000'000}, {});
}

void writeSeeds(const FileURL& corpus) {
  for (const char* folder : {"AVI", "MovieReadBackFuzz"}) {
    std::filesystem::create_directories(corpus.appending(folder).path());
  }
  const auto aviOf = [&](const std::string& name) {
    return corpus.appending("AVI").appending(name + ".avi");
  };
  for (const NamedClip& named : namedClips()) {
    writeClip(aviOf(named.name), named.clip);
    addMovie(corpus, aviOf(named.name), named.name);
  }
  for (const NamedCameraClip& named : namedCameraClips()) {
    writeCameraClip(aviOf(named.name), named.clip);
    addMovie(corpus, aviOf(named.name), named.name);
  }
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2) {
    std::fputs("usage: MovieSeeds CORPUS_FOLDER\n", stderr);
    return 2;
  }
  writeSeeds(FileURL(std::filesystem::absolute(arguments[1]).string()));
  return 0;
}
