// Built with the layer's text.cpp in it, since the library keeps this function to itself.
#include <gtest/gtest.h>

#include <string>

#include "platform/posix/codepage.h"
#include "platform/posix/layer.h"

namespace {

std::string Native(const std::string& path) {
  std::string out(path.size() + 1, '#');
  EXPECT_TRUE(platform::detail::NativePath(path.c_str(), out.data(), out.size()));
  EXPECT_EQ(out.back(), '\0');
  out.pop_back();
  return out;
}

TEST(NativePath, TurnsSeparatorsButNoSecondBytes) {
  struct Case {
    const char *path, *native932, *nativeUtf8;
  };
  const Case cases[] = {
      {"", "", ""},
      {R"(C:\a/b\)", "C:/a/b/", "C:/a/b/"},
      {R"(\\x)", "//x", "//x"},
      {"\x83\x5C.wav", "\x83\x5C.wav", "\x83/.wav"},               // one character whose second byte is 0x5C
      {"\x95\x5C\\\x95\x5C", "\x95\x5C/\x95\x5C", "\x95//\x95/"},  // and a separator behind it
      {"\x83\x83\x5C", "\x83\x83/", "\x83\x83/"},                  // second byte in the range of first ones
      {"\x83\x83\x83\x5C", "\x83\x83\x83\x5C", "\x83\x83\x83/"},
      {"\xB1\x5C\xA0\x5C\xFD\x5C", "\xB1/\xA0/\xFD/", "\xB1/\xA0/\xFD/"},  // single-byte characters
      {"\xE0\x5C\xFC\x5C\x9F\x5C", "\xE0\x5C\xFC\x5C\x9F\x5C", "\xE0/\xFC/\x9F/"},
      {"a\\\x83", "a/\x83", "a/\x83"},  // cut in the middle of a character
  };
  for (const Case& c : cases) {
    platform::SetCodePage(932);
    EXPECT_EQ(Native(c.path), c.native932);
    platform::SetCodePage(65001);
    EXPECT_EQ(Native(c.path), c.nativeUtf8);
  }
}

TEST(NativePath, RefusesWhatDoesNotFit) {
  char out[5] = "####";
  EXPECT_TRUE(platform::detail::NativePath("a\\bc", out, 5));
  EXPECT_STREQ(out, "a/bc");
  EXPECT_FALSE(platform::detail::NativePath("a\\bc", out, 4));
  EXPECT_STREQ(out, "");
  EXPECT_FALSE(platform::detail::NativePath("", out, 0));
  EXPECT_FALSE(platform::detail::NativePath(nullptr, out, 5));
}

}  // namespace
