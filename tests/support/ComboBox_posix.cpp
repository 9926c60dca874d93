#include "tests/support/ComboBox.h"

#include "platform/posix/layer.h"

HWND test::CreateComboBox() {
  return platform::CreateComboBox();
}

void test::DestroyComboBox(HWND combo) {
  platform::DestroyComboBox(combo);
}
