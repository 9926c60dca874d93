#pragma once
// What to tell a user when a recording fails.

#include <string>

#include "capture/CaptureReport.h"
#include "platform/platform.h"

/// Published name and value of a failure, what it means and what can be done about it.
/// @param state  CMMWAVCapture::GetState's state: the step at which the start-up stopped
/// @param result the result beside it
std::string DeviceFailureText(std::uint32_t state, HRESULT result);

/// Why a recording has ended by itself, or its file could not be finished; and what can be done about it.
std::string EndText(const cmm::CaptureReport& report, const std::string& file);
