#pragma once
// The terminal, the standard streams, and requests to stop.

#include <cstddef>
#include <cstdio>

/// Whether a stream is a terminal.
bool IsTerminal(std::FILE* stream);

/// Makes the standard streams safe to write to: when the reader has gone, a write fails; a stream that was
/// closed from the start stays closed, and no file that the program opens gets its number.
void SecureStreams();

/// Reads standard input, as bytes.
/// @return how many; 0: it has ended, or the program shall; -1: it cannot be read
long ReadInput(char* to, std::size_t room);

/// From now on standard output takes bytes as they are.
void MakeOutputBinary();

/// From now on a request to end the program (Ctrl-C, the end of the session, a signal) is only noted, and a
/// write beyond a limit for file sizes fails.
void CatchStops();

/// Whether such a request has come.
bool StopWanted();
