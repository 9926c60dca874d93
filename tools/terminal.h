#pragma once
// The person in front of the program.

#include <cstdio>

/// Whether somebody looks on.
bool IsTerminal(std::FILE* stream);

/// Makes the standard streams safe to write to: a reader that goes away is a failed write, and one that was
/// closed from the start stays so, without lending its number to a file that the program opens.
void SecureStreams();

/// From now on a wish to end the program (Ctrl-C, the end of the session, a request of the system) is only
/// noted, and a file that reaches a limit of the system is a failed write.
void CatchStops();

/// Whether the program is to end.
bool StopWanted();
