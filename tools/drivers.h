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

/// An invisible combo box, for CMMWav to fill. @return null when none can be made
HWND NewComboBox();
void DropComboBox(HWND combo);
