#include "tests/support/ComboBox.h"

HWND test::CreateComboBox() {
  return CreateWindowExA(0, "COMBOBOX", "", WS_CHILD | CBS_DROPDOWNLIST | CBS_HASSTRINGS, 0, 0, 0, 0,
                         HWND_MESSAGE, nullptr, nullptr, nullptr);
}

void test::DestroyComboBox(HWND combo) {
  DestroyWindow(combo);
}
