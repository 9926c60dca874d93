#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "tests/support/System.h"

namespace {

LPARAM Text(const char* text) {
  return reinterpret_cast<LPARAM>(text);
}

TEST(ComboBox, KeepsTextsAndDataInTheOrderOfAdding) {
  const HWND combo = NewComboBox();
  EXPECT_EQ(SendMessageA(combo, CB_ADDSTRING, 0, Text("second")), 0);
  EXPECT_EQ(SendMessageA(combo, CB_ADDSTRING, 0, Text("first")), 1);
  EXPECT_EQ(SendMessageA(combo, CB_GETCOUNT, 0, 0), 2);
  EXPECT_EQ(SendMessageA(combo, CB_GETITEMDATA, 1, 0), 0);
  EXPECT_NE(SendMessageA(combo, CB_SETITEMDATA, 1, INTPTR_MIN), CB_ERR);
  EXPECT_EQ(SendMessageA(combo, CB_GETITEMDATA, 1, 0), INTPTR_MIN);
  char text[8] = "xxxxxxx";
  EXPECT_EQ(SendMessageA(combo, CB_GETLBTEXTLEN, 1, 0), 5);
  EXPECT_EQ(SendMessageA(combo, CB_GETLBTEXT, 1, reinterpret_cast<LPARAM>(text)), 5);
  EXPECT_EQ(std::memcmp(text, "first\0x", 8), 0);
  DropComboBox(combo);
}

TEST(ComboBox, RefusesRowsAndWindowsThatAreNotThere) {
  const HWND combo = NewComboBox();
  SendMessageA(combo, CB_ADDSTRING, 0, Text("row"));
  for (const WPARAM row : {WPARAM{1}, ~WPARAM{0}}) {
    for (const UINT message :
         std::initializer_list<UINT>{CB_GETITEMDATA, CB_SETITEMDATA, CB_GETLBTEXT, CB_GETLBTEXTLEN})
      EXPECT_EQ(SendMessageA(combo, message, row, 0), CB_ERR);
  }
  DropComboBox(combo);
  EXPECT_EQ(SendMessageA(combo, CB_GETCOUNT, 0, 0), 0);
}

TEST(GlobalMemory, GivesFixedBlocks) {
  auto* zeros = static_cast<char*>(GlobalAlloc(GMEM_FIXED | GMEM_ZEROINIT, 1000));
  ASSERT_NE(zeros, nullptr);
  EXPECT_EQ(std::count(zeros, zeros + 1000, 0), 1000);
  EXPECT_EQ(GlobalFree(zeros), nullptr);
  const HGLOBAL none = GlobalAlloc(GMEM_FIXED, 0);
  EXPECT_NE(none, nullptr);
  EXPECT_EQ(GlobalFree(none), nullptr);
}

}  // namespace
