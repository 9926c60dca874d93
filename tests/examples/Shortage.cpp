// Loaded before a program: from the beginning of its main on it gets as many blocks of memory as the
// environment's CMM_BLOCKS says, and then none. With CMM_BAD_DISK nothing can be brought to the disk.
#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <limits>

using Main = int (*)(int, char**, char**);
using Start = int (*)(Main, int, char**, void (*)(), void (*)(), void (*)(), void*);

extern "C" void* malloc(std::size_t);
extern "C" void* __libc_malloc(std::size_t);  // the C library's own, under the name that it exports
extern "C" int __libc_start_main(Main, int, char**, void (*)(), void (*)(), void (*)(), void*);

namespace {

constinit std::atomic<long> left{std::numeric_limits<long>::max()};
constinit Main programMain = nullptr;

int MainWithShortMemory(int argc, char** argv, char** environment) {
  if (const char* const blocks = std::getenv("CMM_BLOCKS")) left = std::atol(blocks);
  return programMain(argc, argv, environment);
}

}  // namespace

void* malloc(std::size_t bytes) {
  return left.fetch_sub(1) > 0 ? __libc_malloc(bytes) : nullptr;
}

int fsync(int file) {
  if (std::getenv("CMM_BAD_DISK") == nullptr) return fdatasync(file);
  errno = EIO;
  return -1;
}

// What runs the initialisers and then main.
int __libc_start_main(Main main, int argc, char** argv, void (*init)(), void (*fini)(), void (*rtldFini)(),
                      void* stack) {
  programMain = main;
  const auto start = reinterpret_cast<Start>(dlsym(RTLD_NEXT, "__libc_start_main"));
  return start(MainWithShortMemory, argc, argv, init, fini, rtldFini, stack);
}
