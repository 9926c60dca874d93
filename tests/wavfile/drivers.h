#pragma once
// The rows of a combo box that CMMWav fills with the conversion drivers.

#include <string>
#include <vector>

#include "tests/support/ComboBox.h"
#include "tests/wavfile/conversion_tools.h"

class Drivers : public ConversionTest {
 protected:
  ~Drivers() override { test::DestroyComboBox(combo_); }

  std::vector<std::string> Rows() const {
    std::vector<std::string> rows;
    const LRESULT count = SendMessageA(combo_, CB_GETCOUNT, 0, 0);
    for (LRESULT row = 0; row < count; ++row) {
      char text[ACMDRIVERDETAILS_LONGNAME_CHARS] = "";
      SendMessageA(combo_, CB_GETLBTEXT, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(text));
      rows.emplace_back(text);
    }
    return rows;
  }

  const HWND combo_ = test::CreateComboBox();
  CMMWav wav_;
};
