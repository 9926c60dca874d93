// Reads any input as the player does. Run: build/clang/bin/play_read -max_len=4096 CORPUS
//
// It starts from a few valid files of its own, so that an empty folder will do as CORPUS.
#include <string>
#include <vector>

#include "fuzz/wav_files.h"
#include "platform/posix/playback/wave_reader.h"

namespace {

const std::vector<std::string>& Seeds() {
  static const std::vector<std::string> seeds = {
      WaveFile({1, 2, 8000, 32000, 4, 16, 0}), WaveFile({1, 3, 8000, 72000, 9, 20, 0}),
      WaveFile({7, 2, 8000, 16000, 2, 8, 0}),
      WaveFile({17, 1, 8000, 4066, 36, 4, 0}, std::string("\x41\0", 2)),
      WaveFile({0xFFFE, 2, 8000, 48000, 6, 24, 0},
               std::string("\x18\0\3\0\0\0\1\0\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 22))};
  return seeds;
}

// The complete sound, from its begin on; whole frames in each piece.
std::vector<BYTE> ReadAll(platform::detail::WaveReader& reader) {
  std::vector<BYTE> sound;
  if (reader.Rewind() != 0) return sound;
  Require(reader.Format().wFormatTag == WAVE_FORMAT_PCM && reader.Format().nBlockAlign != 0);
  for (auto piece = reader.Next(); !piece.empty(); piece = reader.Next()) {
    Require(piece.size() % reader.Format().nBlockAlign == 0);
    sound.insert(sound.end(), piece.begin(), piece.end());
  }
  return sound;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const MemoryFile file;
  file.Set(data, size);
  platform::detail::WaveReader reader;
  if (reader.Open(file.path.c_str()) != 0) return 0;
  const std::vector<BYTE> sound = ReadAll(reader);
  Require(sound.size() <= size * 4 + 65536 && ReadAll(reader) == sound);
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
  return MutateFrom(Seeds(), data, size, maxSize, seed);
}
