// Capture against time: stalls, stops, servers that die, and hours of sound. Run by scripts/soak.

#include <gtest/gtest.h>

#include <cstring>

/// The process that a test stops: records FILE from DEVICE for SECONDS. @return 0 when nothing is lost
int RecordForParent(char** arguments);

int main(int argc, char** argv) {
  if (argc == 5 && std::strcmp(argv[1], "record") == 0) return RecordForParent(argv + 2);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
