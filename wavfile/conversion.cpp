// Conversion of what is read.
#include "wavfile/share.h"

std::uint32_t CMMWav::EndConvert() {
  return 0;  // nothing begins a conversion yet
}
