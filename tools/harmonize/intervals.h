#pragma once
// The intervals of harmony voices, as a user writes them.

#include <string>
#include <vector>

/// Reads one to three intervals with commas between: "+4,+7,-12" in semitones, "+386c" in cents; at most two
/// octaves either way.
/// @param cents receives them in cents
/// @return empty on success; otherwise a sentence for the user, and @p cents is as it was
std::string ReadIntervals(const std::string& text, std::vector<double>& cents);
