#pragma once
// What the programs have in common: how they begin, fail and are stopped.

#include <stdexcept>

namespace CLI {
class App;  // its header is long, and few files need it
}

/// Ends the program with a sentence for the user and the exit code 1. Thrown rather than printed where it
/// arises, so that every file on the way is closed and removed.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Ends the program with this exit code: the user has been told all there is to say.
struct Leave {
  int code;
};

/// All that main does: runs @p tool, which reads its options and does its work, and tells what it throws.
/// @return the exit code: 0; 1 after a failure, when memory is short, and when the standard output did not
///         take everything; 2 when the options make no sense
int RunTool(const char* name, void (*tool)(int argc, char** argv), int argc, char** argv);

/// Reads the options. Throws a Leave when they make no sense, or when help was all that was asked for.
void ReadOptions(CLI::App& app, int argc, char** argv);

/// Throws a Failure when the user wants the program to end. Long works ask now and then.
void CheckStop();
