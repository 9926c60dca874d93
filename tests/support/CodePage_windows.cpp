#include "tests/support/CodePage.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "platform/platform.h"

bool test::UseCodePage(unsigned codePage) {
  // Who starts the program to see it in a certain code page says so: nothing is to be left out unnoticed.
  if (const char* const expected = std::getenv("CMM_CODE_PAGE")) {
    EXPECT_EQ(std::to_string(GetACP()), expected);
  }
  return codePage == 0 || codePage == GetACP();
}
