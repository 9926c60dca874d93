#pragma once
/// @file
/// The one include for the platform's names, for the library, its hosts and its tests. The subsystems are
/// written against the published names alone; this file decides where they come from, and nothing else does.

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// windows.h comes first: the others rely on it.
#include <dsound.h>
#include <mbstring.h>
#include <mmreg.h>
#include <mmsystem.h>
#include <msacm.h>
#include <process.h>
#else
#include "platform/posix/acm.h"
#include "platform/posix/dsound.h"
#include "platform/posix/errors.h"
#include "platform/posix/files.h"
#include "platform/posix/find.h"
#include "platform/posix/mci.h"
#include "platform/posix/memory.h"
#include "platform/posix/mmio.h"
#include "platform/posix/multimedia.h"
#include "platform/posix/sync.h"
#include "platform/posix/text.h"
#include "platform/posix/types.h"
#include "platform/posix/window.h"
#endif
