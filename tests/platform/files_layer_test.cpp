// What the layer promises of files, searches and heaps beyond the published calls: nothing is found twice.
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

// Its exit code is the number of the first expectation that does not hold.
[[noreturn]] void OpenWithoutStandardFiles(const TempFolder& folder) {
  const auto standardFiles = [] {
    return (fcntl(0, F_GETFD) != -1 ? 1 : 0) + (fcntl(1, F_GETFD) != -1 ? 1 : 0) +
           (fcntl(2, F_GETFD) != -1 ? 1 : 0);
  };
  for (int file = 0; file < 3; ++file) close(file);
  std::string name = folder.File("b");
  const HANDLE plain = Create(folder.File("a"));
  const HMMIO buffered = mmioOpenA(name.data(), nullptr, MMIO_ALLOCBUF | MMIO_CREATE | MMIO_READWRITE);
  if (OpenFiles(folder.Path()) != 2) _exit(1);
  if (standardFiles() != 0) _exit(2);
  if (mmioWrite(buffered, "sound", 5) != 5 || mmioClose(buffered, 0) != 0 || !CloseHandle(plain)) _exit(3);
  if (OpenFiles(folder.Path()) != 0 || standardFiles() != 0) _exit(4);
  _exit(0);
}

TEST(Files, NeverTakeThePlaceOfAStandardOne) {
  const TempFolder folder;
  const pid_t child = fork();
  if (child == 0) OpenWithoutStandardFiles(folder);
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0) << "ended with " << WEXITSTATUS(status);
}

TEST(Files, TellTheSystemsCodeOfAFailure) {
  const TempFolder folder;
  const std::string missing = folder.File("no/file"), name = folder.File("a");
  SetLastError(0);
  EXPECT_EQ(Create(missing), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ENOENT));
  const HANDLE file = Create(name);  // shares nothing
  EXPECT_EQ(mmioOpenA(const_cast<char*>(name.c_str()), nullptr, MMIO_ALLOCBUF | MMIO_READ), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(EBUSY));
  SetLastError(0);
  test::HookSystemCalls([](const char* call, int) { return std::strcmp(call, "write") == 0 ? ENOSPC : 0; });
  DWORD moved = 0;
  EXPECT_EQ(WriteFile(file, "sound", 5, &moved, nullptr), FALSE);
  test::HookSystemCalls(nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ENOSPC));
  EXPECT_EQ(CloseHandle(file), TRUE);
}

TEST(Files, TellOfACloseThatFailed) {
  const TempFolder folder;
  const HANDLE file = Create(folder.File("a"));
  test::HookSystemCalls([](const char* name, int descriptor) {
    if (std::strcmp(name, "close") != 0) return 0;
    close(descriptor);
    return EIO;
  });
  EXPECT_FALSE(CloseHandle(file));
  test::HookSystemCalls(nullptr);
  EXPECT_FALSE(CloseHandle(file));
  EXPECT_EQ(OpenFiles(folder.Path()), 0u);
  EXPECT_TRUE(CloseHandle(Create(folder.File("a"))));  // nobody has it open
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
