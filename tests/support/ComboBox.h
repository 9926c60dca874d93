#pragma once
// An empty combo box that keeps its order, by the layer or of the system.

#include "platform/platform.h"

namespace test {

HWND CreateComboBox();
void DestroyComboBox(HWND combo);

}  // namespace test
