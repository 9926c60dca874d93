#include "wavfile/check_copy.h"

#include <memory>

namespace cmm::check {

namespace {

// A stretch of the copy: bytes of the source, behind a few new ones.
struct Piece {
  std::vector<std::uint8_t> bytes;
  std::uint64_t from = 0, count = 0;
  bool pad = false;
};

void Append(std::vector<std::uint8_t>& bytes, std::uint64_t number, int count) {
  for (int i = 0; i < count; ++i) bytes.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
}

class Copy {
 public:
  Copy(FileReader& file, const Diagnosis& diagnosis, const Format& given)
      : file_(file), d_(diagnosis), given_(given), data_(diagnosis.map.Find(kData)) {}

  bool Write(const char* path) {
    PutTogether();
    std::uint64_t riffSize = 4;
    for (const Piece& piece : pieces_) riffSize += piece.bytes.size() + piece.count + (piece.pad ? 1 : 0);
    if (riffSize > 0xFFFFFFFF - 8) return false;
    AddTail();
    Piece header;
    Append(header.bytes, kRiff, 4);
    Append(header.bytes, riffSize, 4);
    Append(header.bytes, kWave, 4);
    pieces_.insert(pieces_.begin(), header);
    if (!out_.Open(path, GENERIC_WRITE, FILE_SHARE_READ, CREATE_ALWAYS)) return false;
    for (const Piece& piece : pieces_) {
      if (!Put(piece)) return false;
    }
    return out_.Close();
  }

 private:
  // The format comes before the sound, and all sound is one chunk.
  void PutTogether() {
    const Chunk* const format = d_.map.Find(kFormat);
    const bool late = format > data_;
    for (const Chunk& chunk : d_.map.chunks) {
      if (&chunk == data_) {
        if (d_.formatGiven)
          AddGiven();
        else if (late)
          AddChunk(*format);
        AddData();
      } else if (chunk.id == kData ? chunk.size == 0 : &chunk != format || !(late || d_.formatGiven)) {
        AddChunk(chunk);
      }
    }
  }

  void AddChunk(const Chunk& chunk) {
    Piece piece;
    Append(piece.bytes, Edited(chunk.at, chunk.id), 4);
    Append(piece.bytes, chunk.size, 4);
    piece.from = chunk.Payload();
    piece.count = chunk.size;
    piece.pad = chunk.size % 2 != 0;
    pieces_.push_back(piece);
  }

  // The number that a repair in place writes at that offset.
  std::uint64_t Edited(std::uint64_t at, std::uint64_t number) const {
    for (const Finding& finding : d_.findings) {
      if (finding.told.offset == at && finding.cure == Cure::kFourBytes) return finding.told.expected;
    }
    return number;
  }

  void AddGiven() {
    Piece piece;
    Append(piece.bytes, kFormat, 4);
    Append(piece.bytes, kSmallestFormat, 4);
    Append(piece.bytes, given_.tag, 2);
    Append(piece.bytes, given_.channels, 2);
    Append(piece.bytes, given_.rate, 4);
    Append(piece.bytes, given_.byteRate, 4);
    Append(piece.bytes, given_.block, 2);
    Append(piece.bytes, given_.bits, 2);
    pieces_.push_back(piece);
  }

  void AddData() {
    AddChunk(*data_);
    std::uint64_t all = data_->size;
    const std::size_t header = pieces_.size() - 1;
    for (const Chunk* more = d_.map.Find(kData, data_); more != nullptr; more = d_.map.Find(kData, more)) {
      if (more->size == 0) continue;
      Piece piece;
      piece.from = more->Payload();
      piece.count = more->size;
      pieces_.push_back(piece);
      all += more->size;
    }
    pieces_[header].bytes.resize(4);
    Append(pieces_[header].bytes, all, 4);
    pieces_[header].pad = false;
    pieces_.back().pad = all % 2 != 0;
  }

  // What follows the last chunk, but not the rest of a block.
  void AddTail() {
    const bool rest = &d_.map.chunks.back() == data_ && data_->size != data_->stated;
    if (rest || d_.map.End() >= file_.Size()) return;
    Piece piece;
    piece.from = d_.map.End();
    piece.count = file_.Size() - piece.from;
    pieces_.push_back(piece);
  }

  bool Put(const Piece& piece) {
    if (!piece.bytes.empty() &&
        !out_.Write(piece.bytes.data(), static_cast<std::uint32_t>(piece.bytes.size())))
      return false;
    for (std::uint64_t done = 0; done < piece.count;) {
      const auto count =
          static_cast<std::uint32_t>(std::min<std::uint64_t>(sizeof buffer_, piece.count - done));
      if (!file_.Read(piece.from + done, buffer_, count)) return false;
      Edit(piece.from + done, count);
      if (!out_.Write(buffer_, count)) return false;
      done += count;
    }
    const char zero = 0;
    return !piece.pad || out_.Write(&zero, 1);
  }

  // Makes the changes of the repair in what the buffer holds of the source.
  void Edit(std::uint64_t from, std::uint32_t count) {
    for (const Finding& finding : d_.findings) {
      const int width = finding.cure == Cure::kTwoBytes ? 2 : finding.cure == Cure::kFourBytes ? 4 : 0;
      for (int i = 0; i < width; ++i) {
        const std::uint64_t at = finding.told.offset + static_cast<std::uint64_t>(i);
        if (at >= from && at < from + count)
          buffer_[at - from] = static_cast<char>(finding.told.expected >> (8 * i));
      }
    }
  }

  FileReader& file_;
  const Diagnosis& d_;
  const Format& given_;
  const Chunk* data_;
  std::vector<Piece> pieces_;
  FileHandle out_;
  char buffer_[65536];
};

}  // namespace

bool WriteCopy(FileReader& file, const Diagnosis& diagnosis, const Format& given, const char* path) {
  const auto copy = std::make_unique<Copy>(file, diagnosis, given);
  return copy->Write(path);
}

}  // namespace cmm::check
