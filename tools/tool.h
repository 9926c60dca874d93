#pragma once
// What the programs have in common: how they start, fail and stop.

#include <stdexcept>

namespace CLI {
class App;  // its header is long, and few files need it
}

/// Ends the program with a sentence for the user and the exit code 1. Thrown rather than printed where it
/// arises, so that every file on the way is closed and removed.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Ends the program with this exit code; the user has been told why.
struct ExitCode {
  int code;
};

/// The body of main: runs @p tool, which reads its options and does its work, and prints what it throws.
/// @return the exit code: 0;
///         1 after a failure, when memory is short, or when the standard output did not take everything;
///         2 when the options make no sense
int RunTool(const char* name, void (*tool)(int argc, char** argv), int argc, char** argv);

/// Reads the options. Throws an ExitCode when they make no sense, or after --help.
void ReadOptions(CLI::App& app, int argc, char** argv);

/// Throws a Failure when the program has been asked to stop. Long work calls it now and then.
void CheckStop();
