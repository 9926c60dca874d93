#pragma once
// Formats and conversions for the tests of the audio compression manager.

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include "platform/platform.h"
#include "tests/support/Formats.h"

using Bytes = std::vector<BYTE>;
using Samples = std::vector<std::int16_t>;

/// A format with its further data, in memory of exactly that size.
class AcmFormat {
 public:
  AcmFormat(WAVEFORMATEX format, const std::vector<WORD>& extra = {})
      : bytes_(sizeof format + extra.size() * 2) {
    format.cbSize = static_cast<WORD>(extra.size() * 2);
    std::memcpy(bytes_.data(), &format, sizeof format);
    if (!extra.empty()) std::memcpy(bytes_.data() + sizeof format, extra.data(), format.cbSize);
  }
  explicit AcmFormat(Bytes bytes) : bytes_(std::move(bytes)) {}

  LPWAVEFORMATEX Get() { return reinterpret_cast<LPWAVEFORMATEX>(bytes_.data()); }
  LPWAVEFORMATEX operator->() { return Get(); }
  WORD& Extra(std::size_t word) {
    return reinterpret_cast<WORD*>(bytes_.data() + sizeof(WAVEFORMATEX))[word];
  }
  const Bytes& Contents() const { return bytes_; }

 private:
  Bytes bytes_;
};

/// The extensible form of a format.
inline AcmFormat Extensible(WAVEFORMATEX inside, DWORD mask = 0, WORD validBits = 0) {
  WAVEFORMATEXTENSIBLE format = {
      inside, {validBits}, mask, {inside.wFormatTag, 0, 0x10, {0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71}}};
  format.Format.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
  format.Format.cbSize = 22;
  Bytes bytes(sizeof format);
  std::memcpy(bytes.data(), &format, sizeof format);
  return AcmFormat(bytes);
}

/// A format of 4 bits a sample; blocks begin with @p header bytes for each channel.
inline AcmFormat Adpcm(WORD tag, DWORD rate, WORD channels, DWORD block, DWORD header,
                       std::vector<WORD> extra) {
  extra[0] = static_cast<WORD>((block - header * channels) * 2 / channels + extra[0]);
  return AcmFormat({tag, channels, rate, rate * block / extra[0], static_cast<WORD>(block), 4, 0}, extra);
}
inline AcmFormat Ima(DWORD rate, WORD channels, DWORD block) {
  return Adpcm(WAVE_FORMAT_DVI_ADPCM, rate, channels, block, 4, {1});
}
inline AcmFormat Ms(DWORD rate, WORD channels, DWORD block) {
  return Adpcm(WAVE_FORMAT_ADPCM, rate, channels, block, 7,
               {2, 7, 256, 0, 512, 0xFF00, 0, 0, 192, 64, 240, 0, 460, 0xFF30, 392, 0xFF18});
}

inline bool Opens(AcmFormat source, AcmFormat destination) {
  return acmStreamOpen(nullptr, nullptr, source.Get(), destination.Get(), nullptr, 0, 0,
                       ACM_STREAMOPENF_QUERY) == MMSYSERR_NOERROR;
}

/// A conversion through the manager. Every call gets buffers of exactly the size that acmStreamSize gives, so
/// that a sanitizer sees the first byte beyond them.
class Conversion {
 public:
  Conversion(AcmFormat source, AcmFormat destination, HACMDRIVER driver = nullptr) {
    EXPECT_EQ(acmStreamOpen(&stream, driver, source.Get(), destination.Get(), nullptr, 0, 0, 0), 0u);
  }
  ~Conversion() { EXPECT_TRUE(!stream || acmStreamClose(stream, 0) == MMSYSERR_NOERROR); }

  /// Converts @p source by one call.
  /// @param room of the output; 0: as much as suffices
  Bytes Run(Bytes source, DWORD flags, DWORD* taken = nullptr, DWORD room = 0) {
    const auto size = static_cast<DWORD>(source.size());
    EXPECT_TRUE(room != 0 || acmStreamSize(stream, size, &room, ACM_STREAMSIZEF_SOURCE) == MMSYSERR_NOERROR);
    Bytes out(room);
    ACMSTREAMHEADER header{};
    header.cbStruct = sizeof header;
    header.pbSrc = source.data();
    header.cbSrcLength = size;
    header.pbDst = out.data();
    header.cbDstLength = room;
    EXPECT_EQ(acmStreamPrepareHeader(stream, &header, 0), MMSYSERR_NOERROR);
    EXPECT_EQ(acmStreamConvert(stream, &header, flags), MMSYSERR_NOERROR);
    EXPECT_EQ(acmStreamUnprepareHeader(stream, &header, 0), MMSYSERR_NOERROR);
    EXPECT_TRUE(header.cbDstLengthUsed <= room && header.cbSrcLengthUsed <= size);
    out.resize(header.cbDstLengthUsed);
    if (taken) *taken = header.cbSrcLengthUsed;
    return out;
  }

  HACMSTREAM stream = nullptr;
};

inline constexpr DWORD kEnd = ACM_STREAMCONVERTF_END;
inline constexpr DWORD kBlocks = ACM_STREAMCONVERTF_BLOCKALIGN | ACM_STREAMCONVERTF_END;

/// Runs a stream from its beginning in pieces. @param cut gives the size of the next piece and the room for
/// its output
template <class Cut>
Bytes RunInPieces(Conversion& conversion, const Bytes& source, Cut cut) {
  Bytes out;
  DWORD start = ACM_STREAMCONVERTF_START;
  for (auto at = source.begin(); at != source.end(); start = 0) {
    const auto [size, room] = cut();
    const auto end = source.end() - at > size ? at + size : source.end();
    const DWORD flags = end == source.end() ? kEnd : ACM_STREAMCONVERTF_BLOCKALIGN;
    DWORD taken = 0;
    const Bytes made = conversion.Run(Bytes(at, end), start | flags, &taken, room);
    out.insert(out.end(), made.begin(), made.end());
    at += static_cast<std::ptrdiff_t>(taken);
  }
  return out;
}

inline Bytes Noise(std::size_t count, std::mt19937& random) {
  Bytes bytes(count);
  for (BYTE& each : bytes) each = static_cast<BYTE>(random() % 4 ? random() : random() % 2 * 255);
  return bytes;
}

inline Bytes ToBytes(const Samples& samples) {
  Bytes bytes(samples.size() * 2);
  std::memcpy(bytes.data(), samples.data(), bytes.size());
  return bytes;
}
inline Samples ToSamples(const Bytes& bytes) {
  Samples samples(bytes.size() / 2);
  std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
  return samples;
}
