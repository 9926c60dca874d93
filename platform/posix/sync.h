#pragma once
/// @file
/// Events, mutexes, threads and waits, and a thread's entry to COM, under the published names.
///
/// Every function may be called from any thread. A handle that is null, closed or foreign is refused with the
/// published result and touches nothing; closing a handle while another thread waits on it is safe.

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

/// @return the event, for CloseHandle; null when memory is short. @p security and @p name must be null.
CMM_API HANDLE CreateEventA(LPSECURITY_ATTRIBUTES security, BOOL manualReset, BOOL initialState, LPCSTR name);
/// @return TRUE; FALSE for what is no open event
CMM_API BOOL SetEvent(HANDLE event);
CMM_API BOOL ResetEvent(HANDLE event);

/// @return the mutex, for CloseHandle; null when memory is short. @p security and @p name must be null.
CMM_API HANDLE CreateMutexA(LPSECURITY_ATTRIBUTES security, BOOL initialOwner, LPCSTR name);
/// @return TRUE; FALSE when the calling thread does not own the mutex
CMM_API BOOL ReleaseMutex(HANDLE mutex);

/// A thread goes on without its handle.
/// @return TRUE; FALSE for a handle that is not open, and for a file whose close failed (EIO, ENOSPC,
///         EDQUOT): what was written to it may not be on the disk, and the handle is closed
CMM_API BOOL CloseHandle(HANDLE handle);

/// Waits until the object is signalled: an event that is set (one with automatic reset is reset by this), a
/// mutex that is free or already the caller's (it is the caller's then, once more), a thread that has ended.
/// @param milliseconds limit, or INFINITE; 0 looks without waiting
/// @return WAIT_OBJECT_0; WAIT_ABANDONED (a mutex whose owner ended with it; it is the caller's now);
///         WAIT_TIMEOUT; WAIT_FAILED for a handle that is not open
CMM_API DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);

/// Waits until one of several objects is signalled; there is no message queue here, so input never comes.
/// @param count   below MAXIMUM_WAIT_OBJECTS; 0 waits for the time limit alone, which must not be INFINITE
/// then
/// @param waitAll FALSE; TRUE is refused
/// @return WAIT_OBJECT_0 plus the lowest index signalled, WAIT_ABANDONED_0 plus the index, WAIT_TIMEOUT, or
///         WAIT_FAILED when a handle is not open or an argument is refused
CMM_API DWORD MsgWaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds,
                                        DWORD wakeMask);

/// Sleeps for @p milliseconds; 0 gives the processor to whoever else is ready.
CMM_API void Sleep(DWORD milliseconds);

/// Starts a thread. Signals are blocked in it, but for faults: they are for the host's own threads.
/// @param security, flags null and 0
/// @param id receives the thread's number; may be null
/// @return the thread's handle, for CloseHandle; 0 on failure
CMM_API std::uintptr_t _beginthreadex(void* security, unsigned stackSize, unsigned(__stdcall* start)(void*),
                                      void* argument, unsigned flags, unsigned* id);
/// Ends the calling thread, which _beginthreadex has started. Mutexes that it still owns are abandoned.
[[noreturn]] CMM_API void _endthreadex(unsigned code);

/// Enters COM on this thread. @return S_OK; S_FALSE when the thread is in already
CMM_API HRESULT CoInitialize(LPVOID reserved);
CMM_API void CoUninitialize();
