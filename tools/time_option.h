#pragma once
// Times as people write them.

#include <string>

/// Turns an option's value into a number of seconds: "90", "1:30", "0:01:30.5". What has no colon stays as it is.
/// Throws a CLI::ValidationError.
std::string TimeInSeconds(const std::string& text);
