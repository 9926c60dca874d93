// Converts from one format to another by the drivers. The input is both formats, the source and numbers. Run:
//   build/clang/bin/acm_convert -max_len=1024 CORPUS
//
// Formats and buffers are blocks of exactly the promised size, so that the sanitizer sees what is read beyond
// them.
#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/wav_files.h"

namespace {

using Block = std::vector<std::uint8_t>;

// Takes bytes from the input's front; zeros follow its end.
struct Input {
  const std::uint8_t* data;
  std::size_t size;

  Block Take(std::size_t bytes) {
    const std::size_t taken = std::min(bytes, size);
    Block block(data, data + taken);
    block.resize(bytes);
    data += taken;
    size -= taken;
    return block;
  }
  DWORD Number(DWORD most) {
    const Block bytes = Take(2);
    return (bytes[0] | DWORD{bytes[1]} << 8) % (most + 1);
  }
};

// A format of 18 to 64 bytes.
Block Format(Input& input) {
  Block block = input.Take(sizeof(WAVEFORMATEX));
  WAVEFORMATEX format;
  std::memcpy(&format, block.data(), sizeof format);
  if (format.wFormatTag == WAVE_FORMAT_PCM) return block;
  format.cbSize %= 47;
  std::memcpy(block.data(), &format, sizeof format);
  const Block extra = input.Take(format.cbSize);
  block.insert(block.end(), extra.begin(), extra.end());
  block.shrink_to_fit();
  return block;
}

// Converts several pieces of one header. The first piece must be taken completely where there is as much room
// as acmStreamSize said.
void Convert(HACMSTREAM stream, Input input, DWORD sourceBlock) {
  Block source = input.Take(1 + input.Number(500));
  DWORD room = 0, back = 0;
  const auto sourceBytes = static_cast<DWORD>(source.size());
  acmStreamSize(stream, input.Number(0xFFFF) << input.Number(16), &back, ACM_STREAMSIZEF_DESTINATION);
  const bool fits = acmStreamSize(stream, sourceBytes, &room, 0) == 0 && room <= 1 << 18;
  Block output(fits ? room : 1 + input.Number(5000));
  ACMSTREAMHEADER header = {};
  header.cbStruct = sizeof header;
  header.pbSrc = source.data();
  header.cbSrcLength = sourceBytes;
  header.pbDst = output.data();
  header.cbDstLength = static_cast<DWORD>(output.size());
  if (acmStreamPrepareHeader(stream, &header, 0) != 0) return;
  const bool done = acmStreamConvert(stream, &header, ACM_STREAMCONVERTF_START | ACM_STREAMCONVERTF_END) == 0;
  Require(!done || !fits || header.cbSrcLength - header.cbSrcLengthUsed < sourceBlock);
  while (input.size > 0) {
    header.cbSrcLength = input.Number(sourceBytes);
    header.cbDstLength = input.Number(static_cast<DWORD>(output.size()));
    if (acmStreamConvert(stream, &header, input.Number(0x3F)) != 0) continue;
    Require(header.cbSrcLengthUsed <= header.cbSrcLength && header.cbDstLengthUsed <= header.cbDstLength);
  }
}

std::string Bytes(const WAVEFORMATEX& format, const std::string& extra = "") {
  return std::string(reinterpret_cast<const char*>(&format), sizeof format) + extra;
}

const std::vector<std::string>& Seeds() {
  static const std::vector<std::string> seeds = [] {
    const std::string pcm = Bytes({1, 1, 8000, 16000, 2, 16, 0}),
                      stereo = Bytes({1, 2, 9000, 36000, 4, 16, 0});
    const std::string law = Bytes({6, 1, 8000, 8000, 1, 8, 0}), mu = Bytes({7, 1, 8000, 8000, 1, 8, 0});
    const std::string ima = Bytes({17, 1, 8000, 4066, 36, 4, 2}, std::string("\x41\0", 2));
    const std::string floats = Bytes({3, 2, 8000, 64000, 8, 32, 0}),
                      three = Bytes({1, 3, 8000, 72000, 9, 24, 0});
    const short numbers[] = {65, 7, 256, 0, 512, -256, 0, 0, 192, 64, 240, 0, 460, -208, 392, -232};
    const std::string ms =
        Bytes({2, 1, 8000, 4000, 39, 4, 32}, std::string(reinterpret_cast<const char*>(numbers), 32));
    const std::string wide =
        Bytes({0xFFFE, 2, 8000, 48000, 6, 24, 22},
              std::string("\x18\0\3\0\0\0\1\0\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 22));
    const std::string rest = "\x40\1" + std::string(300, 's');
    std::vector<std::string> all;
    for (const std::string& coded : {law, mu, ima, ms}) {
      all.push_back(coded + pcm + rest);
      all.push_back(pcm + coded + rest);
    }
    for (const std::string& source : {pcm, floats, three, wide}) all.push_back(source + stereo + rest);
    return all;
  }();
  return seeds;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input{data, size};
  Block source = Format(input), destination = Format(input);
  WAVEFORMATEX from;
  std::memcpy(&from, source.data(), sizeof from);
  HACMSTREAM stream = nullptr;
  if (acmStreamOpen(&stream, nullptr, reinterpret_cast<WAVEFORMATEX*>(source.data()),
                    reinterpret_cast<WAVEFORMATEX*>(destination.data()), nullptr, 0, 0, 0) != 0) {
    Require(stream == nullptr);
    return 0;
  }
  source = destination = {};  // the stream keeps neither
  Convert(stream, input, from.nBlockAlign);
  Require(acmStreamClose(stream, 0) == 0);
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
  return MutateFrom(Seeds(), data, size, maxSize, seed);
}
