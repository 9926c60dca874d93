#include "tools/devices.h"

#include <algorithm>
#include <cstdio>
#include <optional>

#include "tools/sound_server.h"
#include "tools/tool.h"

namespace {

BOOL __stdcall Collect(LPGUID id, LPCSTR description, LPCSTR /*module*/, LPVOID context) {
  static_cast<std::vector<CaptureDevice>*>(context)->push_back(
      {id != nullptr ? *id : GUID{}, id == nullptr, description != nullptr ? description : ""});
  return TRUE;
}

std::vector<CaptureDevice> ListCaptureDevices() {
  std::vector<CaptureDevice> devices;
  if (DirectSoundCaptureEnumerateA(Collect, &devices) != DS_OK) {
    throw Failure("the capture devices cannot be listed: memory may be short");
  }
  return devices;
}

std::string GuidText(const GUID& id) {
  char text[40];
  std::snprintf(text, sizeof text, "{%08lX-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                static_cast<unsigned long>(id.Data1), id.Data2, id.Data3, id.Data4[0], id.Data4[1],
                id.Data4[2], id.Data4[3], id.Data4[4], id.Data4[5], id.Data4[6], id.Data4[7]);
  return text;
}

// Lower case in ASCII alone: the names are in the system's code page.
std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return text;
}

// What a user may mean by a name.
struct Choice {
  std::string name;   // for people
  std::string other;  // a GUID, or the sound system's name
};

// @return the one that has this name, or the only one with a part of it; empty: none. Throws a Failure when
// there are several
std::optional<std::size_t> Find(const std::vector<Choice>& choices, const std::string& wanted) {
  std::vector<std::size_t> parts;
  for (std::size_t i = 0; i < choices.size(); ++i) {
    const std::string other = Lower(choices[i].other), name = Lower(choices[i].name), part = Lower(wanted);
    if (choices[i].name == wanted || part == other || "{" + part + "}" == other) return i;
    if (name.find(part) != std::string::npos || other.find(part) != std::string::npos) parts.push_back(i);
  }
  if (parts.empty()) return std::nullopt;
  if (parts.size() == 1) return parts.front();
  std::string message = "'" + wanted + "' is part of several names:";
  for (const std::size_t i : parts)
    message.append("\n  ").append(choices[i].name).append("  ").append(choices[i].other);
  throw Failure(message + "\ngive the complete name, or what stands behind it");
}

void Add(const std::vector<ServerDevice>& devices, std::vector<Choice>& choices) {
  for (const ServerDevice& device : devices) choices.push_back({device.text, device.name});
}

void Print(const char* title, const std::vector<ServerDevice>& devices) {
  if (!devices.empty()) std::printf("%s:\n", title);
  for (const ServerDevice& device : devices) {
    std::printf("  %s\n    %s\n", device.text.c_str(), device.name.c_str());
  }
}

}  // namespace

void PrintCaptureDevices() {
  bool hasDefault = false;
  std::printf("Capture devices:\n");
  for (const CaptureDevice& device : ListCaptureDevices()) {
    hasDefault = hasDefault || device.isDefault;
    std::printf(
        "  %s\n    %s\n", device.name.c_str(),
        device.isDefault ? "the default: recorded from without --device" : GuidText(device.id).c_str());
  }
  Print("Sources of the sound server", ListServerDevices(ServerDevices::kSources));
  if (!hasDefault) std::printf("There is no default device: name one with --device.\n");
}

void PrintPlaybackDevices() {
  const std::vector<ServerDevice> sinks = ListServerDevices(ServerDevices::kSinks);
  Print("Sinks of the sound server", sinks);
  if (sinks.empty()) std::printf("There is no sound server.\n");
}

GUID FindCaptureDevice(const std::string& wanted) {
  GUID id{};
  if (wanted == "signal" && BuiltInDevice(&id)) return id;
  std::vector<CaptureDevice> devices = ListCaptureDevices();
  std::erase_if(devices, [](const CaptureDevice& device) { return device.isDefault; });
  std::vector<Choice> choices;
  choices.reserve(devices.size());
  for (const CaptureDevice& device : devices) choices.push_back({device.name, GuidText(device.id)});
  Add(ListServerDevices(ServerDevices::kSources), choices);
  const std::optional<std::size_t> found = Find(choices, wanted);
  if (found && *found < devices.size()) return devices[*found].id;
  if (CaptureDeviceOf(found ? choices[*found].other : wanted, &id)) return id;
  throw Failure("no capture device is called '" + wanted + "'; --list shows the devices");
}

void ChoosePlaybackDevice(const std::string& wanted) {
  std::vector<Choice> choices;
  Add(ListServerDevices(ServerDevices::kSinks), choices);
  const std::optional<std::size_t> found = Find(choices, wanted);
  if (!PlayOn(found ? choices[*found].other : wanted)) {
    throw Failure("a device cannot be chosen here: the system plays on its default one");
  }
}
