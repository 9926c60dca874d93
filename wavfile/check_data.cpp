// How long the sound is. The stated size stands when it leads to the end of the file or to another chunk;
// otherwise everything up to the end is sound, except chunks of known names that close the file exactly.
#include <cstddef>

#include "wavfile/check_chunks.h"

namespace cmm::check {

namespace {

constexpr std::uint64_t kSearchedForTail = 1 << 20;  // bytes at the end in which closing chunks are searched
constexpr std::size_t kMostInTail = 64;              // chunks that close a file

class Sound {
 public:
  Sound(Reader& file, Map& map)
      : file_(file),
        map_(map),
        data_(map.chunks.back()),
        first_(data_.Payload()),
        riffEnd_(map.riffSize + 8ull) {}

  void Settle() {
    const std::uint64_t stated = Stated();
    std::uint64_t end = file_.Size();
    const bool stands = StandsUpTo(stated, end);
    data_.size = stands ? stated : end - first_;
    const bool closed = !stands && TakeOffTail(end);
    TrimAndPad(closed);
    if (stands || closed) ListRest(end);
  }

 private:
  // The size that the file states; that of an RF64 file is in its first chunk.
  std::uint64_t Stated() {
    const Chunk& first = map_.chunks.front();
    if (map_.first != kRf64 || first.id != kDs64 || first.stated < 16 || data_.stated != 0xFFFFFFFF)
      return data_.stated;
    const std::uint64_t size =
        file_.Number(first.Payload() + 8) | std::uint64_t{file_.Number(first.Payload() + 12)} << 32;
    riffEnd_ = file_.Number(first.Payload()) + 8ull;
    return size != 0 ? size : data_.stated;
  }

  // Whether that size is right; `end` receives where the chunks end. An empty chunk counts only when the rest
  // is chunks that close the file: otherwise the 0 is a placeholder.
  bool StandsUpTo(std::uint64_t size, std::uint64_t& end) {
    const std::uint64_t all = file_.Size();
    if (size > all - first_) {
      ForeignEnd(end);
      return false;
    }
    const std::uint64_t next = Next(size);
    if (size == 0 ? next == all || Closes(next, all, kKnown) : Closes(next, all, kText)) return true;
    const bool inRiff = riffEnd_ >= first_ + size && riffEnd_ < all && Closes(next, riffEnd_, kAny);
    if (size != 0 && inRiff && (next < riffEnd_ || IsForeign(riffEnd_))) {
      end = riffEnd_;
      return true;
    }
    if (size != 0 && riffEnd_ == all && Closes(next, all, kAny)) return true;
    if (size != 0 && IsKnownName(file_.Number(next))) return true;
    if (size != 0 && (riffEnd_ == all ? IsTag(next) : IsForeign(next))) {
      end = next;
      return true;
    }
    ForeignEnd(end);
    return false;
  }

  // The sound ends with the RIFF chunk when what follows it cannot be sound.
  void ForeignEnd(std::uint64_t& end) {
    if (riffEnd_ > first_ && riffEnd_ < file_.Size() && !IsPlaceholder(map_.riffSize) && IsForeign(riffEnd_))
      end = riffEnd_;
  }

  // Where the next chunk begins behind sound of that size.
  std::uint64_t Next(std::uint64_t size) {
    Chunk chunk = data_;
    chunk.size = size;
    FindPad(file_, chunk);
    return chunk.End();
  }

  enum Names { kKnown, kText, kAny };
  // Zeros are no chunk without a name.
  bool IsName(const Chunk& chunk, Names names) {
    if (names == kAny) return chunk.id != 0 || chunk.stated != 0;
    return IsKnownName(chunk.id) || chunk.id == kData || (names == kText && IsText(chunk.id));
  }

  // Whether a chain of chunks leads from `at` to `end`.
  bool Closes(std::uint64_t at, std::uint64_t end, Names names) {
    for (std::size_t i = 0; i < kMostChunks && at + 8 <= end; ++i) {
      Chunk chunk = ChunkAt(file_, at);
      if (!IsName(chunk, names) || (names == kKnown && chunk.id == kData)) return false;
      FindPad(file_, chunk);
      at = chunk.End();
    }
    return at == end;
  }

  // Whether the bytes from there to the file's end are too few for sound, a tag or another file.
  bool IsTag(std::uint64_t at) {
    constexpr std::uint32_t kShort[] = {FourCc("ID3\0"), FourCc("TAG\0")}, kThreeLetters = 0xFFFFFF;
    constexpr std::uint32_t kLong[] = {kRiff, FourCc("APET"), FourCc("LYRI")};
    const std::uint32_t id = file_.Number(at);
    return file_.Size() - at < Block() || IsKnownName(id) ||
           std::find(std::begin(kShort), std::end(kShort), id & kThreeLetters) != std::end(kShort) ||
           std::find(std::begin(kLong), std::end(kLong), id) != std::end(kLong);
  }
  // Besides, they may be zeros, as those of a disk's last block.
  bool IsForeign(std::uint64_t at) { return IsTag(at) || IsZero(at); }

  // The bytes that belong together: a frame, a block of ADPCM, or 1 for formats with blocks of any length.
  std::uint64_t Block() {
    const Chunk* const format = map_.Find(kFormat);
    if (format == nullptr) return 1;
    const auto number = [&](std::uint32_t offset) { return file_.Number(format->Payload() + offset, 2); };
    const std::uint32_t tag = number(0), channels = number(2), block = number(12), bits = number(14);
    const bool adpcm = tag == WAVE_FORMAT_ADPCM || tag == WAVE_FORMAT_DVI_ADPCM;
    const bool varies = tag > WAVE_FORMAT_MULAW && tag != 0xFFFE && !adpcm;
    if (varies || block == 0) return 1;
    const std::uint32_t frame = (bits + 7) / 8 * channels;
    return adpcm || frame == 0 ? block : frame;
  }

  // Looks at 64 places of a long stretch, the first and the last among them.
  bool IsZero(std::uint64_t at) {
    constexpr std::uint64_t kPlaces = 64, kBytes = 4096;
    const std::uint64_t left = file_.Size() - at;
    const std::uint64_t step = left <= kPlaces * kBytes ? kBytes : (left - kBytes) / (kPlaces - 1);
    for (std::uint64_t from = 0; from < left; from += step) {
      char bytes[kBytes];
      const auto count = static_cast<std::uint32_t>(std::min(kBytes, left - from));
      if (!file_.Read(at + from, bytes, count)) return false;
      if (std::any_of(bytes, bytes + count, [](char byte) { return byte != 0; })) return false;
    }
    return true;
  }

  // Takes the chunks that close the file off the sound. They are searched backwards: a chunk counts when it
  // ends at the end, or where one that counts begins. @return whether there are any
  bool TakeOffTail(std::uint64_t end) {
    std::uint64_t starts[kMostInTail] = {end};
    std::size_t count = 1;
    const std::uint64_t lowest = std::max(first_, end > kSearchedForTail ? end - kSearchedForTail : 0);
    for (std::uint64_t at = (end & ~1ull); at >= lowest + 2 && count < kMostInTail;) {
      at -= 2;
      if (at + 8 > end || !IsKnownName(file_.Number(at))) continue;
      const std::uint64_t after = at + 8 + file_.Number(at + 4), padded = after + after % 2;
      for (std::size_t i = 0; i < count; ++i) {
        if (starts[i] != padded && starts[i] != after) continue;
        starts[count++] = at;
        break;
      }
    }
    data_.size = starts[count - 1] - first_;
    return count > 1;
  }

  // Takes a last block that is not complete off the sound, and tells a pad byte from a sample.
  void TrimAndPad(bool closed) {
    const std::uint64_t rest = data_.size % Block();
    if (data_.size != data_.stated && (!closed || rest == 1)) data_.size -= rest;
    FindPad(file_, data_);
    map_.chunks.back() = data_;
  }

  // Lists the chunks behind the sound. One that is cut gets the size that is left; so does one that leads to
  // no name.
  void ListRest(std::uint64_t end) {
    const std::uint64_t all = file_.Size();
    const std::size_t first = map_.chunks.size();
    for (std::uint64_t at = map_.End(); at + 8 <= end; at = map_.End()) {
      Chunk chunk = ChunkAt(file_, at);
      if (!IsName(chunk, riffEnd_ == end ? kAny : kText)) return;
      if (map_.chunks.size() == kMostChunks) {
        map_.tooMany = true;
        return;
      }
      if (chunk.PayloadEnd() > all && !IsKnownName(chunk.id) && map_.chunks.size() > first) {
        chunk = map_.chunks.back();
        map_.chunks.pop_back();
        chunk.size = all - chunk.Payload();
      }
      if (chunk.PayloadEnd() > all) chunk.size = all - chunk.Payload();
      FindPad(file_, chunk);
      map_.chunks.push_back(chunk);
    }
  }

  Reader& file_;
  Map& map_;
  Chunk data_;
  std::uint64_t first_;
  std::uint64_t riffEnd_;
};

}  // namespace

void SettleData(Reader& file, Map& map) {
  Sound(file, map).Settle();
}

}  // namespace cmm::check
