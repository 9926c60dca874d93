// Loaded ahead of a program (LD_PRELOAD), makes one of its allocations or calls into the system fail, or all
// from that one on, and reports at its end. For scripts/faults.
//
//   CMM_FAULT="KIND NTH ERROR ON"  KIND a: allocations, o: those of the program, the library and the C++ library
//                                  alone, c: calls; NTH 0: none fails; ERROR an errno value, or -1 for a short
//                                  count; ON 1: all from the NTH on
//   CMM_FAULT_REPORT=FILE          receives "ALLOCATIONS CALLS MET BLOCKS FILES PLACE": how many of both were
//                                  counted, whether one failed, what the program has not given back, and where
//                                  the first failed
//   CMM_FAULT_FROM=host            counts from BeginFaults to EndFaults, and not from main to the end
//
// Calls count when the program, the library or the C++ library makes them.

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/support/Allocations.h"
#include "tests/support/SystemCalls.h"

namespace {

struct Fault {
  char kind = 'c';
  long nth = 0;
  int error = 0;
  int on = 0;
};

constexpr long kNever = 1L << 40;

Fault fault;
constinit std::atomic<bool> isOn{false};
constinit std::atomic<long> calls{0};
constinit std::atomic<bool> callFailed{false};
bool allocationFailed = false;
long blocksBefore = 0, blocksLeft = 0;
int filesBefore = 0, filesLeft = 0;
char place[200] = "-";
int (*programMain)(int, char**, char**) = nullptr;

const char* ModuleOf(const void* code, const void** base) {
  Dl_info info;
  if (dladdr(code, &info) == 0) return "";
  *base = info.dli_fbase;
  const char* const slash = std::strrchr(info.dli_fname, '/');
  return slash != nullptr ? slash + 1 : info.dli_fname;
}

bool BeginsWith(const char* text, const char* begin) {
  return std::strncmp(text, begin, std::strlen(begin)) == 0;
}

bool IsOurs(const char* module) {
  return BeginsWith(module, "cmm-") || BeginsWith(module, "faults_host") ||
         BeginsWith(module, "libcmmaudio.") || BeginsWith(module, "libstdc++.");
}

void NotePlace(const char* call, const char* module, const void* code, const void* base) {
  std::snprintf(place, sizeof place, "%s by %s+0x%lx", call, module,
                static_cast<unsigned long>(static_cast<const char*>(code) - static_cast<const char*>(base)));
}

int FailTheCall(const char* name, int) {
  const void* const code = test::CallerOfSystemCall();
  const void* base = nullptr;
  const char* const module = ModuleOf(code, &base);
  if (!IsOurs(module)) return 0;
  const long number = ++calls;
  if (fault.kind != 'c' || fault.nth == 0 || number < fault.nth || (number > fault.nth && fault.on == 0))
    return 0;
  if (!callFailed.exchange(true)) NotePlace(name, module, code, base);
  if (fault.error > 0 && BeginsWith(name, "pthread_")) {
    return BeginsWith(name, "pthread_setspecific") ? ENOMEM : EAGAIN;
  }
  return fault.error;
}

bool AllocationCounts(const void* code, bool isNext) {
  const void* base = nullptr;
  const char* const module = ModuleOf(code, &base);
  if (fault.kind == 'o' && !IsOurs(module)) return false;
  if (isNext) NotePlace("allocation", module, code, base);
  return true;
}

int OpenFiles() {
  int count = 0;
  for (int file = 0; file < 256; ++file) count += fcntl(file, F_GETFD) >= 0 ? 1 : 0;
  return count;
}

void End() {
  if (!isOn.exchange(false)) return;
  allocationFailed = test::AllocateAgain();
  test::HookSystemCalls(nullptr);
  // In a host that goes on, a thread that has done its work may still be about to end.
  const int most = std::getenv("CMM_FAULT_FROM") != nullptr ? 100 : 0;
  for (int looks = 0; looks < most && test::AllocationsHeld() > blocksBefore; ++looks) usleep(10'000);
  filesLeft = OpenFiles() - filesBefore;
  blocksLeft = test::AllocationsHeld() - blocksBefore;
}

void Begin() {
  const char* const wanted = std::getenv("CMM_FAULT");
  if (wanted == nullptr ||
      std::sscanf(wanted, "%c %ld %d %d", &fault.kind, &fault.nth, &fault.error, &fault.on) != 4) {
    return;
  }
  blocksBefore = test::AllocationsHeld();
  filesBefore = OpenFiles();
  isOn = true;
  test::HookSystemCalls(FailTheCall);
  test::FilterAllocations(AllocationCounts);
  test::FailAllocation(fault.kind != 'c' && fault.nth > 0 ? fault.nth : kNever, fault.on != 0);
}

int MainWithFaults(int argc, char** argv, char** environment) {
  if (std::getenv("CMM_FAULT_FROM") == nullptr) Begin();
  return programMain(argc, argv, environment);
}

// After the program's own exit handlers.
__attribute__((destructor)) void Report() {
  End();
  const char* const path = std::getenv("CMM_FAULT_REPORT");
  if (path == nullptr) return;
  const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  char text[400];
  const int size =
      std::snprintf(text, sizeof text, "%ld %ld %d %ld %d %s\n", test::AllocationsMade(), calls.load(),
                    allocationFailed || callFailed ? 1 : 0, blocksLeft, filesLeft, place);
  [[maybe_unused]] const ssize_t ignored = write(file, text, static_cast<std::size_t>(size));
  close(file);
}

}  // namespace

extern "C" {

void BeginFaults();
void EndFaults();
int __libc_start_main(int (*program)(int, char**, char**), int argc, char** argv, void (*init)(),
                      void (*atEnd)(), void (*loaderAtEnd)(), void* stackEnd);

void BeginFaults() {
  Begin();
}
void EndFaults() {
  End();
}

// The C library's call of main: all before it, as the loader's own allocations, does not count.
int __libc_start_main(int (*program)(int, char**, char**), int argc, char** argv, void (*init)(),
                      void (*atEnd)(), void (*loaderAtEnd)(), void* stackEnd) {
  programMain = program;
  const auto next = reinterpret_cast<decltype(&__libc_start_main)>(dlsym(RTLD_NEXT, "__libc_start_main"));
  return next(MainWithFaults, argc, argv, init, atEnd, loaderAtEnd, stackEnd);
}

}  // extern "C"
