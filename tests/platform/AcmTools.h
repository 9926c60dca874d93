#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <vector>

#include "platform/posix/acm.h"

using Bytes = std::vector<BYTE>;

/// A format with its further data, in memory of exactly that size.
class Format {
 public:
  Format(WORD tag, WORD channels, DWORD rate, DWORD byteRate, std::size_t block, WORD bits,
         std::initializer_list<int> extra = {}) {
    const WAVEFORMATEX head{tag,
                            channels,
                            rate,
                            byteRate,
                            static_cast<WORD>(block),
                            bits,
                            static_cast<WORD>(extra.size() * sizeof(WORD))};
    bytes_.resize(sizeof head + head.cbSize);
    std::memcpy(bytes_.data(), &head, sizeof head);
    std::size_t place = 0;
    for (const int word : extra) SetExtra(place++, word);
  }
  explicit Format(Bytes bytes) : bytes_(std::move(bytes)) {}

  LPWAVEFORMATEX Get() { return reinterpret_cast<LPWAVEFORMATEX>(bytes_.data()); }
  LPWAVEFORMATEX operator->() { return Get(); }
  const Bytes& Whole() const { return bytes_; }
  /// Changes the further data.
  void SetExtra(std::size_t word, int value) {
    std::memcpy(bytes_.data() + sizeof(WAVEFORMATEX) + word * sizeof(WORD), &value, sizeof(WORD));
  }

 private:
  Bytes bytes_;
};

inline Format Pcm(DWORD rate, WORD channels, WORD bits) {
  const DWORD block = channels * bits / 8u;
  return {WAVE_FORMAT_PCM, channels, rate, rate * block, block, bits};
}
inline Format G711(WORD tag, DWORD rate, WORD channels) {
  return {tag, channels, rate, rate * channels, channels, 8};
}
inline Format Ima(DWORD rate, WORD channels, DWORD block) {
  const DWORD frames = (block - 4u * channels) * 2 / channels + 1;
  return {WAVE_FORMAT_DVI_ADPCM, channels, rate, rate * block / frames, block, 4, {static_cast<int>(frames)}};
}
inline Format Ms(DWORD rate, WORD channels, DWORD block) {
  const DWORD frames = (block - 7u * channels) * 2 / channels + 2;
  return {WAVE_FORMAT_ADPCM,
          channels,
          rate,
          rate * block / frames,
          block,
          4,
          {static_cast<int>(frames), 7, 256, 0, 512, -256, 0, 0, 192, 64, 240, 0, 460, -208, 392, -232}};
}

/// A conversion through the manager. Every call gets buffers of exactly the size that acmStreamSize tells, so
/// that a sanitizer sees the first byte beyond them.
class Conversion {
 public:
  Conversion(Format source, Format destination)
      : open(acmStreamOpen(&stream, nullptr, source.Get(), destination.Get(), nullptr, 0, 0,
                           ACM_STREAMOPENF_NONREALTIME)) {}
  ~Conversion() {
    if (stream) {
      EXPECT_EQ(acmStreamClose(stream, 0), MMSYSERR_NOERROR);
    }
  }

  /// Converts @p source by one call. @p taken receives the bytes used.
  Bytes Run(Bytes source, DWORD flags, DWORD* taken = nullptr) {
    DWORD room = 0;
    EXPECT_EQ(acmStreamSize(stream, static_cast<DWORD>(source.size()), &room, ACM_STREAMSIZEF_SOURCE), 0u);
    return Run(std::move(source), flags, room, taken);
  }
  Bytes Run(Bytes source, DWORD flags, DWORD room, DWORD* taken) {
    Bytes out(room);
    ACMSTREAMHEADER header{};
    header.cbStruct = sizeof header;
    header.pbSrc = source.data();
    header.cbSrcLength = static_cast<DWORD>(source.size());
    header.pbDst = out.data();
    header.cbDstLength = room;
    EXPECT_EQ(acmStreamPrepareHeader(stream, &header, 0), MMSYSERR_NOERROR);
    EXPECT_EQ(acmStreamConvert(stream, &header, flags), MMSYSERR_NOERROR);
    EXPECT_EQ(acmStreamUnprepareHeader(stream, &header, 0), MMSYSERR_NOERROR);
    EXPECT_LE(header.cbDstLengthUsed, room);
    EXPECT_LE(header.cbSrcLengthUsed, header.cbSrcLength);
    out.resize(header.cbDstLengthUsed);
    if (taken) *taken = header.cbSrcLengthUsed;
    return out;
  }

  HACMSTREAM stream = nullptr;
  const MMRESULT open;
};

inline constexpr DWORD kBlocks = ACM_STREAMCONVERTF_BLOCKALIGN | ACM_STREAMCONVERTF_END;

template <class Sample>
Bytes ToBytes(const std::vector<Sample>& samples) {
  Bytes bytes(samples.size() * sizeof(Sample));
  std::memcpy(bytes.data(), samples.data(), bytes.size());
  return bytes;
}
template <class Sample>
std::vector<Sample> ToSamples(const Bytes& bytes) {
  std::vector<Sample> samples(bytes.size() / sizeof(Sample));
  std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(Sample));
  return samples;
}
