#include "platform/posix/find.h"

#include <gtest/gtest.h>

#include "tests/support/files.h"

TEST(FindFirstFile, TellsWhatAPathNames) {
  const TempFolder folder;
  test::Store(folder.File("a.wav"), test::Bytes(1234));
  WIN32_FIND_DATAA data;
  const HANDLE search = FindFirstFileA((folder.Path().string() + "\\a.wav").c_str(), &data);
  ASSERT_NE(search, INVALID_HANDLE_VALUE);
  EXPECT_STREQ(data.cFileName, "a.wav");
  EXPECT_EQ(data.nFileSizeLow, 1234u);
  EXPECT_EQ(FindClose(search), TRUE);
  EXPECT_EQ(FindClose(search), FALSE);
  EXPECT_EQ(FindFirstFileA(folder.File("b.wav").c_str(), &data), INVALID_HANDLE_VALUE);
  EXPECT_EQ(FindFirstFileA(folder.File("").c_str(), &data), INVALID_HANDLE_VALUE);
}
