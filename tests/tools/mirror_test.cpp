// cmm-mirror, run as a program: against sox.
#include <algorithm>
#include <cstdlib>

#include "tests/tools/Program.h"

namespace {

class Mirror : public Programs {};

TEST_F(Mirror, ChangesTheLevelAsSoxDoes) {
  for (const auto& [bits, gain, step] :
       {std::tuple{"8", "-6", 256}, {"16", "-6", 1}, {"16", "2", 1}, {"8", "0", 0}}) {
    MakeSource({"-r", "22050", "-c", "2", "-b", bits});
    const auto expected = SamplesOf(source_, {"gain", gain});
    for (const std::string reader : {"--strict", "--force"}) {
      Succeed({CMM_MIRROR, source_, target_, "--gain", gain, reader, "--force"});
      EXPECT_EQ(FileText(target_).substr(0, 44), FileText(source_).substr(0, 44));
      const auto made = SamplesOf(target_);
      ASSERT_EQ(made.size(), expected.size());
      int most = 0;
      for (std::size_t i = 0; i < made.size(); ++i) most = std::max(most, std::abs(made[i] - expected[i]));
      EXPECT_LE(most, step) << bits << " bits, " << gain << " dB";  // rounded, by both
    }
  }
  const std::string before = FileText(source_);
  Succeed({CMM_MIRROR, source_, source_, "--gain", "-3", "-f"});
  EXPECT_NE(FileText(source_), before);
}

}  // namespace
