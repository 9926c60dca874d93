#include "wavfile/check_copy.h"

namespace cmm::check {

namespace {

void Append(std::vector<std::uint8_t>& bytes, std::uint64_t number, int count) {
  for (int i = 0; i < count; ++i) bytes.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
}

}  // namespace

void EditedReader::Edit(const Findings& findings) {
  for (const Finding& finding : findings) {
    if (Width(finding.cure) > 0) edits_.push_back(finding);
  }
  SetSize(file_.Size());
}

bool EditedReader::Fetch(std::uint64_t start, char* to, std::uint32_t bytes) {
  if (!file_.Read(start, to, bytes)) return false;
  for (const Finding& edit : edits_) {
    for (std::uint32_t i = 0; i < Width(edit.cure); ++i) {
      const std::uint64_t at = edit.told.offset + i;
      if (at >= start && at < start + bytes)
        to[at - start] = static_cast<char>(edit.told.expected >> (8 * i));
    }
  }
  return true;
}

CopyReader::CopyReader(Reader& file, const Diagnosis& diagnosis, const Format& given) : file_(file) {
  AddChunks(diagnosis, given);
  std::uint64_t size = 4;
  for (const Piece& piece : pieces_) size += piece.Size();
  Piece header = {{}, 0, 0};
  Append(header.bytes, kRiff, 4);
  Append(header.bytes, size, 4);
  Append(header.bytes, kWave, 4);
  pieces_.insert(pieces_.begin(), header);
  AddTail(diagnosis.map, *diagnosis.map.Find(kData));
  std::uint64_t all = 0;
  for (const Piece& piece : pieces_) all += piece.Size();
  tooLarge_ = all > 0xFFFFFFFE;
  SetSize(all);
}

bool WriteCopy(Reader& bytes, const char* path) {
  constexpr std::uint32_t kBytes = 65536;
  FileHandle file;
  if (!file.Open(path, GENERIC_WRITE, FILE_SHARE_READ, CREATE_ALWAYS)) return false;
  std::vector<char> buffer(kBytes);
  for (std::uint64_t at = 0; at < bytes.Size(); at += kBytes) {
    const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(kBytes, bytes.Size() - at));
    if (!bytes.Read(at, buffer.data(), count) || !file.Write(buffer.data(), count)) return false;
  }
  return file.Close();
}

bool CopyReader::Fetch(std::uint64_t start, char* to, std::uint32_t bytes) {
  for (const Piece& piece : pieces_) {
    if (start >= piece.Size()) {
      start -= piece.Size();
      continue;
    }
    for (; bytes > 0 && start < piece.bytes.size(); --bytes) {
      *to++ = static_cast<char>(piece.bytes[static_cast<std::size_t>(start++)]);
    }
    if (bytes == 0) return true;
    const std::uint64_t from = start - piece.bytes.size();
    const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(bytes, piece.count - from));
    if (count > 0 && !file_.Read(piece.from + from, to, count)) return false;
    to += count;
    bytes -= count;
    start = 0;
    if (bytes == 0) return true;
  }
  return false;
}

void CopyReader::AddChunks(const Diagnosis& diagnosis, const Format& given) {
  const Chunk* const format = diagnosis.map.Find(kFormat);
  const Chunk* const data = diagnosis.map.Find(kData);
  const bool late = format != nullptr && format > data;
  for (const Chunk& chunk : diagnosis.map.chunks) {
    if (&chunk == data) {
      if (diagnosis.formatGiven) AddGiven(given);
      if (late && !diagnosis.formatGiven) AddChunk(*format);
      AddData(diagnosis.map, *data);
    } else if (&chunk == format) {
      if (!late && !diagnosis.formatGiven) AddChunk(chunk);
    } else if (chunk.id != kData || chunk.size == 0) {
      AddChunk(chunk);
    }
  }
}

void CopyReader::AddChunk(const Chunk& chunk) {
  Piece piece = {{}, chunk.Payload(), chunk.size};
  Append(piece.bytes, file_.Number(chunk.at), 4);
  Append(piece.bytes, chunk.size, 4);
  pieces_.push_back(piece);
  AddPad(chunk.size);
}

void CopyReader::AddGiven(const Format& given) {
  Piece piece = {{}, 0, 0};
  Append(piece.bytes, kFormat, 4);
  Append(piece.bytes, kSmallestFormat, 4);
  Append(piece.bytes, given.tag, 2);
  Append(piece.bytes, given.channels, 2);
  Append(piece.bytes, given.rate, 4);
  Append(piece.bytes, given.byteRate, 4);
  Append(piece.bytes, given.block, 2);
  Append(piece.bytes, given.bits, 2);
  pieces_.push_back(piece);
}

void CopyReader::AddData(const Map& map, const Chunk& data) {
  const std::size_t header = pieces_.size();
  pieces_.push_back({{}, data.Payload(), data.size});
  std::uint64_t all = data.size;
  for (const Chunk* more = map.Find(kData, &data); more != nullptr; more = map.Find(kData, more)) {
    if (more->size > 0) pieces_.push_back({{}, more->Payload(), more->size});
    all += more->size;
  }
  Append(pieces_[header].bytes, kData, 4);
  Append(pieces_[header].bytes, all, 4);
  AddPad(all);
}

// What follows the last chunk, but not the rest of a block.
void CopyReader::AddTail(const Map& map, const Chunk& data) {
  const bool rest = &map.chunks.back() == &data && data.size != data.stated;
  if (!rest && map.End() < file_.Size()) pieces_.push_back({{}, map.End(), file_.Size() - map.End()});
}

void CopyReader::AddPad(std::uint64_t size) {
  if (size % 2 != 0) pieces_.push_back({{0}, 0, 0});
}

}  // namespace cmm::check
