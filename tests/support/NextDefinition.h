#pragma once
// The way from a function that replaces one of the C library's or of ALSA's to the one that it replaces. For
// SystemCalls.cpp and SoundCalls.cpp.

#include <atomic>
#include <cerrno>
#include <type_traits>

namespace test {

/// Asks the hook, if there is one. @return its answer
int AskHook(const char* name, int file, const void* caller);

/// As dlsym (RTLD_NEXT, name), with a sanitizer in the program too.
void* NextDefinition(const char* name);

/// The next definition after this program's own, looked up at the first call.
class Next {
 public:
  explicit constexpr Next(const char* name) : name_(name) {}

  /// @param amount of bytes, frames or parts; made less when the hook wants a short count
  /// @return 0: the call goes on; otherwise the errno value with which it fails
  template <class Amount = int>
  int Ask(const void* caller, int file, Amount* amount = nullptr) const {
    const int answer = AskHook(name_, file, caller);
    if (answer < 0 && amount != nullptr && *amount > 1) *amount = (*amount + 1) / 2;
    return answer < 0 ? 0 : answer;
  }

  template <class Result, class... Arguments>
  Result Go(Arguments... arguments) {
    void* found = found_.load(std::memory_order_acquire);
    if (found == nullptr) found_.store(found = NextDefinition(name_), std::memory_order_release);
    return reinterpret_cast<Result (*)(Arguments...)>(found)(arguments...);
  }

 private:
  const char* name_;
  std::atomic<void*> found_{nullptr};
};

/// Sets errno. @return what a function of the system returns then
template <class Result>
Result Failed(int error) {
  errno = error;
  if constexpr (std::is_pointer_v<Result>) {
    return nullptr;
  } else {
    return Result{-1};
  }
}

}  // namespace test
