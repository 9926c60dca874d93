#pragma once
// What a repair makes of a file: read before it is written, to be checked once more.

#include "wavfile/check_findings.h"
#include "wavfile/check_format.h"

namespace cmm::check {

/// The file with some fields changed.
class EditedReader final : public Reader {
 public:
  explicit EditedReader(Reader& file) : file_(file) { SetSize(file.Size()); }
  /// Changes the fields of the findings that have a cure in place.
  void Edit(const Findings& findings);

 private:
  bool Fetch(std::uint64_t start, char* to, std::uint32_t bytes) override;

  Reader& file_;
  Findings edits_;
};

/// Writes all bytes to a new file. @return false when they cannot be read or written
bool WriteCopy(Reader& bytes, const char* path);

/// The chunks of a file put together anew: "fmt " ahead of the sound, the sound in one chunk, all of even
/// size, sizes and identifiers right.
class CopyReader final : public Reader {
 public:
  /// @param given the caller's format, for a copy that gets a new "fmt " chunk
  CopyReader(Reader& file, const Diagnosis& diagnosis, const Format& given);

 private:
  // New bytes, then some of the file's.
  struct Piece {
    std::vector<std::uint8_t> bytes;
    std::uint64_t from, count;
    std::uint64_t Size() const { return bytes.size() + count; }
  };

  bool Fetch(std::uint64_t start, char* to, std::uint32_t bytes) override;
  void AddChunks(const Diagnosis& diagnosis, const Format& given);
  void AddChunk(const Chunk& chunk);
  void AddGiven(const Format& given);
  void AddData(const Map& map, const Chunk& data);
  void AddTail(const Map& map, const Chunk& data);
  void AddPad(std::uint64_t size);

  Reader& file_;
  std::vector<Piece> pieces_;
};

}  // namespace cmm::check
