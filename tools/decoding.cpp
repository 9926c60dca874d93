#include "tools/decoding.h"

#include <algorithm>
#include <fstream>
#include <memory>
#include <vector>

#include "tools/paths.h"
#include "tools/tool.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// As the library's own conversion.
constexpr DWORD kConvertFlags = ACM_STREAMCONVERTF_BLOCKALIGN | ACM_STREAMCONVERTF_END;
constexpr std::size_t kLargestFormat = sizeof(WAVEFORMATEX) + 65535;

Bytes Load(std::ifstream& file, std::uint64_t at, std::uint64_t bytes) {
  Bytes loaded(static_cast<std::size_t>(bytes));
  file.seekg(static_cast<std::streamoff>(at));
  file.read(reinterpret_cast<char*>(loaded.data()), static_cast<std::streamsize>(bytes));
  return loaded;
}

struct StreamCloser {
  using pointer = HACMSTREAM;
  void operator()(HACMSTREAM stream) const { acmStreamClose(stream, 0); }
};

// Converts all of @p from.
// @param made receives the bytes at the begin of @p to
bool Convert(HACMSTREAM stream, Bytes& from, Bytes& to, std::uint32_t* made) {
  ACMSTREAMHEADER header{};
  header.cbStruct = sizeof header;
  header.pbSrc = from.data();
  header.cbSrcLength = static_cast<DWORD>(from.size());
  header.pbDst = to.data();
  header.cbDstLength = static_cast<DWORD>(to.size());
  if (acmStreamPrepareHeader(stream, &header, 0) != 0) return false;
  const bool isConverted = acmStreamConvert(stream, &header, kConvertFlags) == 0;
  acmStreamUnprepareHeader(stream, &header, 0);
  *made = header.cbDstLengthUsed;
  return isConverted;
}

}  // namespace

bool Decode(const std::string& name, const WavSizes& sizes, const WAVEFORMATEX& target, const Sink& sink,
            const std::function<void(double)>& show) {
  std::ifstream file(NativePath(name), std::ios::binary);
  Bytes format = Load(file, sizes.formatAt, sizes.formatBytes);
  format.resize(kLargestFormat);  // zeros: a driver may read as much as the extra size promises
  auto* const source = reinterpret_cast<WAVEFORMATEX*>(format.data());
  WAVEFORMATEX wanted = target;
  HACMSTREAM opened = nullptr;
  if (acmStreamOpen(&opened, nullptr, source, &wanted, nullptr, 0, 0, ACM_STREAMOPENF_NONREALTIME) != 0)
    return false;
  const std::unique_ptr<HACMSTREAM, StreamCloser> stream(opened);
  const std::uint32_t piece = HalfSecond(*source);
  DWORD room = 0;
  if (acmStreamSize(opened, piece, &room, ACM_STREAMSIZEF_SOURCE) != 0) return false;
  Bytes output(room);
  bool isWhole = sizes.heldBytes == sizes.dataBytes;
  for (std::uint64_t done = 0; isWhole && done < sizes.dataBytes; done += piece) {
    CheckStop();
    show(static_cast<double>(done) / static_cast<double>(sizes.dataBytes));
    Bytes input = Load(file, sizes.dataAt + done, std::min<std::uint64_t>(piece, sizes.dataBytes - done));
    std::uint32_t made = 0;
    isWhole = file && Convert(opened, input, output, &made);
    sink(output.data(), made);
  }
  if (!isWhole) throw Failure(name + ": it cannot be converted to its end; is it cut short?");
  return true;
}
