#include "tools/meter.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "capture/CaptureReport.h"
#include "tools/terminal.h"
#include "tools/wav_text.h"

namespace {

constexpr std::chrono::seconds kPlainStatusInterval{10};
constexpr double kFloorDb = -60.0;
constexpr int kBarLength = 30;

const char* StateName(std::uint32_t state) {
  switch (state) {
    case kStateCapturing:
      return "recording";
    case kStateFileOpen:
      return "file open";
    case kStateReady:
      return "ready";
    case kStateNone:
      return "ended";
    case kStateUnknown:
      return "stalled";
    default:
      return "starting";
  }
}

// The level is the highest sample of the latest quarter second: signed with 16 bits, around 128 with 8.
double LevelDb(std::int32_t level, std::uint32_t bits) {
  const double fullScale = bits == 16 ? level / 32768.0 : (level - 128) / 128.0;
  return fullScale <= 0.0 ? kFloorDb : std::max(kFloorDb, 20.0 * std::log10(fullScale));
}

}  // namespace

std::string StatusText(CMMWAVCapture& capture, std::uint32_t state) {
  std::int32_t level = 0;
  const char* time = capture.GetTimeString(&level);
  const double db = LevelDb(level, capture.GetSampleSizeInBits());
  const auto filled = static_cast<std::size_t>(std::lround(kBarLength * (1.0 - db / kFloorDb)));
  const std::string bar = std::string(filled, '#') + std::string(kBarLength - filled, '.');
  char text[120];
  std::snprintf(text, sizeof text, "%s  [%s] %5.1f dB  %-9s",
                time != nullptr && *time != '\0' ? time : "--:--.--", bar.c_str(), db, StateName(state));
  return text;
}

Meter::Meter(CMMWAVCapture& capture)
    : capture_(capture),
      live_(IsTerminal(stdout)),
      nextPlain_(std::chrono::steady_clock::now() + kPlainStatusInterval) {}

Meter::~Meter() {
  if (live_) std::printf("\n");
  std::fflush(stdout);
}

// A gap may still grow, so this shows only what was lost since the last report.
void Meter::ShowLoss() {
  const cmm::CaptureReport report = cmm::GetCaptureReport();
  if (report.lostFrames <= reportedLoss_) return;
  const std::uint64_t lost = report.lostFrames - reportedLoss_;
  reportedLoss_ = report.lostFrames;
  const std::uint64_t at = report.lastLossAt + report.lastLossFrames - std::min(lost, report.lastLossFrames);
  const double rate = capture_.GetSampleRate();
  char text[60];
  std::snprintf(text, sizeof text, "lost %s%.2f s at %s", report.lossIsEstimate ? "about " : "",
                static_cast<double>(lost) / rate, TimeText(static_cast<double>(at) / rate).c_str());
  Say(text);
}

void Meter::Say(const std::string& text) {
  std::printf("%s%s%s\n", live_ ? "\r" : "", text.c_str(),
              live_ ? "                                        " : "");
}

void Meter::Show(std::uint32_t state) {
  ShowLoss();
  if (live_) {
    std::printf("\r%s", StatusText(capture_, state).c_str());
  } else if (std::chrono::steady_clock::now() >= nextPlain_) {
    nextPlain_ += kPlainStatusInterval;
    std::printf("%s\n", StatusText(capture_, state).c_str());
  }
  std::fflush(stdout);
}
