#pragma once
/// @file
/// Handles of the audio compression manager.

#include "platform/posix/types.h"

using HACMDRIVERID = struct HACMDRIVERID__*;
using HACMDRIVER = struct HACMDRIVER__*;
using HACMSTREAM = struct HACMSTREAM__*;
struct ACMSTREAMHEADER;
