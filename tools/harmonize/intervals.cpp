#include "tools/harmonize/intervals.h"

#include <charconv>
#include <sstream>

#include "tools/harmonize/Harmonizer.h"

namespace {

constexpr double kCentsPerSemitone = 100.0;

// @return false when the text is no number, with or without a sign and a 'c'
bool ReadInterval(std::string text, double& cents) {
  const bool inCents = !text.empty() && text.back() == 'c';
  if (inCents) text.pop_back();
  const bool plus = !text.empty() && text.front() == '+';
  const char* first = text.data() + (plus ? 1 : 0);
  const char* last = text.data() + text.size();
  if (first == last || (plus && *first == '-')) return false;
  double value = 0.0;
  const auto [end, error] = std::from_chars(first, last, value);
  cents = inCents ? value : value * kCentsPerSemitone;
  return error == std::errc() && end == last;
}

}  // namespace

std::string ReadIntervals(const std::string& text, std::vector<double>& cents) {
  std::vector<double> read;
  std::istringstream parts(text + ",");
  for (std::string part; std::getline(parts, part, ',');) {
    double interval = 0.0;
    if (!ReadInterval(part, interval))
      return "'" + part + "' is no interval; write +7 for semitones, +702c for cents";
    // As a negated comparison, so that it refuses what is no number too.
    if (!(interval >= -Harmonizer::kLargestIntervalCents && interval <= Harmonizer::kLargestIntervalCents)) {
      return "'" + part + "' is farther than two octaves";
    }
    read.push_back(interval);
  }
  if (read.size() > 3) return "there are three voices at the most";
  cents = read;
  return {};
}
