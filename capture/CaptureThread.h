#pragma once

#include "platform/platform.h"

/// Entry of the capture thread, for _beginthreadex; the controller starts it and nobody else does.
/// @param threadDat the ThreadDAT of the run
unsigned __stdcall CaptureThread(void* threadDat);
