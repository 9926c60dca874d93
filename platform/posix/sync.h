#pragma once
/// @file
/// Events, mutexes, threads and waits, and a thread's entry to COM, under the published names.
///
/// Every function may be called from any thread; times are in milliseconds. A handle that is null, closed or
/// foreign is refused with the published result and changes nothing. Closing a handle while another thread
/// waits for its object is safe.

#include "platform/posix/types.h"

struct SECURITY_ATTRIBUTES;
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;

inline constexpr DWORD INFINITE = 0xFFFFFFFF;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_ABANDONED_0 = 0x80;
inline constexpr DWORD WAIT_ABANDONED = 0x80;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;
inline constexpr DWORD MAXIMUM_WAIT_OBJECTS = 64;
inline constexpr DWORD QS_ALLEVENTS = 0xBF;

/// Makes an event.
/// @param security, name null
/// @param manualReset    FALSE: a wait that the event ends resets it; otherwise only ResetEvent does
/// @param initialState   whether it is set
/// @return the event, for CloseHandle
/// @return null: memory or handles are short, or @p security or @p name is not null
CMM_API HANDLE CreateEventA(LPSECURITY_ATTRIBUTES security, BOOL manualReset, BOOL initialState, LPCSTR name);
/// Sets an event, which stays so until it is reset.
/// @return TRUE: set
/// @return FALSE: no open event
CMM_API BOOL SetEvent(HANDLE event);
/// Resets an event. Results as of SetEvent.
CMM_API BOOL ResetEvent(HANDLE event);

/// Makes a mutex. Its owner may take it again, and releases it as often as it has taken it.
/// @param security, name null
/// @param initialOwner   whether the calling thread owns it at first
/// @return the mutex, for CloseHandle
/// @return null: memory or handles are short, or @p security or @p name is not null
CMM_API HANDLE CreateMutexA(LPSECURITY_ATTRIBUTES security, BOOL initialOwner, LPCSTR name);
/// @return TRUE: released, once
/// @return FALSE: the calling thread does not own it, or no open mutex
CMM_API BOOL ReleaseMutex(HANDLE mutex);

/// Closes a handle of this header, of CreateFileA or of another call that names it. A thread whose handle is
/// closed runs on.
/// @return TRUE: closed
/// @return FALSE: not an open handle, or a heap's; nothing has changed
/// @return FALSE: a file whose close failed (EIO, ENOSPC, EDQUOT): the handle is closed, and what was written
///         may not be on the disk
CMM_API BOOL CloseHandle(HANDLE handle);

/// Waits until the object is signalled: an event that is set (one with automatic reset is reset by this), a
/// mutex that is free or already the caller's (the caller owns it then, once more), a thread that has ended.
/// @param milliseconds limit, or INFINITE; 0 returns at once
/// @return WAIT_OBJECT_0: signalled
/// @return WAIT_ABANDONED: a mutex whose owner has ended without releasing it; the caller owns it now
/// @return WAIT_TIMEOUT: not signalled within the limit
/// @return WAIT_FAILED: not an open handle of such an object
CMM_API DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);

/// Waits until one of several objects is signalled; there is no message queue here, so input never comes.
/// @param count    below MAXIMUM_WAIT_OBJECTS; 0 waits for the time limit alone, which is not INFINITE then
/// @param waitAll  FALSE
/// @param wakeMask not used
/// @return WAIT_OBJECT_0 plus the lowest index that is signalled: only this object is taken
/// @return WAIT_ABANDONED_0 plus that index: an abandoned mutex, as of WaitForSingleObject
/// @return WAIT_TIMEOUT: none was signalled within the limit
/// @return WAIT_FAILED: a handle is not open, or an argument is refused
CMM_API DWORD MsgWaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds,
                                        DWORD wakeMask);

/// Sleeps for @p milliseconds, or a little longer; 0 lets another thread run that is ready.
CMM_API void Sleep(DWORD milliseconds);

/// Starts a thread. All signals but faults are blocked in it: they are for the host's own threads.
/// @param security  null
/// @param stackSize bytes, of which at least 64 KiB are given; 0: the system's usual size
/// @param start     called with @p argument on the new thread; the thread ends when it returns
/// @param flags     0
/// @param id        receives the thread's number, from 1 on; may be null
/// @return the thread's handle, for CloseHandle; signalled when the thread has ended
/// @return 0: memory, threads or handles are short, or an argument is refused
CMM_API std::uintptr_t _beginthreadex(void* security, unsigned stackSize, unsigned(__stdcall* start)(void*),
                                      void* argument, unsigned flags, unsigned* id);
/// Ends the calling thread, which _beginthreadex has started, and destroys the objects on its stack. Mutexes
/// that it still owns are abandoned.
/// @param code not used
[[noreturn]] CMM_API void _endthreadex(unsigned code);

/// Enters COM on the calling thread.
/// @param reserved null
/// @return S_OK: entered
/// @return S_FALSE: entered once more; each entry needs a CoUninitialize
/// @return E_INVALIDARG: @p reserved is not null
CMM_API HRESULT CoInitialize(LPVOID reserved);
/// Ends the calling thread's latest entry; without one it does nothing.
CMM_API void CoUninitialize();
