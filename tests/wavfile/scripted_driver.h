#pragma once
// A conversion driver of the tests' own, which the layer takes in and which does as it is told.

#include <cstring>
#include <memory>
#include <vector>

#include "platform/posix/layer.h"
#include "tests/wavfile/conversion_tools.h"

/// What a test driver is to do, and what it has seen.
struct Script {
  DWORD support = ACMDRIVERDETAILS_SUPPORTF_CODEC;
  MMRESULT details = 0, size = 0, prepare = 0, convert = 0;
  DWORD outputSize = 0;  ///< what it says that its output needs; 0: as much as the source
  DWORD output = 0;      ///< bytes that each call makes, all of value 3; 0: a copy of its source

  int detailsAsked = 0;
  WAVEFORMATEX source{}, destination{};
  ACMSTREAMHEADER prepared{};
  std::vector<DWORD> lengths;  ///< of source, in each conversion
  DWORD flags = 0;
};

class TestStream : public platform::ConversionStream {
 public:
  explicit TestStream(std::shared_ptr<Script> script) : script_(std::move(script)) {}
  MMRESULT OutputSize(DWORD sourceBytes, DWORD& outputBytes) override {
    outputBytes = script_->outputSize != 0 ? script_->outputSize : sourceBytes;
    return script_->size;
  }
  MMRESULT SourceSize(DWORD, DWORD&) override { return ACMERR_NOTPOSSIBLE; }
  MMRESULT Prepare(ACMSTREAMHEADER& header) override {
    script_->prepared = header;
    return script_->prepare;
  }
  MMRESULT Convert(ACMSTREAMHEADER& header, DWORD flags) override {
    script_->flags = flags;
    script_->lengths.push_back(header.cbSrcLength);
    header.cbSrcLengthUsed = header.cbSrcLength;
    header.cbDstLengthUsed = script_->output != 0 ? script_->output : header.cbSrcLength;
    if (script_->output != 0) {
      std::memset(header.pbDst, 3, script_->output);
    } else {
      std::memcpy(header.pbDst, header.pbSrc, header.cbSrcLength);
    }
    return script_->convert;
  }

 private:
  const std::shared_ptr<Script> script_;
};

/// Takes any formats, and is tried behind the layer's own drivers.
class TestDriver : public platform::ConversionDriver {
 public:
  explicit TestDriver(std::shared_ptr<Script> script) : script_(std::move(script)) {}
  DWORD Support() const override { return script_->support; }
  MMRESULT Details(ACMDRIVERDETAILSA& details) const override {
    ++script_->detailsAsked;
    std::strcpy(details.szLongName, "Test driver");
    return script_->details;
  }
  MMRESULT Open(const WAVEFORMATEX& source, const WAVEFORMATEX& destination,
                std::unique_ptr<platform::ConversionStream>& stream) const override {
    script_->source = source;
    script_->destination = destination;
    stream = std::make_unique<TestStream>(script_);
    return MMSYSERR_NOERROR;
  }

 private:
  const std::shared_ptr<Script> script_;
};

/// A registered driver, taken out with the object.
class Registered {
 public:
  explicit Registered(std::shared_ptr<Script> script)
      : id_(platform::RegisterConversionDriver(std::make_shared<TestDriver>(std::move(script)))) {
    EXPECT_NE(id_, nullptr);
  }
  ~Registered() { EXPECT_TRUE(platform::UnregisterConversionDriver(id_)); }
  Registered(const Registered&) = delete;
  Registered& operator=(const Registered&) = delete;
  HACMDRIVERID Id() const { return id_; }

 private:
  const HACMDRIVERID id_;
};
