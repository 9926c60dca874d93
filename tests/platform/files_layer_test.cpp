// What the layer promises of files, searches and heaps beyond the published calls: nothing is found twice.
#include <gtest/gtest.h>

#include "platform/platform.h"
#include "platform/posix/layer.h"
#include "tests/support/files.h"

namespace {

TEST(Files, HaveNamesInTheCodePageAndFourGigabytesAtMost) {
  const TempFolder folder;
  platform::SetCodePage(932);
  const std::string name = "\x83\x5C";  // one character, whose second byte is no separator
  const std::string path = folder.Name() + "\\" + name;
  const HANDLE file = CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  WIN32_FIND_DATAA data;
  const HANDLE search = FindFirstFileA(path.c_str(), &data);
  EXPECT_EQ(FindClose(search), TRUE);
  EXPECT_EQ(FindClose(search), FALSE);
  platform::SetCodePage(0);
  EXPECT_TRUE(std::filesystem::exists(folder.File(name)));
  EXPECT_EQ(SetFilePointer(file, 0x7FFFFFFF, nullptr, FILE_BEGIN), 0x7FFFFFFFu);
  EXPECT_EQ(SetFilePointer(file, 0x7FFFFFFF, nullptr, FILE_CURRENT), 0xFFFFFFFEu);
  EXPECT_EQ(SetFilePointer(file, 1000, nullptr, FILE_CURRENT), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_CURRENT), 0xFFFFFFFEu);
  EXPECT_TRUE(CloseHandle(file));
  EXPECT_FALSE(CloseHandle(INVALID_HANDLE_VALUE));
}

TEST(Heaps, OwnTheirBlocks) {
  const HANDLE heap = HeapCreate(HEAP_NO_SERIALIZE, 0, 0);
  const HANDLE other = HeapCreate(0, 0, 0);
  void* const block = HeapAlloc(heap, 0, 1000);
  EXPECT_EQ(HeapAlloc(heap, HEAP_ZERO_MEMORY, SIZE_T{1} << 31), nullptr);
  EXPECT_FALSE(HeapFree(other, 0, block) || CloseHandle(heap));
  EXPECT_TRUE(HeapFree(heap, 0, block));
  EXPECT_FALSE(HeapFree(heap, 0, block));
  EXPECT_TRUE(HeapDestroy(heap) && HeapDestroy(other));
  EXPECT_FALSE(HeapDestroy(heap) || HeapAlloc(heap, 0, 1) != nullptr);
}

}  // namespace
