#include "tools/high_quality.h"
#include "tools/tool.h"

struct HighQualityRate::State {};

HighQualityRate::HighQualityRate(std::uint32_t /*from*/, std::uint32_t /*to*/, std::uint16_t /*channels*/) {
  throw Failure("--quality high needs libsoxr, which this program was built without");
}

HighQualityRate::~HighQualityRate() = default;

void HighQualityRate::Convert(const std::int16_t* /*frames*/, std::size_t /*count*/,
                              std::vector<std::int16_t>& /*output*/) {}
