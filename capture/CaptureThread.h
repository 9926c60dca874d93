#pragma once
/// @file
/// The entry of the capture thread.

#include "platform/platform.h"

/// @addtogroup capture
/// @{

/// Entry of the capture thread: opens the device, drains the ring and carries out commands until the run
/// ends. Only the controller starts it, on a thread of its own:
///
/// @code
/// _beginthreadex(nullptr, 0, CaptureThread, run.get(), 0, &id);
/// @endcode
///
/// @param threadDat the record of the run, a CaptureRun; any other pointer ends the thread at once
/// @return never: it ends its thread with 0
unsigned __stdcall CaptureThread(void* threadDat);

/// @}
