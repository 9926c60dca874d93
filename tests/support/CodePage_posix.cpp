#include "tests/support/CodePage.h"

#include "platform/posix/layer.h"

bool test::UseCodePage(unsigned codePage) {
  platform::SetCodePage(codePage);
  return true;
}
