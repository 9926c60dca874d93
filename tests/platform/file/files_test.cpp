// Files without a buffer, the search for one and private heaps, and what the layer promises of them beyond
// the published calls.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/platform.h"
#include "platform/posix/layer.h"
#include "tests/support/System.h"
#include "tests/support/SystemCalls.h"
#include "tests/support/files.h"

namespace {

HANDLE Create(const std::string& path) {
  return CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}
HMMIO OpenBuffered(std::string path, DWORD flags) {
  return mmioOpenA(path.data(), nullptr, MMIO_ALLOCBUF | flags);
}

TEST(Files, HaveNamesInTheCodePageAndPositionsUpToFourGigabytes) {
  const TempFolder folder;
  platform::SetCodePage(932);
  const std::string name = "\x83\x5C";  // one character, whose second byte is no separator
  const std::string path = folder.Name() + "\\" + name;
  const HANDLE file = Create(path);
  EXPECT_EQ(mmioClose(OpenBuffered(path + "b", MMIO_CREATE | MMIO_READWRITE), 0), 0u);
  DWORD moved = 0;
  EXPECT_TRUE(WriteFile(file, "sound", 5, &moved, nullptr));
  WIN32_FIND_DATAA data;
  const HANDLE search = FindFirstFileA(path.c_str(), &data);
  EXPECT_EQ(data.cFileName, name);
  EXPECT_EQ(data.nFileSizeLow, 5u);
  EXPECT_EQ(FindClose(search), TRUE);
  EXPECT_EQ(FindClose(search), FALSE);
  platform::SetCodePage(0);
  EXPECT_TRUE(std::filesystem::exists(folder.File(name)) && std::filesystem::exists(folder.File(name + "b")));
  for (const auto& [distance, position] : {std::pair<LONG, DWORD>{0x7FFFFFFA, 0x7FFFFFFF},
                                           {0x7FFFFFFF, 0xFFFFFFFE},
                                           {1000, INVALID_SET_FILE_POINTER},
                                           {0, 0xFFFFFFFE}})
    EXPECT_EQ(SetFilePointer(file, distance, nullptr, FILE_CURRENT), position);
  EXPECT_EQ(SetFilePointer(file, -4, nullptr, FILE_END), 1u);
  EXPECT_EQ(GetFileSize(file, nullptr), 5u);
  EXPECT_TRUE(CloseHandle(file));
  EXPECT_FALSE(CloseHandle(file) || WriteFile(file, "sound", 5, &moved, nullptr));
}

TEST(Heaps, OwnTheirBlocks) {
  const HANDLE heap = HeapCreate(HEAP_NO_SERIALIZE, 0, 0);
  const HANDLE other = HeapCreate(0, 0, 0);
  auto* const block = static_cast<char*>(HeapAlloc(heap, HEAP_ZERO_MEMORY, 1000));
  EXPECT_EQ(test::Bytes(block, block + 1000), test::Bytes(1000));
  EXPECT_FALSE(HeapFree(other, 0, block) || CloseHandle(heap));
  EXPECT_TRUE(HeapFree(heap, 0, block));
  EXPECT_FALSE(HeapFree(heap, 0, block));
  EXPECT_TRUE(HeapDestroy(heap) && HeapDestroy(other));
  EXPECT_EQ(HeapAlloc(heap, 0, 1), nullptr);
}

bool OpensAboveTheStandardFiles(const TempFolder& folder) {
  for (int file = 0; file < 3; ++file) close(file);
  const HANDLE plain = Create(folder.File("a"));
  const HMMIO buffered = OpenBuffered(folder.File("b"), MMIO_CREATE | MMIO_READWRITE);
  for (int file = 0; file < 3; ++file)
    if (fcntl(file, F_GETFD) != -1) return false;
  return OpenFiles(folder.Path()) == 2 && mmioWrite(buffered, "sound", 5) == 5 &&
         mmioClose(buffered, 0) == 0 && CloseHandle(plain) && OpenFiles(folder.Path()) == 0;
}

TEST(Files, NeverGetADescriptorOfTheStandardOnes) {
  const TempFolder folder;
  const pid_t child = fork();
  if (child == 0) _exit(OpensAboveTheStandardFiles(folder) ? 0 : 1);
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST(Files, ReportAFailureOfTheSystemAlsoOfTheClose) {
  const TempFolder folder;
  EXPECT_EQ(Create(folder.File("no/file")), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ENOENT));
  const HANDLE file = Create(folder.File("a"));  // shares nothing
  EXPECT_EQ(OpenBuffered(folder.File("a"), MMIO_READ), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(EBUSY));
  test::HookSystemCalls([](const char* call, int descriptor) {
    if (std::strcmp(call, "write") == 0) return ENOSPC;
    if (std::strcmp(call, "close") != 0) return 0;
    close(descriptor);
    return EIO;
  });
  DWORD moved = 0;
  EXPECT_EQ(WriteFile(file, "sound", 5, &moved, nullptr), FALSE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ENOSPC));
  EXPECT_FALSE(CloseHandle(file));
  test::HookSystemCalls(nullptr);
  EXPECT_FALSE(CloseHandle(file));
  EXPECT_EQ(OpenFiles(folder.Path()), 0u);
  EXPECT_TRUE(CloseHandle(Create(folder.File("a"))));  // nobody has it open
}

}  // namespace
