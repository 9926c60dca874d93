#include "units/PathHelpers.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/System.h"

namespace {

std::string Divided(std::int32_t (*divide)(char*, const char*), const std::string& text) {
  std::string out(text.size() + 1, '#');
  EXPECT_EQ(divide(out.data(), text.c_str()), 1);
  return out.c_str();
}

TEST(PathHelpers, TakePathsApart) {
  struct {
    const char *path, *name, *directory;
    unsigned codePage = 0;
  } const kPaths[] = {{"C:\\dir\\a.wav", "a.wav", "C:\\dir"},
                      {"C:a.wav", "a.wav", "C"},
                      {"dir/a.wav", "a.wav", "dir"},
                      {"\\a.wav", "a.wav", ""},
                      {"a.wav", "a.wav", ""},
                      {"C:\\dir\\", "", "C:\\dir"},
                      {"", "", ""},
                      {"d\\\x95\x5C.wav", "\x95\x5C.wav", "d", 932},  // the second byte is no separator
                      {"d/\x95/e", "\x95/e", "d", 932},
                      {"d\\a\x95", "a\x95", "d", 932}};  // a lead byte at the end is not stepped over
  for (const auto& each : kPaths) {
    if (!UseCodePage(each.codePage)) continue;
    EXPECT_STREQ(GetFileNamefromPass(each.path), each.name);
    EXPECT_EQ(Divided(DividePath, each.path), each.directory) << each.path;
  }
  for (const auto& [name, stem] :
       {std::pair("a.wav", "a"), {"a.b.wav", "a.b"}, {"a", ""}, {".wav", ""}, {"", ""}, {"c.d\\e", "c"}}) {
    EXPECT_EQ(Divided(DivideFileName, name), stem) << name;
  }
  char path[] = "C:\\dir\\a.wav";
  EXPECT_EQ(GetFileNamefromPass(path), path + 7) << "a pointer into the path itself";
  const std::string longer(70000, 'd');  // than sixteen bits can count
  EXPECT_STREQ(GetFileNamefromPass((longer + "/a.wav").c_str()), "a.wav");
  EXPECT_EQ(Divided(DivideFileName, longer + ".wav"), longer);
}

}  // namespace
