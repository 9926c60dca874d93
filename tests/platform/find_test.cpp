#include "platform/posix/find.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/files.h"

TEST(FindFirstFile, TellsWhatAPathNames) {
  const TempFolder folder;
  test::Store(folder.File("a.wav"), test::Bytes(1234));
  WIN32_FIND_DATAA data;
  const HANDLE search = FindFirstFileA((folder.Path().string() + "\\a.wav").c_str(), &data);
  ASSERT_NE(search, INVALID_HANDLE_VALUE);
  EXPECT_STREQ(data.cFileName, "a.wav");
  EXPECT_EQ(data.nFileSizeLow, 1234u);
  EXPECT_NEAR(data.ftLastWriteTime.dwHighDateTime * 429.4967296,
              11644473600.0 + static_cast<double>(std::time(nullptr)), 500);
  EXPECT_EQ(FindClose(search), TRUE);
  EXPECT_EQ(FindClose(search), FALSE);
  EXPECT_EQ(FindClose(FindFirstFileA(folder.Path().c_str(), &data)), TRUE);
  EXPECT_NE(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY, 0u);
  for (const std::string& none :
       {folder.File("b.wav"), folder.File("*.wav"), folder.File(""), std::string()}) {
    EXPECT_EQ(FindFirstFileA(none.c_str(), &data), INVALID_HANDLE_VALUE) << none;
  }
}
