#pragma once
/// @file
/// The marks for what the library exports.

// The marks for what the shared library exports. A host that includes an installed header needs nothing else.
//
// CMM_API: on every exported class and function. The build of the library itself defines CMM_BUILDING. It is empty
// for the static library, where CMM_STATIC is defined: by the CMake package and by pkg-config.
// CMM_LOCAL: on a class inside an exported one that is not exported with it.

#if defined(CMM_STATIC)
#define CMM_API
#define CMM_LOCAL
#elif defined(_WIN32)
#if defined(CMM_BUILDING)
#define CMM_API __declspec(dllexport)
#else
#define CMM_API __declspec(dllimport)
#endif
#define CMM_LOCAL
#else
#define CMM_API __attribute__((visibility("default")))
#define CMM_LOCAL __attribute__((visibility("hidden")))
#endif
