// The chunks in front of the samples. A size that leads nowhere is replaced by the distance to the next known
// name.
#include "wavfile/check_chunks.h"

#include "wavfile/check_rules.h"

namespace cmm::check {

namespace {

constexpr std::uint64_t kSearched = 65536;  // bytes behind a broken chunk in which the next name is searched
constexpr std::uint64_t kSearchedForFormat = 1024;  // bytes at the front, when the RIFF header is lost

class Walk {
 public:
  Walk(Reader& file, Map& map) : file_(file), map_(map) {}

  // Lists chunks from an offset on, up to "data". False when there is none, or a chunk leads nowhere.
  bool To(std::uint64_t at) {
    while (at + 8 <= file_.Size()) {
      if (map_.chunks.size() == kMostChunks) {
        map_.tooMany = true;
        return false;
      }
      Chunk chunk = ChunkAt(file_, at);
      if (chunk.id == 0 && chunk.stated == 0) return false;
      FindPad(file_, chunk);
      map_.chunks.push_back(chunk);
      if (chunk.id == kData) return true;
      if (chunk.PayloadEnd() > file_.Size()) return false;
      at = chunk.End();
    }
    return false;
  }

  // Takes the first chunk that is not followed by a name for the broken one, or else one before it, and goes
  // on at the next known name. False when there is no such name.
  bool Resume() {
    std::size_t broken = 0;
    while (broken + 1 < map_.chunks.size() && IsText(map_.chunks[broken + 1].id)) ++broken;
    for (std::size_t i = std::min(broken + 1, map_.chunks.size()); i-- > 0;) {
      Chunk& chunk = map_.chunks[i];
      const std::uint64_t next = NextName(chunk);
      if (next == 0 || next == chunk.End()) continue;
      chunk.size = next - chunk.Payload();
      chunk.padded = false;
      map_.chunks.resize(i + 1);
      return To(next);
    }
    return false;
  }

  // The chunk that has the content of a format, or whose name is nearly "data".
  Chunk* Resembling(std::uint32_t name) {
    for (Chunk& chunk : map_.chunks) {
      if (IsKnownName(chunk.id) || chunk.id == kData) continue;
      int same = 0;
      for (int shift = 0; shift < 32; shift += 8) same += (chunk.id >> shift & 255) == (name >> shift & 255);
      const bool isFormat = name == kFormat && LooksLikeFormat(file_, chunk);
      const bool isData = name == kData && (same >= 2 || chunk.id == 0) && map_.Find(kFormat) != nullptr;
      if (isFormat || isData) return &chunk;
    }
    return nullptr;
  }

  bool TakeLostData() {
    Chunk* lost = Resembling(kData);
    if (lost == nullptr) lost = OnlyUnknownOne();
    if (lost == nullptr) return false;
    lost->id = kData;
    map_.chunks.resize(static_cast<std::size_t>(lost - map_.chunks.data()) + 1);
    return true;
  }

 private:
  // The chunk behind the format whose name is not known; null when there are several, or the chunks do not
  // lead to the file's end.
  Chunk* OnlyUnknownOne() {
    if (map_.End() != file_.Size()) return nullptr;
    Chunk* only = nullptr;
    bool behindFormat = false;
    for (Chunk& chunk : map_.chunks) {
      if (chunk.id == kFormat) behindFormat = true;
      if (!behindFormat || IsKnownName(chunk.id)) continue;
      if (only != nullptr) return nullptr;
      only = &chunk;
    }
    return only;
  }

  // Where the first known name behind the chunk's header is; 0 for none. A format has at least 16 bytes.
  std::uint64_t NextName(const Chunk& chunk) {
    const std::uint64_t from = chunk.Payload() + (chunk.id == kFormat ? 16 : 0);
    for (std::uint64_t at = from; at < from + kSearched && at + 8 <= file_.Size(); ++at) {
      const std::uint32_t id = file_.Number(at);
      if (id == kData || (IsKnownName(id) && at + 8 + file_.Number(at + 4) <= file_.Size())) return at;
    }
    return 0;
  }

  Reader& file_;
  Map& map_;
};

// A file whose first bytes are lost is known by its "fmt " chunk.
void FindStart(Reader& file, Map& map) {
  map.start = 12;
  map.startLost = true;
  if (LooksLikeFormat(file, ChunkAt(file, 12))) return;
  for (std::uint64_t at = 0; at < kSearchedForFormat && at + 8 <= file.Size(); ++at) {
    const Chunk chunk = ChunkAt(file, at);
    if (chunk.id != kFormat || !LooksLikeFormat(file, chunk)) continue;
    map.start = at;
    return;
  }
}

}  // namespace

const Chunk* Map::Find(std::uint32_t id, const Chunk* after) const {
  const Chunk* const end = chunks.data() + chunks.size();
  for (const Chunk* chunk = after != nullptr ? after + 1 : chunks.data(); chunk < end; ++chunk) {
    if (chunk->id == id) return chunk;
  }
  return nullptr;
}

bool IsPlaceholder(std::uint32_t size) {
  return size == 0 || size == 8 || size == 36 || size >= 0xFFFFF000 ||
         (size >= 0x7FFFF000 && size <= 0x80000000);
}

bool IsKnownName(std::uint32_t id) {
  switch (id) {
    case kFormat:
    case kFact:
    case kJunk:
    case kDs64:
    case FourCc("LIST"):
    case FourCc("bext"):
    case FourCc("iXML"):
    case FourCc("axml"):
    case FourCc("id3 "):
    case FourCc("ID3 "):
    case FourCc("cue "):
    case FourCc("smpl"):
    case FourCc("inst"):
    case FourCc("plst"):
    case FourCc("PEAK"):
    case FourCc("cart"):
    case FourCc("chna"):
    case FourCc("acid"):
    case FourCc("afsp"):
    case FourCc("DISP"):
    case FourCc("umid"):
    case FourCc("_PMX"):
    case FourCc("link"):
    case FourCc("levl"):
    case FourCc("minf"):
    case FourCc("elm1"):
    case FourCc("regn"):
    case FourCc("strc"):
    case FourCc("mext"):
    case FourCc("PAD "):
    case FourCc("FLLR"):
    case FourCc("junk"):
      return true;
    default:
      return false;
  }
}

bool IsText(std::uint32_t id) {
  for (int shift = 0; shift < 32; shift += 8) {
    const std::uint32_t letter = id >> shift & 255;
    if (letter < 0x20 || letter > 0x7E) return false;
  }
  return true;
}

bool LooksLikeFormat(Reader& file, const Chunk& chunk) {
  const std::uint64_t at = chunk.Payload();
  const std::uint32_t channels = file.Number(at + 2, 2), rate = file.Number(at + 4);
  const std::uint32_t byteRate = file.Number(at + 8), block = file.Number(at + 12, 2);
  return chunk.stated >= 16 && chunk.stated <= 1024 && IsKnownTag(file.Number(at, 2)) && channels > 0 &&
         channels <= 256 && rate > 0 && block > 0 && byteRate > 0 && byteRate / block <= rate;
}

Chunk ChunkAt(Reader& file, std::uint64_t at) {
  const std::uint32_t id = file.Number(at), size = file.Number(at + 4);
  return {at, id, id, size, size, false};
}

void FindPad(Reader& file, Chunk& chunk) {
  chunk.padded = false;
  const std::uint64_t end = chunk.PayloadEnd();
  if (chunk.size % 2 == 0 || end >= file.Size()) return;
  const auto isName = [](std::uint32_t id) { return id == kData || IsKnownName(id); };
  chunk.padded = !isName(file.Number(end)) || isName(file.Number(end + 1));
}

Map FindChunks(Reader& file) {
  Map map;
  map.first = file.Number(0);
  map.riffSize = file.Number(4);
  map.form = file.Number(8);
  if (map.first != kRiff && map.first != kRf64) FindStart(file, map);
  Walk walk(file, map);
  constexpr int kMostBroken = 8;  // chunks with wrong sizes in one file
  bool found = walk.To(map.start);
  if (map.Find(kFormat) == nullptr) {
    if (Chunk* const lost = walk.Resembling(kFormat)) lost->id = kFormat;
  }
  if (!found) found = walk.TakeLostData();
  for (int i = 0; !found && i < kMostBroken && !map.tooMany; ++i) found = walk.Resume();
  if (!found) found = walk.TakeLostData();
  if (found) SettleData(file, map);
  return map;
}

}  // namespace cmm::check
