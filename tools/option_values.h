#pragma once
// Values of options: times as people write them, and numbers of a range.

#include <functional>
#include <string>

/// Turns an option's value into a number of seconds: "90", "1:30", "0:01:30.5". What has no colon stays as it
/// is. Throws a CLI::ValidationError.
std::string TimeInSeconds(const std::string& text);

/// @return a check for an option: a number from @p low to @p high. CLI::Range lets nan pass
std::function<std::string(const std::string&)> NumberFrom(double low, double high);
