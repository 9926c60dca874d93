#include <gtest/gtest.h>
#include <iconv.h>

#include <set>
#include <string>

#include "capture/Messages.h"

namespace {

/// By the system's own converter, which knows nothing of this library.
std::string Utf8(std::string bytes) {
  const iconv_t converter = iconv_open("UTF-8", "CP932");
  if (converter == iconv_t(-1)) return "no converter";
  std::string out(bytes.size() * 3 + 1, '\0');
  char* from = bytes.data();
  char* to = out.data();
  std::size_t fromLeft = bytes.size();
  std::size_t toLeft = out.size();
  const std::size_t result = iconv(converter, &from, &fromLeft, &to, &toLeft);
  iconv_close(converter);
  if (result == std::size_t(-1)) return "no code page 932 text";
  out.resize(out.size() - toLeft);
  return out;
}

TEST(Messages, BytesSpellTheTextBesideThem) {
  std::set<std::string> seen;
  for (const capture::Message& message : capture::kMessages) {
    EXPECT_EQ(Utf8(message.bytes), std::string(reinterpret_cast<const char*>(message.text)));
    EXPECT_EQ(std::string(message.bytes).find('\n'), std::string(message.bytes).size() - 1);
    EXPECT_TRUE(seen.insert(message.bytes).second) << message.bytes;
  }
  EXPECT_EQ(seen.size(), 21u);
}

}  // namespace
