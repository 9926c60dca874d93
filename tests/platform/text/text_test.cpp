// Debug messages, code pages and what depends on them. Built with the layer's text.cpp in it, since the
// library does not export NativePath.
#include "platform/posix/text.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>

#include "platform/platform.h"
#include "platform/posix/layer.h"
#include "platform/posix/text/codepage.h"

namespace {

TEST(DebugOutput, IsNotInASinkAnyMoreThatHasBeenReplaced) {
  static std::atomic<int> step{0};
  const auto receive = [](void*, const char*) {
    step = 1;
    Sleep(60);
    step = 2;
  };
  const auto talk = [](DWORD delayMs) {
    Sleep(delayMs);
    OutputDebugStringA("text");
  };
  platform::SetDebugSink(receive, nullptr);
  std::thread first(talk, 0),
      second(talk, 30);  // the second finds a sink, but has to wait, and then finds none
  while (step == 0) std::this_thread::yield();
  platform::SetDebugSink(nullptr, nullptr);
  EXPECT_EQ(step, 2);
  first.join();
  second.join();
}

TEST(CodePage, FollowsTheLocaleOfTheEnvironment) {
  const auto expect = [](unsigned page, const char* all, const char* ctype, const char* lang) {
    setenv("LC_ALL", all, 1);
    setenv("LC_CTYPE", ctype, 1);
    setenv("LANG", lang, 1);
    EXPECT_EQ(platform::CodePage(), page) << all << ctype << lang;
  };
  for (const char* name : {"ja_JP.SJIS", "ja_JP.Shift_JIS", "ja_JP.shiftjis@x", "ja.cp932", "ja_JP.IBM-943",
                           "ja_JP.Windows-31J", "ja_JP.MS_Kanji", "ja_JP.PCK", "ja_JP.ibm932"})
    expect(932, "", name, "C.UTF-8");  // an empty variable does not count
  for (const char* name : {"C", "ja_JP.UTF-8", "ja_JP.eucJP", "ja_JP", "ja_JP.SJIS2", "ja_JP.SJ", "SJIS",
                           "ja_JP.UTF-8@SJIS", "ja_JP."})
    expect(65001, name, "ja_JP.SJIS", "ja_JP.SJIS");
  platform::SetCodePage(1252);
  EXPECT_EQ(platform::CodePage(), 1252u);
}

TEST(NativePath, TurnsSeparatorsButNoSecondBytes) {
  const std::string cases[][3] = {
      // path, native in 932, native in UTF-8
      {R"(\\x\a/b\)", "//x/a/b/", "//x/a/b/"},
      {"\x83\x5C.wav", "\x83\x5C.wav", "\x83/.wav"},               // one character whose second byte is 0x5C
      {"\x95\x5C\\\x95\x5C", "\x95\x5C/\x95\x5C", "\x95//\x95/"},  // and a separator after it
      {"\x83\x83\x5C", "\x83\x83/", "\x83\x83/"},                  // second byte in the range of first ones
      {"\x83\x83\x83\x5C", "\x83\x83\x83\x5C", "\x83\x83\x83/"},
      {"\xB1\x5C\xA0\x5C\xFD\x5C", "\xB1/\xA0/\xFD/", "\xB1/\xA0/\xFD/"},  // single-byte characters
      {"a\\\x83", "a/\x83", "a/\x83"},                                     // cut in the middle of a character
  };
  char out[16];
  for (const auto& [path, native932, nativeUtf8] : cases) {
    for (const bool japanese : {true, false}) {
      platform::SetCodePage(japanese ? 932 : 65001);
      EXPECT_TRUE(platform::detail::NativePath(path.c_str(), out, path.size() + 1));
      EXPECT_EQ(out, japanese ? native932 : nativeUtf8);
      EXPECT_FALSE(platform::detail::NativePath(path.c_str(), out, path.size())) << "it does not fit";
    }
  }
  EXPECT_FALSE(platform::detail::NativePath(nullptr, out, 5));
}

}  // namespace
