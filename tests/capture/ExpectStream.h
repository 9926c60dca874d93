#pragma once

#include <gtest/gtest.h>

#include "tests/capture/CaptureTools.h"

/// Expects a finished file with the first bytes of the fake device's stream.
inline void ExpectStream(const std::string& path, std::size_t bytes) {
  const test::Bytes file = test::Load(path);
  ASSERT_EQ(file.size(), kHeaderBytes + bytes) << path;
  EXPECT_EQ(test::Number(file, 4), file.size() - 8);
  EXPECT_EQ(test::Number(file, 52), bytes);
  for (std::size_t k = 0; k < bytes; ++k) {
    ASSERT_EQ(static_cast<std::uint8_t>(file[kHeaderBytes + k]), FakeDevice::Byte(k))
        << path << ", byte " << k;
  }
}
