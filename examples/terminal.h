#pragma once
// The person in front of the program.

#include <cstdio>

/// Whether somebody looks on.
bool IsTerminal(std::FILE* stream);

/// From now on a wish to end the program (Ctrl-C, the end of the session, a request of the system) is only
/// noted, and a file that reaches a limit of the system is a failed write.
void CatchStops();

/// Whether the program is to end.
bool StopWanted();
