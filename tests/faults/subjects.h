#pragma once
// What the faults are put into: four jobs as a host does them. They take no memory themselves and call the
// system only by way of the library, so that all that fails is the library's.

#include <string>

struct Job {
  std::string source;  ///< a finished WAV file
  std::string folder;  ///< for what comes out
};

/// The name of what comes out, in the job's folder.
inline constexpr char kOutput[] = "out.wav";

/// @return whether all has gone well, by the results of the library's calls alone
using Subject = bool (*)(const Job& job);

bool Record(const Job& job);
bool ConvertInTwoStages(const Job& job);
bool MirrorStrictly(const Job& job);
bool MirrorSearching(const Job& job);
