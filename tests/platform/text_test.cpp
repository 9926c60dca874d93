#include "platform/posix/text.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "platform/posix/layer.h"

namespace {

void Append(void* list, const char* text) {
  static_cast<std::vector<std::string>*>(list)->push_back(text);
}

TEST(DebugOutput, GoesToTheSinkOfTheMomentAndToNobodyWithoutOne) {
  std::vector<std::string> first, second;
  OutputDebugStringA("nobody");
  platform::SetDebugSink(Append, &first);
  OutputDebugStringA("a\x8A\x4A\n");  // bytes as they are
  OutputDebugStringA(nullptr);
  const auto speakOnceAndGo = [](void* list, const char* text) {
    Append(list, text);
    if (static_cast<std::vector<std::string>*>(list)->size() == 2) platform::SetDebugSink(nullptr, nullptr);
    OutputDebugStringA("from inside");
  };
  platform::SetDebugSink(speakOnceAndGo, &second);
  OutputDebugStringA("from outside");
  OutputDebugStringA("nobody");
  EXPECT_EQ(first, std::vector<std::string>{"a\x8A\x4A\n"});
  EXPECT_EQ(second, (std::vector<std::string>{"from outside", "from inside"}));
}

TEST(DebugOutput, DoesNotReachASinkThatHasBeenReplaced) {
  std::atomic<bool> stop{false};
  std::thread talker([&] {
    while (!stop) OutputDebugStringA("text");
  });
  std::atomic<int> late{0};
  std::atomic<bool> installed{false};
  auto receive = [&] {
    for (int i = 0; i < 50; ++i) late += installed ? 0 : 1;
  };
  for (int i = 0; i < 500; ++i) {
    installed = true;
    platform::SetDebugSink([](void* context, const char*) { (*static_cast<decltype(receive)*>(context))(); },
                           &receive);
    std::this_thread::yield();
    platform::SetDebugSink(nullptr, nullptr);
    installed = false;
    std::this_thread::yield();
  }
  stop = true;
  talker.join();
  EXPECT_EQ(late, 0);
}

class CodePageTest : public testing::Test {
 protected:
  void SetUp() override { Environment(nullptr, nullptr, nullptr); }
  void TearDown() override { platform::SetCodePage(0); }

  static void Environment(const char* all, const char* ctype, const char* lang) {
    Set("LC_ALL", all);
    Set("LC_CTYPE", ctype);
    Set("LANG", lang);
  }

 private:
  static void Set(const char* name, const char* value) { value ? setenv(name, value, 1) : unsetenv(name); }
};

TEST_F(CodePageTest, FollowsTheLocaleOfTheEnvironment) {
  EXPECT_EQ(platform::CodePage(), 65001u);
  for (const char* name : {"ja_JP.SJIS", "ja_JP.Shift_JIS", "ja_JP.shiftjis@x", "ja.cp932", "ja_JP.IBM-943",
                           "ja_JP.Windows-31J", "ja_JP.MS_Kanji", "ja_JP.PCK", "ja_JP.ibm932"}) {
    Environment(nullptr, "", name);  // what is empty says nothing
    EXPECT_EQ(platform::CodePage(), 932u) << name;
    Environment("", name, "C.UTF-8");
    EXPECT_EQ(platform::CodePage(), 932u) << name;
  }
  for (const char* name : {"C", "POSIX", "C.UTF-8", "ja_JP.UTF-8", "ja_JP.eucJP", "ja_JP", "ja_JP.SJIS2",
                           "ja_JP.SJ", "SJIS", "ja_JP.UTF-8@SJIS", "ja_JP."}) {
    Environment(name, "ja_JP.SJIS", "ja_JP.SJIS");
    EXPECT_EQ(platform::CodePage(), 65001u) << name;
  }
  platform::SetCodePage(1252);
  EXPECT_EQ(platform::CodePage(), 1252u);
}

TEST_F(CodePageTest, HasLeadBytesIn932Alone) {
  for (const unsigned page : {932u, 65001u, 1252u}) {
    platform::SetCodePage(page);
    for (unsigned byte = 0; byte < 256; ++byte) {
      const bool lead = (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
      EXPECT_EQ(IsDBCSLeadByte(static_cast<BYTE>(byte)) != 0, page == 932 && lead) << page << ' ' << byte;
    }
  }
}

}  // namespace
