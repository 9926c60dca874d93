#include "platform/pcm/pcm_driver.h"

#include "wavfile/PcmDriver.h"

std::int32_t cmm::AddPcmDriver() {
  return platform::detail::AddPcmDriver() ? 1 : 0;
}
