#include "tools/take.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "tools/paths.h"
#include "tools/tool.h"

namespace {

constexpr std::uint32_t kHeaderBytes = 56;  // of every file that the library writes
constexpr std::size_t kBlockFrames = 4096;

void Put(std::fstream& file, std::streamoff offset, std::uint32_t value) {
  const char bytes[] = {static_cast<char>(value), static_cast<char>(value >> 8),
                        static_cast<char>(value >> 16), static_cast<char>(value >> 24)};
  file.seekp(offset).write(bytes, sizeof bytes);
}

}  // namespace

TakeLevels::TakeLevels(const std::string& file, const WAVEFORMATEX& format, std::uint64_t mostFrames)
    : format_(format),
      left_(mostFrames > 0 ? mostFrames : UINT64_MAX),
      file_(NativePath(file), std::ios::binary),
      block_(kBlockFrames * format.nBlockAlign),
      position_(kHeaderBytes) {
  file_.seekg(position_);
}

void TakeLevels::Read() {
  peak_ = 0;
  while (left_ > 0 && file_) {
    file_.read(block_.data(), static_cast<std::streamsize>(block_.size()));
    const std::uint64_t frames =
        std::min<std::uint64_t>(static_cast<std::uint64_t>(file_.gcount()) / format_.nBlockAlign, left_);
    for (std::uint64_t i = 0; i < frames; ++i) Add(block_.data() + i * format_.nBlockAlign);
    left_ -= frames;
    position_ += static_cast<std::streamoff>(frames * format_.nBlockAlign);
    if (file_.eof()) {  // for now
      file_.clear();
      file_.seekg(position_);
      return;
    }
  }
}

void TakeLevels::Add(const char* frame) {
  bool isClipped = false;
  for (int i = 0; i < format_.nChannels; ++i) {
    double sample = 0;
    double most = 127.0 / 128.0;
    if (format_.wBitsPerSample == 8) {
      sample = (static_cast<unsigned char>(frame[i]) - 128) / 128.0;
    } else {
      std::int16_t value = 0;
      std::memcpy(&value, frame + std::ptrdiff_t{2} * i, sizeof value);
      sample = value / 32768.0;
      most = 32767.0 / 32768.0;
    }
    isClipped = isClipped || sample <= -1.0 || sample >= most;
    peak_ = std::max(peak_, std::abs(sample));
  }
  if (isClipped) ++clipped_;
}

void CutTake(const std::string& name, const WAVEFORMATEX& format, std::uint64_t frames) {
  const auto path = NativePath(name);
  const std::uint64_t bytes = frames * format.nBlockAlign, size = kHeaderBytes + bytes + bytes % 2;
  std::error_code error;
  if (std::filesystem::file_size(path, error) <= size) return;  // its error is a large number
  std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
  Put(file, 44, static_cast<std::uint32_t>(frames));
  Put(file, 52, static_cast<std::uint32_t>(bytes));
  Put(file, 4, static_cast<std::uint32_t>(size - 8));
  if (bytes % 2 != 0) file.seekp(static_cast<std::streamoff>(size - 1)).put(0);
  file.close();
  if (file && !error) std::filesystem::resize_file(path, size, error);
  if (!file || error) throw Failure(name + " is finished, but could not be cut to its duration");
}
