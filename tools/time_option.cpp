#include "tools/time_option.h"

#include <CLI/CLI.hpp>
#include <cstdio>

std::string TimeInSeconds(const std::string& text) {
  if (text.find(':') == std::string::npos) return text;
  unsigned long hours = 0, minutes = 0;
  double seconds = 0;
  int end = 0;
  if (std::sscanf(text.c_str(), "%4lu:%2lu:%lf%n", &hours, &minutes, &seconds, &end) != 3) {
    hours = 0;
    end = 0;
    std::sscanf(text.c_str(), "%6lu:%lf%n", &minutes, &seconds, &end);
  }
  const bool isWhole = end > 0 && text.find_first_not_of("0123456789.:") == std::string::npos &&
                       static_cast<std::size_t>(end) == text.size();
  if (!isWhole || seconds >= 60 || (hours > 0 && minutes >= 60)) {
    throw CLI::ValidationError("'" + text +
                               "' is no time: seconds, MM:SS or HH:MM:SS, as 90, 1:30 or 0:01:30");
  }
  return std::to_string(static_cast<double>(hours) * 3600 + static_cast<double>(minutes) * 60 + seconds);
}
