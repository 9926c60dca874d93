#pragma once
// Texts as JSON has them.

#include <string>

/// @param text in UTF-8; a byte that is none becomes the character of that number
/// @return the text in quotes
std::string JsonString(const std::string& text);
