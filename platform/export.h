#pragma once
// CMM_API: on every exported class and function. The build of the library itself defines CMM_BUILDING.

#if defined(_WIN32)
#if defined(CMM_BUILDING)
#define CMM_API __declspec(dllexport)
#else
#define CMM_API __declspec(dllimport)
#endif
#else
#define CMM_API __attribute__((visibility("default")))
#endif
