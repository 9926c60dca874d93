#pragma once
// What the programs that make one file out of another have in common: how they begin, fail and are stopped.

#include <functional>
#include <stdexcept>

namespace CLI {
class App;  // its header is long, and few files need it
}

/// Ends the program with a sentence for the user. Thrown rather than printed where it arises, so that every
/// file on the way is closed and removed.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Reads the options, sets the signals and does the work.
/// @return the exit code: 0; 1 after a Failure, which it prints; 2 when the options make no sense
int RunTool(CLI::App& app, int argc, char** argv, const std::function<void()>& work);

/// Throws a Failure when the user wants the program to end. Long works ask now and then.
void CheckStop();
