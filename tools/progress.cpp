#include "tools/progress.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "tools/terminal.h"

namespace {

using namespace std::chrono_literals;
constexpr auto kShowAfter = 300ms;  // shorter work is over before a bar could be read
constexpr auto kInterval = 100ms;
constexpr int kBarLength = 30;

}  // namespace

std::string ProgressText(double fraction, double elapsedSeconds) {
  fraction = std::clamp(fraction, 0.0, 1.0);
  const auto filled = static_cast<std::size_t>(std::lround(kBarLength * fraction));
  const std::string bar = std::string(filled, '#') + std::string(kBarLength - filled, '.');
  const auto left = std::lround(std::ceil(elapsedSeconds * (1.0 - fraction) / std::max(fraction, 1e-6)));
  char text[100];
  std::snprintf(text, sizeof text, "[%s] %3.0f%%  %02ld:%02ld left", bar.c_str(),
                std::floor(100.0 * fraction), left / 60, left % 60);
  return text;
}

Progress::Progress() : live_(IsTerminal(stderr)), start_(Clock::now()), next_(start_ + kShowAfter) {}

Progress::~Progress() {
  if (shown_) std::fprintf(stderr, "\r%70s\r", "");
}

void Progress::Show(double fraction) {
  const auto now = Clock::now();
  if (!live_ || now < next_) return;
  next_ = now + kInterval;
  shown_ = true;
  const std::chrono::duration<double> elapsed = now - start_;
  std::fprintf(stderr, "\r%-69s", ProgressText(fraction, elapsed.count()).c_str());
}
