#include "platform/posix/find.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/posix/sync.h"
#include "tests/support/files.h"

namespace {

TEST(FindFirstFile, TellsWhatAPathNames) {
  const TempFolder folder;
  test::Store(folder.File("a.wav"), test::Bytes(1234));
  WIN32_FIND_DATAA data;
  const HANDLE search = FindFirstFileA((folder.Path().string() + "\\a.wav").c_str(), &data);
  ASSERT_NE(search, INVALID_HANDLE_VALUE);
  EXPECT_STREQ(data.cFileName, "a.wav");
  EXPECT_EQ(data.dwFileAttributes, FILE_ATTRIBUTE_NORMAL);
  EXPECT_EQ(data.nFileSizeLow, 1234u);
  const std::uint64_t written =
      std::uint64_t{data.ftLastWriteTime.dwHighDateTime} << 32 | data.ftLastWriteTime.dwLowDateTime;
  EXPECT_NEAR(static_cast<double>(written) / 1e7 - 11644473600.0, static_cast<double>(std::time(nullptr)),
              60.0);
  EXPECT_EQ(FindClose(search), TRUE);
  EXPECT_EQ(FindClose(search), FALSE);

  const HANDLE directory = FindFirstFileA(folder.Path().c_str(), &data);
  EXPECT_NE(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY, 0u);
  EXPECT_EQ(FindClose(directory), TRUE);

  for (const std::string& none :
       {folder.File("b.wav"), folder.File("*.wav"), folder.File(""), std::string()}) {
    EXPECT_EQ(FindFirstFileA(none.c_str(), &data), INVALID_HANDLE_VALUE) << none;
  }
  EXPECT_EQ(FindFirstFileA(nullptr, &data), INVALID_HANDLE_VALUE);
  const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  EXPECT_EQ(FindClose(event), FALSE) << "no search";
  EXPECT_EQ(CloseHandle(event), TRUE);
}

}  // namespace
