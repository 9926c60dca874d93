// Definitions of the C library's functions that replace them in all of the process, the library included.
// Each asks the hook, and then calls the next definition. On 64-bit systems the names have no suffix 64.

#include "tests/support/SystemCalls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

namespace {

constinit std::atomic<test::SystemCallHook> hook{nullptr};
constinit thread_local bool inHook = false;

int Ask(const char* name, int file) {
  const test::SystemCallHook ask = hook.load(std::memory_order_acquire);
  if (ask == nullptr || inHook) return 0;
  const int before = errno;
  inHook = true;
  const int error = ask(name, file);
  inHook = false;
  errno = before;
  return error;
}

void* NextDefinition(const char* name) {
#if defined(__clang__)
  // A sanitizer's runtime is in the program itself, with its own definition under another name. Without a
  // sanitizer there is none, and the failed search would take memory.
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
  char wrapped[64];
  std::snprintf(wrapped, sizeof wrapped, "__interceptor_%s", name);
  if (void* const interceptor = dlsym(RTLD_DEFAULT, wrapped)) return interceptor;
#endif
#endif
  return dlsym(RTLD_NEXT, name);
}

/// The next definition after this program's own, looked up at the first call.
class Next {
 public:
  explicit constexpr Next(const char* name) : name_(name) {}

  /// Calls it, unless the hook says no.
  /// @return with a hook that says no -1, and errno is set
  template <class Result, class... Arguments>
  Result Call(int file, Arguments... arguments) {
    if (const int error = Ask(name_, file); error != 0) {
      errno = error;
      return Result{-1};
    }
    return Go<Result>(arguments...);
  }

  /// The same for functions that return the error.
  template <class... Arguments>
  int CallThreads(Arguments... arguments) {
    const int error = Ask(name_, -1);
    return error != 0 ? error : Go<int>(arguments...);
  }

 private:
  template <class Result, class... Arguments>
  Result Go(Arguments... arguments) {
    void* found = found_.load(std::memory_order_acquire);
    if (found == nullptr) found_.store(found = NextDefinition(name_), std::memory_order_release);
    return reinterpret_cast<Result (*)(Arguments...)>(found)(arguments...);
  }

  const char* name_;
  std::atomic<void*> found_{nullptr};
};

}  // namespace

void test::HookSystemCalls(SystemCallHook given) {
  hook.store(given, std::memory_order_release);
}

extern "C" {

int open(const char* path, int flags, ...) {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE) {
    va_list rest;
    va_start(rest, flags);
    mode = va_arg(rest, mode_t);
    va_end(rest);
  }
  static constinit Next next("open");
  return next.Call<int>(-1, path, flags, mode);
}
int fcntl(int file, int command, ...) {
  va_list rest;
  va_start(rest, command);
  void* const argument = va_arg(rest, void*);  // as wide as any
  va_end(rest);
  static constinit Next next("fcntl");
  return next.Call<int>(file, file, command, argument);
}
// One function: its declaration, result type, name, descriptor and arguments.
#define HOOKED(declaration, Result, name, file, ...) \
  declaration {                                      \
    static constinit Next next(#name);               \
    return next.Call<Result>(file, __VA_ARGS__);     \
  }
#define HOOKED_THREADS(declaration, name, ...) \
  declaration {                                \
    static constinit Next next(#name);         \
    return next.CallThreads(__VA_ARGS__);      \
  }

HOOKED(int close(int file), int, close, file, file)
HOOKED(ssize_t read(int file, void* data, size_t bytes), ssize_t, read, file, file, data, bytes)
HOOKED(ssize_t write(int file, const void* data, size_t bytes), ssize_t, write, file, file, data, bytes)
HOOKED(ssize_t pread(int file, void* data, size_t bytes, off_t at), ssize_t, pread, file, file, data, bytes,
       at)
HOOKED(ssize_t pwrite(int file, const void* data, size_t bytes, off_t at), ssize_t, pwrite, file, file, data,
       bytes, at)
HOOKED(ssize_t pwritev(int file, const iovec* parts, int count, off_t at), ssize_t, pwritev, file, file,
       parts, count, at)
HOOKED(off_t lseek(int file, off_t offset, int origin) noexcept, off_t, lseek, file, file, offset, origin)
HOOKED(int ftruncate(int file, off_t length) noexcept, int, ftruncate, file, file, length)
HOOKED(int fsync(int file), int, fsync, file, file)
HOOKED(int fdatasync(int file), int, fdatasync, file, file)
HOOKED(int fstat(int file, struct stat* status) noexcept, int, fstat, file, file, status)
HOOKED(int stat(const char* path, struct stat* status) noexcept, int, stat, -1, path, status)
HOOKED(int access(const char* path, int mode) noexcept, int, access, -1, path, mode)
HOOKED(int eventfd(unsigned count, int flags) noexcept, int, eventfd, -1, count, flags)
HOOKED_THREADS(int pthread_create(pthread_t* id, const pthread_attr_t* attributes, void* (*start)(void*),
                                  void* argument) noexcept,
               pthread_create, id, attributes, start, argument)
#ifndef CMM_SANITIZER_HAS_THREAD_KEYS
HOOKED_THREADS(int pthread_key_create(pthread_key_t* key, void (*atEnd)(void*)) noexcept, pthread_key_create,
               key, atEnd)
HOOKED_THREADS(int pthread_setspecific(pthread_key_t key, const void* value) noexcept, pthread_setspecific,
               key, value)
#endif

}  // extern "C"
