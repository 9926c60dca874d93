// The drivers of the two laws.
#include "platform/posix/acm/g711.h"

namespace platform::detail {

std::shared_ptr<const ConversionDriver> MakeALawDriver() {
  return std::make_shared<G711Driver<ALaw>>("G.711 A-law");
}

std::shared_ptr<const ConversionDriver> MakeMuLawDriver() {
  return std::make_shared<G711Driver<MuLaw>>("G.711 mu-law");
}

}  // namespace platform::detail
