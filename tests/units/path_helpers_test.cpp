#include "units/PathHelpers.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

#include "platform/posix/layer.h"

namespace {

std::string Name(const std::string& path) {
  return GetFileNamefromPass(path.c_str());
}
std::string Divided(std::int32_t (*divide)(char*, const char*), const std::string& text) {
  std::string out(text.size() + 1, '#');
  EXPECT_EQ(divide(out.data(), text.c_str()), 1);
  return out.c_str();
}

class PathHelpers : public testing::Test {
 protected:
  void SetUp() override { platform::SetCodePage(932); }
  void TearDown() override { platform::SetCodePage(0); }
};

TEST_F(PathHelpers, TakePathsApart) {
  struct {
    const char *path, *name, *directory;
  } const kPaths[] = {{"C:\\dir\\a.wav", "a.wav", "C:\\dir"},
                      {"C:\\a.wav", "a.wav", "C:"},
                      {"C:a.wav", "a.wav", "C"},
                      {"dir/a.wav", "a.wav", "dir"},
                      {"\\a.wav", "a.wav", ""},
                      {"a.wav", "a.wav", ""},
                      {"C:\\dir\\", "", "C:\\dir"},
                      {"", "", ""},
                      {"d\\\x95\x5C.wav", "\x95\x5C.wav", "d"},  // the second byte is no separator
                      {"d\\a\x95", "a\x95", "d"}};               // a lead byte at the end is not stepped over
  for (const auto& each : kPaths) {
    EXPECT_EQ(Name(each.path), each.name) << each.path;
    EXPECT_EQ(Divided(DividePath, each.path), each.directory) << each.path;
  }
  const char* const kNames[][2] = {{"a.wav", "a"}, {"a.b.wav", "a.b"}, {"a", ""},
                                   {".wav", ""},   {"", ""},           {"c.d\\e", "c"}};
  for (const auto& [name, stem] : kNames) EXPECT_EQ(Divided(DivideFileName, name), stem) << name;
  char path[] = "C:\\dir\\a.wav";
  EXPECT_EQ(GetFileNamefromPass(path), path + 7) << "a pointer into the path itself";
}

TEST_F(PathHelpers, TakeApartWhatSixteenBitsCannotCount) {
  const std::string directory(70000, 'd');
  EXPECT_EQ(Name(directory + "/a.wav"), "a.wav");
  EXPECT_EQ(Divided(DividePath, directory + "/a.wav"), directory);
  EXPECT_EQ(Divided(DivideFileName, directory + ".wav"), directory);
}

/// Where the last mark stands, said in the plainest way; npos without one.
std::size_t PlainLast(const std::string& text, std::string_view marks, bool doubleBytes) {
  std::size_t last = std::string::npos;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (doubleBytes && ((byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC))) {
      ++i;
    } else if (marks.find(text[i]) != std::string_view::npos) {
      last = i;
    }
  }
  return last;
}

TEST_F(PathHelpers, AgreeWithThePlainDefinitionInEveryCodePage) {
  constexpr std::string_view kLikely = "\\/:.a\x80\x81\x95\x9F\xA0\xDF\xE0\xFC\xFD";
  std::mt19937 random(1);
  for (const unsigned codePage : {932u, 65001u, 1252u}) {
    platform::SetCodePage(codePage);
    for (int i = 0; i < (codePage == 932 ? 1'000'000 : 100'000); ++i) {
      std::string text(random() % 12, '\0');
      for (char& each : text) {
        each = random() % 4 != 0 ? kLikely[random() % kLikely.size()] : static_cast<char>(1 + random() % 255);
      }
      const std::size_t separator = PlainLast(text, "\\/:", codePage == 932);
      const std::size_t mark = PlainLast(text, ".", codePage == 932);
      const auto upTo = [&text](std::size_t end) {
        return end == std::string::npos ? "" : text.substr(0, end);
      };
      ASSERT_EQ(Name(text), text.substr(separator + 1));  // npos + 1 is 0
      ASSERT_EQ(Divided(DividePath, text), upTo(separator));
      ASSERT_EQ(Divided(DivideFileName, text), upTo(mark));
    }
  }
}

}  // namespace
