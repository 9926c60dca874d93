#pragma once
// The machine's conversion drivers, as the example programs show them.

#include <string>
#include <vector>

#include "platform/platform.h"

struct ConversionDriverText {
  std::string name;
  std::string features;  ///< may be empty
};

/// The installed drivers, in the order in which they are tried.
/// @return false when they cannot be listed
bool ListConversionDrivers(std::vector<ConversionDriverText>& drivers);

/// A combo box that nobody sees, for CMMWav to fill. @return null when there is none to be had
HWND NewComboBox();
void DropComboBox(HWND combo);
