#pragma once
// Where the chunks of a file lie, found without trusting any size in it.

#include <cstdint>
#include <vector>

#include "wavfile/check_reader.h"

namespace cmm::check {

inline constexpr std::uint32_t kRiff = FourCc("RIFF");
inline constexpr std::uint32_t kRf64 = FourCc("RF64");
inline constexpr std::uint32_t kWave = FourCc("WAVE");
inline constexpr std::uint32_t kFormat = FourCc("fmt ");
inline constexpr std::uint32_t kFact = FourCc("fact");
inline constexpr std::uint32_t kData = FourCc("data");
inline constexpr std::uint32_t kDs64 = FourCc("ds64");
inline constexpr std::uint32_t kJunk = FourCc("JUNK");

struct Chunk {
  std::uint64_t at;      // of its identifier
  std::uint32_t id;      // what it is taken for
  std::uint32_t nameIs;  // in the file; another than `id` when that was lost
  std::uint32_t stated;  // the size in the file
  std::uint64_t size;    // the size that it has
  bool padded;           // a pad byte follows; only behind an odd size

  std::uint64_t Payload() const { return at + 8; }
  std::uint64_t PayloadEnd() const { return at + 8 + size; }
  std::uint64_t End() const { return PayloadEnd() + (padded ? 1 : 0); }
};

/// What a file's sound looks like, besides its chunks.
struct Map {
  std::uint32_t first = 0, riffSize = 0, form = 0;  // the first 12 bytes
  std::uint64_t start = 12;   // of the first chunk; smaller when bytes at the front are gone
  bool startLost = false;     // the first bytes are none of a known kind
  std::vector<Chunk> chunks;  // in the order of the file
  bool tooMany = false;       // there are more, which are not looked at
  const Chunk* Find(std::uint32_t id, const Chunk* after = nullptr) const;
  std::uint64_t End() const { return chunks.empty() ? start : chunks.back().End(); }
};

/// Whether a size is one that writers put in until they know the right one.
bool IsPlaceholder(std::uint32_t size);
/// Whether it is the name of a chunk that WAV files have, "data" excepted.
bool IsKnownName(std::uint32_t id);
/// Whether all its letters are printable.
bool IsText(std::uint32_t id);
/// Whether the chunk has a sensible format.
bool LooksLikeFormat(Reader& file, const Chunk& chunk);

/// Lists the chunks up to and with "data", whose size is still the stated one. Chunks with wrong sizes get
/// the right ones; a lost "fmt " or "data" is known again by what is left of its name.
Map FindChunks(Reader& file);

/// Decides how long the sound is, and lists the chunks behind it.
void SettleData(Reader& file, Map& map);

// For these two:

/// @return the chunk whose header lies at an offset, with the size that it states
Chunk ChunkAt(Reader& file, std::uint64_t at);
/// Sets whether the chunk has a pad byte: not where the next name begins at once, nor at the file's end.
void FindPad(Reader& file, Chunk& chunk);
inline constexpr std::size_t kMostChunks = 1024;  // that are looked at

}  // namespace cmm::check
