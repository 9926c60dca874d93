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
constexpr std::chrono::seconds kHold{3};
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

double Decibels(double fullScale) {
  return fullScale <= 0.0 ? kFloorDb : std::max(kFloorDb, 20.0 * std::log10(fullScale));
}

// The level is the highest sample of the latest quarter second: signed with 16 bits, around 128 with 8.
double LevelDb(std::int32_t level, std::uint32_t bits) {
  return Decibels(bits == 16 ? level / 32768.0 : (level - 128) / 128.0);
}

std::size_t BarLength(double decibels) {
  return static_cast<std::size_t>(std::lround(kBarLength * (1.0 - decibels / kFloorDb)));
}

}  // namespace

Meter::Meter(CMMWAVCapture& capture, TakeLevels& levels)
    : capture_(capture),
      levels_(levels),
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

double Meter::HeldPeak() {
  const auto now = std::chrono::steady_clock::now();
  levels_.Read();
  if (levels_.Peak() >= held_ || now - heldSince_ > kHold) {
    held_ = levels_.Peak();
    heldSince_ = now;
  }
  return held_;
}

// Always of the same length, but for times of a hundred minutes and more.
std::string Meter::StatusText(std::uint32_t state, double held) {
  std::int32_t level = 0;
  const char* time = capture_.GetTimeString(&level);
  const double db = LevelDb(level, capture_.GetSampleSizeInBits());
  const std::size_t filled = BarLength(db), mark = BarLength(Decibels(held));
  std::string bar = std::string(filled, '#') + std::string(kBarLength - filled, '.');
  if (mark > filled) bar[mark - 1] = '|';
  char text[120];
  std::snprintf(text, sizeof text, "%s  [%s] %5.1f dB  %-9s%s",
                time != nullptr && *time != '\0' ? time : "--:--.--", bar.c_str(), db, StateName(state),
                levels_.ClippedFrames() > 0 ? " CLIPPED" : "");
  return text;
}

void Meter::Show(std::uint32_t state) {
  ShowLoss();
  const double held = HeldPeak();
  if (live_) {
    std::printf("\r%s", StatusText(state, held).c_str());
  } else if (std::chrono::steady_clock::now() >= nextPlain_) {
    nextPlain_ += kPlainStatusInterval;
    std::printf("%s\n", StatusText(state, held).c_str());
  }
  std::fflush(stdout);
}
