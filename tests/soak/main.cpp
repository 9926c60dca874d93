// Capture against time: stalls, stops, servers that die, hours of sound and thousands of takes. Run by
// scripts/soak.

#include <gtest/gtest.h>

#include <cstring>

#include "tests/soak/Take.h"

int main(int argc, char** argv) {
  if (argc == 5 && std::strcmp(argv[1], "record") == 0) return soak::RecordForParent(argv + 2);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
