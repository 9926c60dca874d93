#pragma once
// Hints for compilers that know them. No result depends on one.

/// Marks a condition as unpredictable, so that what hangs on it becomes a selection and no jump. A macro,
/// because the mark does not outlive the inlining of a function.
#ifdef __has_builtin
#if __has_builtin(__builtin_expect_with_probability)
#define HARMONY_EVEN_ODDS(condition) (__builtin_expect_with_probability((condition), 1, 0.5) != 0)
#endif
#endif
#ifndef HARMONY_EVEN_ODDS
#define HARMONY_EVEN_ODDS(condition) (condition)
#endif

/// Keeps a function that is hardly ever called out of its callers.
#if __has_cpp_attribute(gnu::noinline)
#define HARMONY_RARE [[gnu::noinline]]
#else
#define HARMONY_RARE
#endif
