#include "units/PathHelpers.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

#include "tests/support/System.h"

namespace {

std::string Name(const std::string& path) {
  return GetFileNamefromPass(path.c_str());
}
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
                      {"C:\\a.wav", "a.wav", "C:"},
                      {"C:a.wav", "a.wav", "C"},
                      {"dir/a.wav", "a.wav", "dir"},
                      {"\\a.wav", "a.wav", ""},
                      {"a.wav", "a.wav", ""},
                      {"C:\\dir\\", "", "C:\\dir"},
                      {"", "", ""},
                      {"d\\\x95\x5C.wav", "\x95\x5C.wav", "d", 932},  // the second byte is no separator
                      {"d\\a\x95", "a\x95", "d", 932}};  // a lead byte at the end is not stepped over
  for (const auto& each : kPaths) {
    if (!UseCodePage(each.codePage)) continue;
    EXPECT_EQ(Name(each.path), each.name) << each.path;
    EXPECT_EQ(Divided(DividePath, each.path), each.directory) << each.path;
  }
  for (const auto& [name, stem] :
       {std::pair("a.wav", "a"), {"a.b.wav", "a.b"}, {"a", ""}, {".wav", ""}, {"", ""}, {"c.d\\e", "c"}}) {
    EXPECT_EQ(Divided(DivideFileName, name), stem) << name;
  }
  char path[] = "C:\\dir\\a.wav";
  EXPECT_EQ(GetFileNamefromPass(path), path + 7) << "a pointer into the path itself";
  const std::string longer(70000, 'd');  // than sixteen bits can count
  EXPECT_EQ(Name(longer + "/a.wav"), "a.wav");
  EXPECT_EQ(Divided(DividePath, longer + "/a.wav"), longer);
  EXPECT_EQ(Divided(DivideFileName, longer + ".wav"), longer);
}

constexpr std::size_t npos = std::string::npos;

/// Where the last mark stands, said in the plainest way; npos without one.
std::size_t PlainLast(const std::string& text, std::string_view marks, bool doubleBytes) {
  std::size_t last = npos;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (doubleBytes && ((byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC))) {
      ++i;
    } else if (marks.find(text[i]) != npos) {
      last = i;
    }
  }
  return last;
}

TEST(PathHelpers, AgreeWithThePlainDefinitionInEveryCodePage) {
  constexpr std::string_view kLikely = "\\/:.a\x80\x81\x95\x9F\xA0\xDF\xE0\xFC\xFD";
  std::mt19937 random(1);
  for (const unsigned codePage : {932u, 65001u, 1252u}) {
    if (!UseCodePage(codePage)) continue;
    for (int i = 0; i < (codePage == 932 ? 1'000'000 : 100'000); ++i) {
      std::string text(random() % 12, '\0');
      for (char& each : text) {
        each = random() % 4 != 0 ? kLikely[random() % kLikely.size()] : static_cast<char>(1 + random() % 255);
      }
      const std::size_t separator = PlainLast(text, "\\/:", codePage == 932);
      const std::size_t mark = PlainLast(text, ".", codePage == 932);
      ASSERT_EQ(Name(text), text.substr(separator + 1));  // npos + 1 is 0
      ASSERT_EQ(Divided(DividePath, text), separator == npos ? "" : text.substr(0, separator));
      ASSERT_EQ(Divided(DivideFileName, text), mark == npos ? "" : text.substr(0, mark));
    }
  }
}

}  // namespace
