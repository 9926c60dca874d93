#pragma once
// The devices of the user's sound server, which the system's list of devices does not have.

#include <string>
#include <vector>

struct ServerDevice {
  std::string name;  ///< ALSA's, as "pulse:alsa_input.usb-..."
  std::string text;  ///< for people
};

enum class ServerDevices { kSources, kSinks };

/// @return empty also without a sound server, and where it does not answer within two seconds
std::vector<ServerDevice> ListServerDevices(ServerDevices which);
