// Plain files and private heaps: positions, blocks, and handles that are none.
#include "platform/posix/files.h"

#include <gtest/gtest.h>

#include "platform/posix/layer.h"
#include "platform/posix/memory.h"
#include "platform/posix/sync.h"
#include "platform/posix/text.h"
#include "tests/support/files.h"

namespace {

TEST(Files, HavePositionsUpToFourGigabytes) {
  const TempFolder folder;
  platform::SetCodePage(932);
  const std::string name = "\x83\x5C";  // one character, whose second byte is no separator
  const HANDLE file =
      CreateFileA((folder.Path().string() + "\\" + name).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                  CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  platform::SetCodePage(0);
  std::filesystem::resize_file(folder.File(name), 0xFFFFFFF0);
  char bytes[] = "abcd....";
  DWORD moved = 9;
  EXPECT_EQ(SetFilePointer(file, -2, nullptr, FILE_END), 0xFFFFFFEEu);
  EXPECT_TRUE(WriteFile(file, bytes, 4, &moved, nullptr));
  EXPECT_EQ(GetFileSize(file, nullptr), 0xFFFFFFF2u);
  EXPECT_EQ(SetFilePointer(file, -4, nullptr, FILE_CURRENT), 0xFFFFFFEEu);
  EXPECT_EQ(SetFilePointer(file, 1000, nullptr, FILE_CURRENT), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(SetFilePointer(file, -1, nullptr, FILE_BEGIN), INVALID_SET_FILE_POINTER);
  for (const DWORD expected : {4u, 0u}) {
    EXPECT_TRUE(ReadFile(file, bytes + 4, 4000, &moved, nullptr));
    EXPECT_EQ(moved, expected);
  }
  EXPECT_STREQ(bytes, "abcdabcd");
  EXPECT_TRUE(CloseHandle(file));
  EXPECT_FALSE(CloseHandle(file) || CloseHandle(INVALID_HANDLE_VALUE));
  EXPECT_FALSE(ReadFile(file, bytes, 4, &moved, nullptr) || WriteFile(file, bytes, 4, &moved, nullptr));
  EXPECT_EQ(GetFileSize(file, nullptr), INVALID_FILE_SIZE);
}

TEST(Heaps, OwnTheirBlocks) {
  const HANDLE heap = HeapCreate(HEAP_NO_SERIALIZE, 0, 0);
  const HANDLE other = HeapCreate(0, 0, 0);
  auto* const block = static_cast<char*>(HeapAlloc(heap, HEAP_ZERO_MEMORY, 1000));
  EXPECT_EQ(test::Bytes(block, block + 1000), test::Bytes(1000));
  EXPECT_NE(HeapAlloc(heap, 0, 0), nullptr);  // goes with the heap
  EXPECT_EQ(HeapAlloc(heap, HEAP_ZERO_MEMORY, SIZE_T{1} << 31), nullptr);
  EXPECT_FALSE(HeapFree(other, 0, block) || CloseHandle(heap));
  EXPECT_TRUE(HeapFree(heap, 0, block));
  EXPECT_FALSE(HeapFree(heap, 0, block));
  EXPECT_TRUE(HeapDestroy(heap) && HeapDestroy(other));
  EXPECT_FALSE(HeapDestroy(heap) || HeapAlloc(heap, 0, 1) != nullptr);
}

TEST(Text, ComparesCharacterByCharacter) {
  platform::SetCodePage(932);
  const auto compare = [](const char* a, const char* b, std::size_t count) {
    const auto* const text = reinterpret_cast<const unsigned char*>(a);
    return _mbsnbcmp(text, reinterpret_cast<const unsigned char*>(b), count);
  };
  EXPECT_EQ(compare("RIFFx", "RIFFy", 4), 0);
  EXPECT_LT(compare("RIFE", "RIFF", 4), 0);
  EXPECT_LT(compare("\xB1", "\x83\x40", 4), 0);
  EXPECT_EQ(compare("a\x83x", "a\x83y", 2), 0);
  platform::SetCodePage(0);
}

}  // namespace
