// Plain files, private heaps, the search for a file, double-byte text, as published.
#include <gtest/gtest.h>

#include "platform/platform.h"
#include "tests/support/System.h"
#include "tests/support/files.h"

namespace {

TEST(Files, HavePositionsUpToFourGigabytes) {
  const TempFolder folder;
  const HANDLE file = CreateFileA(folder.File("file").c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                  CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  char bytes[] = "abcd....";
  DWORD moved = 9;
  EXPECT_EQ(SetFilePointer(file, 0x7FFFFFFF, nullptr, FILE_BEGIN), 0x7FFFFFFFu);
  EXPECT_EQ(SetFilePointer(file, 0x7FFFFFEF, nullptr, FILE_CURRENT), 0xFFFFFFEEu);
  EXPECT_TRUE(WriteFile(file, bytes, 4, &moved, nullptr));
  EXPECT_EQ(GetFileSize(file, nullptr), 0xFFFFFFF2u);
  EXPECT_EQ(SetFilePointer(file, -4, nullptr, FILE_END), 0xFFFFFFEEu);
  EXPECT_EQ(SetFilePointer(file, -1, nullptr, FILE_BEGIN), INVALID_SET_FILE_POINTER);
  for (const DWORD expected : {4u, 0u}) {
    EXPECT_TRUE(ReadFile(file, bytes + 4, 4000, &moved, nullptr));
    EXPECT_EQ(moved, expected);
  }
  EXPECT_STREQ(bytes, "abcdabcd");
  EXPECT_TRUE(CloseHandle(file));
  EXPECT_FALSE(CloseHandle(file));
  EXPECT_FALSE(ReadFile(file, bytes, 4, &moved, nullptr) || WriteFile(file, bytes, 4, &moved, nullptr));
  EXPECT_EQ(GetFileSize(file, nullptr), INVALID_FILE_SIZE);
}

TEST(Heaps, GiveBlocks) {
  const HANDLE heap = HeapCreate(HEAP_NO_SERIALIZE, 0, 0);
  auto* const block = static_cast<char*>(HeapAlloc(heap, HEAP_ZERO_MEMORY, 1000));
  EXPECT_EQ(test::Bytes(block, block + 1000), test::Bytes(1000));
  EXPECT_NE(HeapAlloc(heap, 0, 0), nullptr);  // goes with the heap
  EXPECT_TRUE(HeapFree(heap, 0, block));
  EXPECT_TRUE(HeapDestroy(heap));
}

TEST(FindFirstFile, TellsWhatAPathNames) {
  const TempFolder folder;
  test::Store(folder.File("a.wav"), test::Bytes(1234));
  WIN32_FIND_DATAA data;
  const HANDLE search = FindFirstFileA((folder.Path().string() + "\\a.wav").c_str(), &data);
  ASSERT_NE(search, INVALID_HANDLE_VALUE);
  EXPECT_STREQ(data.cFileName, "a.wav");
  EXPECT_EQ(data.nFileSizeLow, 1234u);
  EXPECT_EQ(FindClose(search), TRUE);
  EXPECT_EQ(FindFirstFileA(folder.File("b.wav").c_str(), &data), INVALID_HANDLE_VALUE);
  EXPECT_EQ(FindFirstFileA(folder.File("").c_str(), &data), INVALID_HANDLE_VALUE);
}

TEST(Text, ComparesCharacterByCharacter) {
  const auto compare = [](const char* a, const char* b, std::size_t count) {
    const auto* const text = reinterpret_cast<const unsigned char*>(a);
    return _mbsnbcmp(text, reinterpret_cast<const unsigned char*>(b), count);
  };
  EXPECT_EQ(compare("RIFFx", "RIFFy", 4), 0);
  EXPECT_LT(compare("RIFE", "RIFF", 4), 0);
  if (!UseCodePage(932)) return;
  EXPECT_LT(compare("\xB1", "\x83\x40", 4), 0);
  EXPECT_EQ(compare("a\x83x", "a\x83y", 2), 0);
  UseCodePage(0);
}

}  // namespace
