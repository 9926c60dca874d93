#pragma once
// A hook for the process's calls into the system, before they are made. For programs with SystemCalls.cpp
// among their sources.

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
#define CMM_SANITIZER_HAS_THREAD_KEYS
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
#define CMM_SANITIZER_HAS_THREAD_KEYS
#endif
#endif

namespace test {

/// An answer of a hook: the call goes on with half of its bytes, where it is given a number of them.
inline constexpr int kShortCount = -1;

/// Called ahead of each call of the process into the system through one of the functions in SystemCalls.cpp,
/// by the thread that makes it; may sleep. Its own calls do not come to it.
/// @param name of the function, as it is written: "pwrite"
/// @param file the descriptor; -1 when the function is given none
/// @return 0: the call goes on; kShortCount; otherwise the errno value with which it fails
using SystemCallHook = int (*)(const char* name, int file);

/// @param hook null: none. Calls that are under way may still come to the one before
void HookSystemCalls(SystemCallHook hook);

/// In a hook: an address in the code that has made the call.
const void* CallerOfSystemCall();

/// Whether pthread_key_create and pthread_setspecific are hooked: not under a sanitizer, whose runtime calls
/// them too and cannot handle a failure.
#ifdef CMM_SANITIZER_HAS_THREAD_KEYS
inline constexpr bool kHooksThreadKeys = false;
#else
inline constexpr bool kHooksThreadKeys = true;
#endif

}  // namespace test
