// Definitions of the C library's functions that replace them in all of the process, the library included.
// Each asks the hook, and then calls the next definition. On 64-bit systems the library's calls have no suffix
// 64; those of the C++ library have.

#include "tests/support/SystemCalls.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "tests/support/NextDefinition.h"

namespace {

using test::Failed;
using test::Next;

constinit std::atomic<test::SystemCallHook> hook{nullptr};
constinit thread_local bool inHook = false;
constinit thread_local const void* callerNow = nullptr;

mode_t ModeOf(int flags, va_list rest) {
  return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(rest, mode_t) : 0;
}

}  // namespace

int test::AskHook(const char* name, int file, const void* caller) {
  const test::SystemCallHook ask = hook.load(std::memory_order_acquire);
  if (ask == nullptr || inHook) return 0;
  const int before = errno;
  inHook = true;
  callerNow = caller;
  const int answer = ask(name, file);
  inHook = false;
  errno = before;
  return answer;
}

void* test::NextDefinition(const char* name) {
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

void test::HookSystemCalls(SystemCallHook given) {
  hook.store(given, std::memory_order_release);
}

const void* test::CallerOfSystemCall() {
  return callerNow;
}

// One function: its declaration, result type, name, descriptor and arguments.
#define HOOKED(declaration, Result, name, file, ...)                                                 \
  declaration {                                                                                      \
    static constinit Next next(#name);                                                               \
    if (const int error = next.Ask(__builtin_return_address(0), file)) return Failed<Result>(error); \
    return next.Go<Result>(__VA_ARGS__);                                                             \
  }
// The same with an argument that a short count makes less.
#define HOOKED_AMOUNT(declaration, Result, name, file, amount, ...)             \
  declaration {                                                                 \
    static constinit Next next(#name);                                          \
    if (const int error = next.Ask(__builtin_return_address(0), file, &amount)) \
      return Failed<Result>(error);                                             \
    return next.Go<Result>(__VA_ARGS__);                                        \
  }
// The same for functions that return the error.
#define HOOKED_THREADS(declaration, name, ...)                                     \
  declaration {                                                                    \
    static constinit Next next(#name);                                             \
    if (const int error = next.Ask(__builtin_return_address(0), -1)) return error; \
    return next.Go<int>(__VA_ARGS__);                                              \
  }
// The same for functions that close, with an error or without.
#define HOOKED_CLOSE(declaration, name, file, argument)            \
  declaration {                                                    \
    static constinit Next next(#name);                             \
    const int error = next.Ask(__builtin_return_address(0), file); \
    const int result = next.Go<int>(argument);                     \
    return error != 0 ? Failed<int>(error) : result;               \
  }
#define HOOKED_OPEN(name, arguments, ...)                                                       \
  int name arguments {                                                                          \
    va_list rest;                                                                               \
    va_start(rest, flags);                                                                      \
    const mode_t mode = ModeOf(flags, rest);                                                    \
    va_end(rest);                                                                               \
    static constinit Next next(#name);                                                          \
    if (const int error = next.Ask(__builtin_return_address(0), -1)) return Failed<int>(error); \
    return next.Go<int>(__VA_ARGS__, flags, mode);                                              \
  }

extern "C" {

HOOKED_OPEN(open, (const char* path, int flags, ...), path)
HOOKED_OPEN(open64, (const char* path, int flags, ...), path)
HOOKED_OPEN(openat, (int folder, const char* path, int flags, ...), folder, path)
HOOKED_OPEN(openat64, (int folder, const char* path, int flags, ...), folder, path)
int fcntl(int file, int command, ...) {
  va_list rest;
  va_start(rest, command);
  void* const argument = va_arg(rest, void*);  // as wide as any
  va_end(rest);
  static constinit Next next("fcntl");
  if (const int error = next.Ask(__builtin_return_address(0), file)) return Failed<int>(error);
  return next.Go<int>(file, command, argument);
}

HOOKED_CLOSE(int close(int file), close, file, file)
HOOKED_CLOSE(int fclose(FILE* file), fclose, -1, file)
HOOKED(FILE* fopen(const char* path, const char* mode), FILE*, fopen, -1, path, mode)
HOOKED(FILE* fopen64(const char* path, const char* mode), FILE*, fopen64, -1, path, mode)
HOOKED_AMOUNT(ssize_t read(int file, void* data, size_t bytes), ssize_t, read, file, bytes, file, data, bytes)
HOOKED_AMOUNT(ssize_t write(int file, const void* data, size_t bytes), ssize_t, write, file, bytes, file,
              data, bytes)
HOOKED_AMOUNT(ssize_t pread(int file, void* data, size_t bytes, off_t at), ssize_t, pread, file, bytes, file,
              data, bytes, at)
HOOKED_AMOUNT(ssize_t pwrite(int file, const void* data, size_t bytes, off_t at), ssize_t, pwrite, file,
              bytes, file, data, bytes, at)
HOOKED_AMOUNT(ssize_t pwritev(int file, const iovec* parts, int count, off_t at), ssize_t, pwritev, file,
              count, file, parts, count, at)
HOOKED_AMOUNT(ssize_t writev(int file, const iovec* parts, int count), ssize_t, writev, file, count, file,
              parts, count)
HOOKED(off_t lseek(int file, off_t offset, int origin) noexcept, off_t, lseek, file, file, offset, origin)
HOOKED(off64_t lseek64(int file, off64_t offset, int origin) noexcept, off64_t, lseek64, file, file, offset,
       origin)
HOOKED(int ftruncate(int file, off_t length) noexcept, int, ftruncate, file, file, length)
HOOKED(int truncate(const char* path, off_t length) noexcept, int, truncate, -1, path, length)
HOOKED(int fsync(int file), int, fsync, file, file)
HOOKED(int fdatasync(int file), int, fdatasync, file, file)
HOOKED(int fstat(int file, struct stat* status) noexcept, int, fstat, file, file, status)
HOOKED(int fstat64(int file, struct stat64* status) noexcept, int, fstat64, file, file, status)
HOOKED(int stat(const char* path, struct stat* status) noexcept, int, stat, -1, path, status)
HOOKED(int lstat(const char* path, struct stat* status) noexcept, int, lstat, -1, path, status)
HOOKED(int statvfs(const char* path, struct statvfs* status) noexcept, int, statvfs, -1, path, status)
HOOKED(int access(const char* path, int mode) noexcept, int, access, -1, path, mode)
HOOKED(char* realpath(const char* path, char* out) noexcept, char*, realpath, -1, path, out)
HOOKED(ssize_t readlink(const char* path, char* out, size_t bytes) noexcept, ssize_t, readlink, -1, path, out,
       bytes)
HOOKED(int rename(const char* from, const char* to) noexcept, int, rename, -1, from, to)
HOOKED(int remove(const char* path) noexcept, int, remove, -1, path)
HOOKED(int unlink(const char* path) noexcept, int, unlink, -1, path)
HOOKED(int fchmod(int file, mode_t mode) noexcept, int, fchmod, file, file, mode)
HOOKED(int fchown(int file, uid_t user, gid_t group) noexcept, int, fchown, file, file, user, group)
HOOKED(int flock(int file, int operation) noexcept, int, flock, file, file, operation)
HOOKED(DIR* opendir(const char* path), DIR*, opendir, -1, path)
HOOKED(DIR* fdopendir(int file), DIR*, fdopendir, file, file)
HOOKED(dirent* readdir(DIR* folder), dirent*, readdir, -1, folder)
HOOKED(int poll(pollfd* files, nfds_t count, int timeoutMs), int, poll, -1, files, count, timeoutMs)
HOOKED(int eventfd(unsigned count, int flags) noexcept, int, eventfd, -1, count, flags)
HOOKED(int eventfd_read(int file, eventfd_t* value), int, eventfd_read, file, file, value)
HOOKED(int eventfd_write(int file, eventfd_t value), int, eventfd_write, file, file, value)
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
